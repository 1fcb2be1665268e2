#pragma once

#include "platform/Export.h"

// Shapes of the screen-light regression network: an 81 x 51 RGB image over the
// sensor plus one feature per sensor channel in, one prediction per channel
// out. Tensors are [rows][columns][channels].
namespace light_regression {

constexpr int kImageRows = 81;
constexpr int kImageCols = 51;
constexpr int kColours = 3;
constexpr int kChannels = 5;  // sensor channels c, r, g, b, w
constexpr int kFilters = 32;

constexpr int kL1Rows = 40, kL1Cols = 25;  // 3x3 convolution, stride 2
constexpr int kL2Rows = 20, kL2Cols = 12;  // 2x2 max pooling
constexpr int kL3Rows = 18, kL3Cols = 10;  // 3x3 convolution
constexpr int kL4Rows = 9, kL4Cols = 5;    // 2x2 max pooling
constexpr int kL5Rows = 7, kL5Cols = 3;    // 3x3 convolution
constexpr int kL6Rows = 3, kL6Cols = 1;    // 2x2 max pooling
constexpr int kFlat = kL6Rows * kL6Cols * kFilters;  // 96
constexpr int kHidden = 32;                            // each dense branch
constexpr int kConcat = 2 * kHidden;                   // 64

// The twelve tensors of one weight set, in the order of the model's pointers.
enum WeightSlot {
    kLayer1Kernel, kLayer1Bias, kLayer3Kernel, kLayer3Bias, kLayer5Kernel, kLayer5Bias,
    kLayer9Kernel, kLayer9Bias, kLayer10Kernel, kLayer10Bias, kLayer12Kernel, kLayer12Bias,
    kWeightSlots
};
// Floats per tensor, in slot order; one set holds 23,013.
constexpr int kSlotSizes[kWeightSlots] = {
        3 * 3 * kColours * kFilters, kFilters, 3 * 3 * kFilters * kFilters, kFilters,
        3 * 3 * kFilters * kFilters, kFilters, kFlat * kHidden, kHidden,
        kChannels * kHidden, kHidden, kConcat * kChannels, kChannels};

// Groups of weight sets: modes 1 and 2 have levels 1..4, every other mode 1..5.
constexpr int kLevelsMode1 = 4, kLevelsMode2 = 4, kLevelsOther = 5;

// The compiled-in weight set of a display mode and brightness level: twelve
// tensor pointers in slot order, or null when the group has no such level.
SC_EXPORT const float* const* weightSet(int mode, int level);

// Calibration tables: [colour r, g, b][group blk, nblk][channel c, r, g, b, w].
using CaliTable = float[3][2][kChannels];
constexpr int kBlk = 0, kNblk = 1;

// The reference unit's table for a display mode (1, 2, or any other value).
SC_EXPORT const CaliTable& referenceTable(int mode);

// Name and sha256 of the data files compiled in, for tools and tests.
SC_EXPORT const char* weightsSourceName();
SC_EXPORT const char* weightsSourceSha256();
SC_EXPORT const char* tablesSourceName();
SC_EXPORT const char* tablesSourceSha256();

}  // namespace light_regression

// The screen-light regression network with its fixed-size buffers, the unit's
// calibration and the prediction driver. One object belongs to the project
// features; it is large (about 240 KB) and lives on the heap. Not thread-safe:
// one caller at a time. The unit calibration table is process-wide, shared by
// every object.
class SC_EXPORT LightRegression {
public:
    using Image = int[light_regression::kImageCols][light_regression::kColours];
    using FloatImage = float[light_regression::kImageCols][light_regression::kColours];

    // Buffers zeroed; the weight pointers select the other modes' level-1 set so
    // that a first prediction with an out-of-range level still runs on a
    // defined set.
    LightRegression();

    // Predicts the screen's light in each sensor channel from the integer image
    // [81][51][3] (0..255), the two sensor vectors (nblk, blk), the brightness
    // code and the display mode. Returns the object's five outputs, valid until
    // the next call; all zero when the brightness code is outside the model.
    float* model_predict(Image* image, float* nblk, float* blk, int lcm, int mode);

    // The forward pass on a float image [81][51][3] and five features with the
    // weight set of (mode, level); an unknown (mode, level) keeps the previous
    // set. Leaves five outputs in the output array and returns the first.
    float real_model_predict(FloatImage* image, float* features, int level, int mode);

    // Installs the unit's factory values [colour][blk, nblk][channel] (checked
    // when used, not here).
    void initCalibration(float (*cali)[2][light_regression::kChannels]);
    // Correction vectors for an image and mode: color_k_diff divides the
    // features, color_k_nblk multiplies the outputs; `ratio` is always 1.0.
    void getCalibration(Image* image, int mode, float* color_k_diff, float* color_k_nblk, float* ratio);

    // Layers, numbered as the trained model numbers them: 8 is the feature
    // input and has no function.
    void layer_1(const float (*in)[light_regression::kImageCols][light_regression::kColours],
                 float (*out)[light_regression::kL1Cols][light_regression::kFilters]);
    void layer_2(const float (*in)[light_regression::kL1Cols][light_regression::kFilters],
                 float (*out)[light_regression::kL2Cols][light_regression::kFilters]);
    void layer_3(const float (*in)[light_regression::kL2Cols][light_regression::kFilters],
                 float (*out)[light_regression::kL3Cols][light_regression::kFilters]);
    void layer_4(const float (*in)[light_regression::kL3Cols][light_regression::kFilters],
                 float (*out)[light_regression::kL4Cols][light_regression::kFilters]);
    void layer_5(const float (*in)[light_regression::kL4Cols][light_regression::kFilters],
                 float (*out)[light_regression::kL5Cols][light_regression::kFilters]);
    void layer_6(const float (*in)[light_regression::kL5Cols][light_regression::kFilters],
                 float (*out)[light_regression::kL6Cols][light_regression::kFilters]);
    void layer_7(const float (*in)[light_regression::kL6Cols][light_regression::kFilters], float* out);
    void layer_9(const float* in, float* out);
    void layer_10(const float* in, float* out);
    void layer_11(const float* a, const float* b, float* out);
    void layer_12(const float* in, float* out);

    // The selected weight set, in slot order (see light_regression::WeightSlot).
    const float* mLayer1Kernel;
    const float* mLayer1Bias;
    const float* mLayer3Kernel;
    const float* mLayer3Bias;
    const float* mLayer5Kernel;
    const float* mLayer5Bias;
    const float* mLayer9Kernel;
    const float* mLayer9Bias;
    const float* mLayer10Kernel;
    const float* mLayer10Bias;
    const float* mLayer12Kernel;
    const float* mLayer12Bias;

    // Layer outputs.
    float mLayer1Out[light_regression::kL1Rows][light_regression::kL1Cols][light_regression::kFilters];
    float mLayer2Out[light_regression::kL2Rows][light_regression::kL2Cols][light_regression::kFilters];
    float mLayer3Out[light_regression::kL3Rows][light_regression::kL3Cols][light_regression::kFilters];
    float mLayer4Out[light_regression::kL4Rows][light_regression::kL4Cols][light_regression::kFilters];
    float mLayer5Out[light_regression::kL5Rows][light_regression::kL5Cols][light_regression::kFilters];
    float mLayer6Out[light_regression::kL6Rows][light_regression::kL6Cols][light_regression::kFilters];
    float mLayer7Out[light_regression::kFlat];
    float mLayer9Out[light_regression::kHidden];
    float mLayer10Out[light_regression::kHidden];
    float mLayer11Out[light_regression::kConcat];
    float mOutput[light_regression::kChannels];

    // Network inputs, filled by model_predict.
    float mImage[light_regression::kImageRows][light_regression::kImageCols][light_regression::kColours];
    float mFeatures[light_regression::kChannels];

private:
    void selectWeights(const float* const* set);
};
