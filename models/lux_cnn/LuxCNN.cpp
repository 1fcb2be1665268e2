#include "models/lux_cnn/LuxCNN.h"

#include <cstdio>

#include "models/common/PixelLog.h"
#include "models/lux_cnn/LuxCNNTables.h"
#include "models/lux_cnn/LuxCNNWeights.h"
#include "models/simd/Net32.h"
#include "platform/Log.h"

namespace {

namespace w = lux_cnn_weights;

constexpr int C = LuxCNN::kChannels;

// The ten tables of one weight set, in the order of the object's pointers.
struct WeightSet {
    const float* table[10];
};

#define SC_LUX_CNN_SET(m, b)                                                                                    \
    {{&w::mode##m##_band##b##_conv0_kernel[0][0][0][0], w::mode##m##_band##b##_conv0_bias,                      \
      &w::mode##m##_band##b##_conv1_kernel[0][0][0][0], w::mode##m##_band##b##_conv1_bias,                      \
      &w::mode##m##_band##b##_conv2_kernel[0][0][0][0], w::mode##m##_band##b##_conv2_bias,                      \
      &w::mode##m##_band##b##_dense1_matrix[0][0], w::mode##m##_band##b##_dense1_bias,                          \
      &w::mode##m##_band##b##_dense2_matrix[0][0], w::mode##m##_band##b##_dense2_bias}}

// Directory of the weight sets: [mode][band].
const WeightSet kSets[LuxCNN::kModes][LuxCNN::kBands] = {
    {SC_LUX_CNN_SET(0, 0), SC_LUX_CNN_SET(0, 1), SC_LUX_CNN_SET(0, 2)},
    {SC_LUX_CNN_SET(1, 0), SC_LUX_CNN_SET(1, 1), SC_LUX_CNN_SET(1, 2)},
    {SC_LUX_CNN_SET(2, 0), SC_LUX_CNN_SET(2, 1), SC_LUX_CNN_SET(2, 2)},
};
#undef SC_LUX_CNN_SET

// Brightness bands: codes below 3105, below 6105, and up to the table's end;
// the divisor is each band's top luminance.
constexpr int kBand1Start = 3105;
constexpr int kBand2Start = 6105;
constexpr double kBandDivisor[3] = {28.9896, 122.4517, 780.4849};

template <int Size>
void reluInPlace(float (*io)[Size][C]) {
    for (int y = 0; y < Size; ++y)
        for (int x = 0; x < Size; ++x)
            for (int c = 0; c < C; ++c)
                if (io[y][x][c] < 0.0f) io[y][x][c] = 0.0f;
}

// Dense layer with ReLU: out[j] = max(0, bias[j] + sum_i in[i] * W[i][j]).
template <int In, int Out>
void denseRelu(const float* in, const float* matrix, const float* bias, float* out) {
    float acc[Out];
    for (int j = 0; j < Out; ++j) acc[j] = 0.0f;
    for (int i = 0; i < In; ++i) {
        const float v = in[i];
        for (int j = 0; j < Out; ++j) acc[j] += v * matrix[i * Out + j];
    }
    for (int j = 0; j < Out; ++j) {
        const float s = bias[j] + acc[j];
        out[j] = s < 0.0f ? 0.0f : s;
    }
}

}  // namespace

LuxCNN::LuxCNN()
    : conv0Kernel(nullptr),
      conv0Bias(nullptr),
      conv1Kernel(nullptr),
      conv1Bias(nullptr),
      conv2Kernel(nullptr),
      conv2Bias(nullptr),
      dense1Matrix(nullptr),
      dense1Bias(nullptr),
      dense2Matrix(nullptr),
      dense2Bias(nullptr),
      prediction{0.0f, 0.0f, 0.0f, 0.0f} {}

// The convolutions, poolings and the wide dense layer run on the vectorised
// 32-channel kernels; the tests check them against the plain loops.
using net32::Act;

void LuxCNN::layer_0(float (*in)[kPatch][kInChannels], float (*out)[kConv0][kChannels]) {
    net32::conv3x3<kPatch, kInChannels, 2, kConv0, kConv0, Act::kNone>(&in[0][0][0], conv0Kernel, conv0Bias,
                                                                       &out[0][0][0], kConv0);
}
void LuxCNN::layer_1(float (*io)[kConv0][kChannels]) { reluInPlace<kConv0>(io); }
void LuxCNN::layer_2(float (*in)[kConv0][kChannels], float (*out)[kPool0][kChannels]) {
    net32::maxPool2x2<kConv0, kPool0, kPool0>(&in[0][0][0], &out[0][0][0]);
}
void LuxCNN::layer_3(float (*in)[kPool0][kChannels], float (*out)[kConv1][kChannels]) {
    net32::conv3x3<kPool0, kChannels, 1, kConv1, kConv1, Act::kNone>(&in[0][0][0], conv1Kernel, conv1Bias,
                                                                     &out[0][0][0], kConv1);
}
void LuxCNN::layer_4(float (*io)[kConv1][kChannels]) { reluInPlace<kConv1>(io); }
void LuxCNN::layer_5(float (*in)[kConv1][kChannels], float (*out)[kPool1][kChannels]) {
    net32::maxPool2x2<kConv1, kPool1, kPool1>(&in[0][0][0], &out[0][0][0]);
}
void LuxCNN::layer_6(float (*in)[kPool1][kChannels], float (*out)[kConv2][kChannels]) {
    net32::conv3x3<kPool1, kChannels, 1, kConv2, kConv2, Act::kNone>(&in[0][0][0], conv2Kernel, conv2Bias,
                                                                     &out[0][0][0], kConv2);
}
void LuxCNN::layer_7(float (*io)[kConv2][kChannels]) { reluInPlace<kConv2>(io); }
void LuxCNN::layer_8(float (*in)[kConv2][kChannels], float (*out)[kPool2][kChannels]) {
    net32::maxPool2x2<kConv2, kPool2, kPool2>(&in[0][0][0], &out[0][0][0]);
}
void LuxCNN::layer_9(float (*in)[kPool2][kChannels], float* out) {
    for (int y = 0; y < kPool2; ++y)
        for (int x = 0; x < kPool2; ++x)
            for (int c = 0; c < kChannels; ++c) out[(y * kPool2 + x) * kChannels + c] = in[y][x][c];
}
void LuxCNN::layer_10(float* in, float* out) {
    net32::dense32<kFlat, Act::kRelu>(in, dense1Matrix, dense1Bias, out);
}
void LuxCNN::layer_11(float* in, float* out) { denseRelu<kHidden, kOutputs>(in, dense2Matrix, dense2Bias, out); }

float LuxCNN::real_model_predict(float (*in)[kPatch][kInChannels], int band, int mode) {
    const int m = (mode == 1 || mode == 2) ? mode : 0;
    if (band >= 0 && band < kBands) {
        const WeightSet& s = kSets[m][band];
        conv0Kernel = s.table[0];
        conv0Bias = s.table[1];
        conv1Kernel = s.table[2];
        conv1Bias = s.table[3];
        conv2Kernel = s.table[4];
        conv2Bias = s.table[5];
        dense1Matrix = s.table[6];
        dense1Bias = s.table[7];
        dense2Matrix = s.table[8];
        dense2Bias = s.table[9];
    } else if (conv0Kernel == nullptr) {
        // Other bands keep the previous set; with none chosen yet there is
        // nothing to keep, so run the mode's first band rather than crash.
        SC_LOGI("Algo_Lux_Cnn_Model: band %d before any weight set was chosen, using band 0\n", band);
        return real_model_predict(in, 0, mode);
    }
    // Each ReLU is fused into its convolution, each pooling runs two
    // convolution rows behind it, and the convolutions skip the last row and
    // column that the odd-sized poolings drop (nothing reads them; they keep
    // the values of earlier calls).
    net32::conv3x3Pool<kPatch, kInChannels, 2, kConv0, kPool0, kPool0, Act::kRelu>(
            &in[0][0][0], conv0Kernel, conv0Bias, &conv0Out[0][0][0], &pool0Out[0][0][0]);
    net32::conv3x3Pool<kPool0, kChannels, 1, kConv1, kPool1, kPool1, Act::kRelu>(
            &pool0Out[0][0][0], conv1Kernel, conv1Bias, &conv1Out[0][0][0], &pool1Out[0][0][0]);
    net32::conv3x3Pool<kPool1, kChannels, 1, kConv2, kPool2, kPool2, Act::kRelu>(
            &pool1Out[0][0][0], conv2Kernel, conv2Bias, &conv2Out[0][0][0], &pool2Out[0][0][0]);
    layer_9(pool2Out, flat);
    layer_10(flat, hidden);
    layer_11(hidden, output);
    return output[0];
}

float* LuxCNN::model_predict(int (*pixels)[kPatch][4], int lcm, int mode) {
    // Per-colour sums over the flat patch, one pixel (four ints) per step;
    // wide, because pixels come from the caller unchecked and any int must add
    // up without overflow.
    long long sum[3] = {0, 0, 0};
    const int* px = &pixels[0][0][0];
    for (int i = 0; i < kPatch * kPatch * 4; i += 4) {
        sum[0] += px[i];
        sum[1] += px[i + 1];
        sum[2] += px[i + 2];
    }

    if (!(sum[0] < 2 && sum[1] < 2 && sum[2] < 2)) {
        // Top-left 30 x 30 pixels, one line per row, formatted into a stack
        // buffer: no allocation.
        char text[pixel_log::kRowChars];
        for (int i = 0; i < pixel_log::kSide; ++i) {
            pixel_log::formatRow(text, i, &pixels[i][0][0], 4);
            SC_LOGI("Algo_Lux_Cnn_Model: pexelInfo %s", text);
        }
    }
    SC_LOGI("Algo_Lux_Cnn_Model: model_predict_pixel = %d,%d,%d; lcm = %d, mode = %d\n", pixels[0][0][0],
            pixels[0][0][1], pixels[0][0][2], lcm, mode);

    // Codes beyond the table run band 0 with brightness 0.0 but keep the top
    // divisor; the trained model was fitted with that pairing. Negative codes
    // (never sent by the panel) read as code 0.
    float nits = 0.0f;
    if (lcm > 0 && lcm < kLuminanceCodes) nits = lux_cnn_tables::luminance[lcm];
    int band;
    double divisor;
    if (lcm < kBand1Start) {
        band = 0;
        divisor = kBandDivisor[0];
    } else if (lcm < kBand2Start) {
        band = 1;
        divisor = kBandDivisor[1];
    } else if (lcm < kLuminanceCodes) {
        band = 2;
        divisor = kBandDivisor[2];
    } else {
        band = 0;
        divisor = kBandDivisor[2];
    }
    const float level = nits / static_cast<float>(divisor);

    // Colours scaled and the luminance set in one vector pass.
    net32::scale255<true, true>(&pixels[0][0][0], &input[0][0][0], kPatch * kPatch * 4, level);

    real_model_predict(input, band, mode);
    for (int k = 0; k < kOutputs; ++k) prediction[k] = static_cast<float>(output[k] * divisor);
    SC_LOGI("Algo_Lux_Cnn_Model: model_predict: r = %f, g = %f, b = %f, c = %f", prediction[0], prediction[1],
            prediction[2], prediction[3]);
    return prediction;
}
