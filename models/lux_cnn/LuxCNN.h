#pragma once

// Screen-light network over the 101 x 101 pixel patch above the light sensor
// plus the panel luminance: predicts the display's own light in four colour
// channels. Tensors are [row][column][channel], single precision throughout.
//
// The object holds every intermediate tensor (about 0.6 MB): allocate it on
// the heap, never on a thread's stack. One object serves one thread at a time.
// The calibration (initCalibration / getCalibration) is process-wide state
// shared by all objects.
#include "platform/Export.h"

class SC_EXPORT LuxCNN {
public:
    static constexpr int kPatch = 101;      // patch rows and columns
    static constexpr int kInChannels = 4;   // red, green, blue, luminance
    static constexpr int kChannels = 32;    // feature channels of every hidden layer
    static constexpr int kConv0 = 50;       // layer_0 output rows/columns (stride 2)
    static constexpr int kPool0 = 25;
    static constexpr int kConv1 = 23;
    static constexpr int kPool1 = 11;
    static constexpr int kConv2 = 9;
    static constexpr int kPool2 = 4;
    static constexpr int kFlat = kPool2 * kPool2 * kChannels;  // 512
    static constexpr int kHidden = 32;
    static constexpr int kOutputs = 4;
    static constexpr int kModes = 3;
    static constexpr int kBands = 3;
    static constexpr int kLuminanceCodes = 14064;  // brightness codes 0..14063

    LuxCNN();

    // Predicted screen light (r, g, b, c) for the patch at brightness code
    // `lcm` in display `mode`; points into this object. Channel 3 of `pixels`
    // is not read.
    float* model_predict(int (*pixels)[kPatch][4], int lcm, int mode);
    // Runs the network with the weight set of (band, mode); returns output 0.
    // Bands outside 0..2 keep the previously selected set.
    float real_model_predict(float (*input)[kPatch][kInChannels], int band, int mode);

    // Takes the unit's factory data once: colour parameters (row 0 high, row
    // 1 low) and 16 location samples (rows x, y, response). The result is
    // informational only (1 when the weight maps were moved).
    int initCalibration(float (*color)[4], float (*loc)[16]);
    // Colour and location correction factors for this frame.
    void getCalibration(int lcm, int (*pixels)[kPatch][4], int mode, float& color_k, float& loc_k);

    // The layers, in the numbering of the trained model; each reads the
    // current weight pointers.
    void layer_0(float (*in)[kPatch][kInChannels], float (*out)[kConv0][kChannels]);
    void layer_1(float (*io)[kConv0][kChannels]);
    void layer_2(float (*in)[kConv0][kChannels], float (*out)[kPool0][kChannels]);
    void layer_3(float (*in)[kPool0][kChannels], float (*out)[kConv1][kChannels]);
    void layer_4(float (*io)[kConv1][kChannels]);
    void layer_5(float (*in)[kConv1][kChannels], float (*out)[kPool1][kChannels]);
    void layer_6(float (*in)[kPool1][kChannels], float (*out)[kConv2][kChannels]);
    void layer_7(float (*io)[kConv2][kChannels]);
    void layer_8(float (*in)[kConv2][kChannels], float (*out)[kPool2][kChannels]);
    void layer_9(float (*in)[kPool2][kChannels], float* out);
    void layer_10(float* in, float* out);
    void layer_11(float* in, float* out);

    // Current weight set: conv kernels are [3][3][in][out], dense matrices
    // [in][out]. Null until the first prediction selects a set.
    const float* conv0Kernel;
    const float* conv0Bias;
    const float* conv1Kernel;
    const float* conv1Bias;
    const float* conv2Kernel;
    const float* conv2Bias;
    const float* dense1Matrix;
    const float* dense1Bias;
    const float* dense2Matrix;
    const float* dense2Bias;

    // Intermediate tensors of the last forward pass.
    float conv0Out[kConv0][kConv0][kChannels];
    float pool0Out[kPool0][kPool0][kChannels];
    float conv1Out[kConv1][kConv1][kChannels];
    float pool1Out[kPool1][kPool1][kChannels];
    float conv2Out[kConv2][kConv2][kChannels];
    float pool2Out[kPool2][kPool2][kChannels];
    float flat[kFlat];
    float hidden[kHidden];
    float output[kOutputs];
    float input[kPatch][kPatch][kInChannels];
    // Scaled prediction r, g, b, c returned by model_predict.
    float prediction[kOutputs];
};

// Stand-ins for model variants that this build does not ship: their
// model_predict returns at once and touches nothing.
class SC_EXPORT LuxCNN0x8x {
public:
    void model_predict(int (*pixels)[1][1], int lcm, int mode);
};
class SC_EXPORT LuxCNNB {
public:
    void model_predict(int (*pixels)[1][1], int lcm, int mode);
};
class SC_EXPORT LuxCNNForth {
public:
    void model_predict(int (*pixels)[1][1], int lcm, int mode);
};
class SC_EXPORT LuxCNNSecond {
public:
    void model_predict(int (*pixels)[1][1], int lcm, int mode);
};
class SC_EXPORT LuxCNNThird {
public:
    void model_predict(int (*pixels)[1][1], int lcm, int mode);
};
