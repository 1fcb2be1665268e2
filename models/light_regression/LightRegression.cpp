#include "models/light_regression/LightRegression.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "models/common/PixelLog.h"
#include "models/light_regression/Kernels.h"
#include "models/light_regression/LightRegressionTables.h"
#include "models/light_regression/LightRegressionWeights.h"
#include "models/simd/Net32.h"
#include "platform/Log.h"

using namespace light_regression;

namespace light_regression {

namespace {

namespace W = light_regression_weights;
namespace T = light_regression_tables;

// One row of a weight-set table: the twelve tensors of a set in slot order.
#define LR_WEIGHT_SET(set)                                                                  \
    {                                                                                       \
        &W::set##_layer1_kernel[0][0][0][0], W::set##_layer1_bias,                          \
                &W::set##_layer3_kernel[0][0][0][0], W::set##_layer3_bias,                  \
                &W::set##_layer5_kernel[0][0][0][0], W::set##_layer5_bias,                  \
                &W::set##_layer9_kernel[0][0], W::set##_layer9_bias,                        \
                &W::set##_layer10_kernel[0][0], W::set##_layer10_bias,                      \
                &W::set##_layer12_kernel[0][0], W::set##_layer12_bias                       \
    }

// One table per mode group, one row per level (level 1 first).
const float* const kMode1Sets[kLevelsMode1][kWeightSlots] = {
        LR_WEIGHT_SET(mode1_level1), LR_WEIGHT_SET(mode1_level2), LR_WEIGHT_SET(mode1_level3),
        LR_WEIGHT_SET(mode1_level4)};
const float* const kMode2Sets[kLevelsMode2][kWeightSlots] = {
        LR_WEIGHT_SET(mode2_level1), LR_WEIGHT_SET(mode2_level2), LR_WEIGHT_SET(mode2_level3),
        LR_WEIGHT_SET(mode2_level4)};
const float* const kOtherSets[kLevelsOther][kWeightSlots] = {
        LR_WEIGHT_SET(other_level1), LR_WEIGHT_SET(other_level2), LR_WEIGHT_SET(other_level3),
        LR_WEIGHT_SET(other_level4), LR_WEIGHT_SET(other_level5)};

#undef LR_WEIGHT_SET

// The unit's calibration, process-wide. It starts as the other modes'
// reference, so an uncalibrated unit gets no correction in those modes.
struct UnitTable {
    CaliTable values;
    UnitTable() { std::memcpy(values, T::reference_other, sizeof(values)); }
};
UnitTable gUnit;

// Brightness level of the weight sets for a brightness code, 0 when the code
// is outside the model. The tests run in this order on purpose, two of them
// on lcm / 16, the form the model was tuned with.
int brightnessLevel(int lcm, int mode) {
    if (mode == 1 || mode == 2) {
        if (lcm < 4701) return 0;
        if (lcm / 16 < 501) return 1;
        if (lcm <= 9780) return 2;
        if (lcm <= 11880) return 3;
        if (lcm / 16 > 878) return 0;
        return 4;
    }
    if (lcm <= 4700) return 0;
    if (lcm <= 7600) return 1;
    if (lcm / 16 < 501) return 2;
    if (lcm <= 9780) return 3;
    if (lcm <= 11880) return 4;
    if (lcm / 16 >= 879) return 0;
    return 5;
}

// Written so that NaN (and infinities) fall outside the window.
bool ratioInWindow(float v) { return v > 0.1 && v < 5.0; }

}  // namespace

const float* const* weightSet(int mode, int level) {
    if (mode == 1) return level >= 1 && level <= kLevelsMode1 ? kMode1Sets[level - 1] : nullptr;
    if (mode == 2) return level >= 1 && level <= kLevelsMode2 ? kMode2Sets[level - 1] : nullptr;
    return level >= 1 && level <= kLevelsOther ? kOtherSets[level - 1] : nullptr;
}

const CaliTable& referenceTable(int mode) {
    if (mode == 1) return T::reference_mode1;
    if (mode == 2) return T::reference_mode2;
    return T::reference_other;
}

const char* weightsSourceName() { return W::kSourceName; }
const char* weightsSourceSha256() { return W::kSourceSha256; }
const char* tablesSourceName() { return T::kSourceName; }
const char* tablesSourceSha256() { return T::kSourceSha256; }

}  // namespace light_regression

LightRegression::LightRegression()
    : mLayer1Out{}, mLayer2Out{}, mLayer3Out{}, mLayer4Out{}, mLayer5Out{}, mLayer6Out{}, mLayer7Out{},
      mLayer9Out{}, mLayer10Out{}, mLayer11Out{}, mOutput{}, mImage{}, mFeatures{} {
    selectWeights(weightSet(0, 1));
}

void LightRegression::selectWeights(const float* const* set) {
    mLayer1Kernel = set[kLayer1Kernel];
    mLayer1Bias = set[kLayer1Bias];
    mLayer3Kernel = set[kLayer3Kernel];
    mLayer3Bias = set[kLayer3Bias];
    mLayer5Kernel = set[kLayer5Kernel];
    mLayer5Bias = set[kLayer5Bias];
    mLayer9Kernel = set[kLayer9Kernel];
    mLayer9Bias = set[kLayer9Bias];
    mLayer10Kernel = set[kLayer10Kernel];
    mLayer10Bias = set[kLayer10Bias];
    mLayer12Kernel = set[kLayer12Kernel];
    mLayer12Bias = set[kLayer12Bias];
}

// The layers run on the vectorised 32-channel kernels; Kernels.h keeps the
// plain loops they are checked against.
using net32::Act;

void LightRegression::layer_1(const float (*in)[kImageCols][kColours], float (*out)[kL1Cols][kFilters]) {
    net32::conv3x3<kImageCols, kColours, 2, kL1Cols, kL1Cols, Act::kReluNanToZero>(
            &in[0][0][0], mLayer1Kernel, mLayer1Bias, &out[0][0][0], kL1Rows);
}

void LightRegression::layer_2(const float (*in)[kL1Cols][kFilters], float (*out)[kL2Cols][kFilters]) {
    net32::maxPool2x2<kL1Cols, kL2Rows, kL2Cols>(&in[0][0][0], &out[0][0][0]);
}

void LightRegression::layer_3(const float (*in)[kL2Cols][kFilters], float (*out)[kL3Cols][kFilters]) {
    net32::conv3x3<kL2Cols, kFilters, 1, kL3Cols, kL3Cols, Act::kReluNanToZero>(
            &in[0][0][0], mLayer3Kernel, mLayer3Bias, &out[0][0][0], kL3Rows);
}

void LightRegression::layer_4(const float (*in)[kL3Cols][kFilters], float (*out)[kL4Cols][kFilters]) {
    net32::maxPool2x2<kL3Cols, kL4Rows, kL4Cols>(&in[0][0][0], &out[0][0][0]);
}

void LightRegression::layer_5(const float (*in)[kL4Cols][kFilters], float (*out)[kL5Cols][kFilters]) {
    net32::conv3x3<kL4Cols, kFilters, 1, kL5Cols, kL5Cols, Act::kReluNanToZero>(
            &in[0][0][0], mLayer5Kernel, mLayer5Bias, &out[0][0][0], kL5Rows);
}

void LightRegression::layer_6(const float (*in)[kL5Cols][kFilters], float (*out)[kL6Cols][kFilters]) {
    net32::maxPool2x2<kL5Cols, kL6Rows, kL6Cols>(&in[0][0][0], &out[0][0][0]);
}

void LightRegression::layer_7(const float (*in)[kL6Cols][kFilters], float* out) {
    std::memcpy(out, &in[0][0][0], sizeof(float) * kFlat);
}

void LightRegression::layer_9(const float* in, float* out) {
    net32::dense32<kFlat, Act::kReluNanToZero>(in, mLayer9Kernel, mLayer9Bias, out);
}

void LightRegression::layer_10(const float* in, float* out) {
    net32::dense32<kChannels, Act::kReluNanToZero>(in, mLayer10Kernel, mLayer10Bias, out);
}

void LightRegression::layer_11(const float* a, const float* b, float* out) {
    std::memcpy(out, a, sizeof(float) * kHidden);
    std::memcpy(out + kHidden, b, sizeof(float) * kHidden);
}

void LightRegression::layer_12(const float* in, float* out) {
    denseRelu(in, kConcat, mLayer12Kernel, mLayer12Bias, kChannels, out);
}

float LightRegression::real_model_predict(FloatImage* image, float* features, int level, int mode) {
    // An unknown (mode, level) keeps the previous call's set.
    if (const float* const* set = weightSet(mode, level)) selectWeights(set);
    // The layers in order, except that each pooling runs two convolution
    // rows behind its convolution, and the convolutions skip the cells the
    // pooling drops (the last column of layer 1; the last row and the last
    // column of layer 5), which nothing reads: those keep the values of
    // earlier calls.
    net32::conv3x3Pool<kImageCols, kColours, 2, kL1Cols, kL2Rows, kL2Cols, Act::kReluNanToZero>(
            &image[0][0][0], mLayer1Kernel, mLayer1Bias, &mLayer1Out[0][0][0], &mLayer2Out[0][0][0]);
    net32::conv3x3Pool<kL2Cols, kFilters, 1, kL3Cols, kL4Rows, kL4Cols, Act::kReluNanToZero>(
            &mLayer2Out[0][0][0], mLayer3Kernel, mLayer3Bias, &mLayer3Out[0][0][0], &mLayer4Out[0][0][0]);
    net32::conv3x3Pool<kL4Cols, kFilters, 1, kL5Cols, kL6Rows, kL6Cols, Act::kReluNanToZero>(
            &mLayer4Out[0][0][0], mLayer5Kernel, mLayer5Bias, &mLayer5Out[0][0][0], &mLayer6Out[0][0][0]);
    layer_7(mLayer6Out, mLayer7Out);
    layer_9(mLayer7Out, mLayer9Out);
    layer_10(features, mLayer10Out);
    layer_11(mLayer9Out, mLayer10Out, mLayer11Out);
    layer_12(mLayer11Out, mOutput);
    return mOutput[0];
}

void LightRegression::initCalibration(float (*cali)[2][kChannels]) {
    static const char* const kNames[3] = {"color_params_r", "color_params_g", "color_params_b"};
    for (int c = 0; c < 3; ++c) {
        const float* v = &cali[c][0][0];
        SC_LOGI("Algo_Lux_Cnn_Model: %s: %f, %f, %f, %f, %f, %f, %f, %f, %f, %f\n", kNames[c], v[0], v[1], v[2],
                v[3], v[4], v[5], v[6], v[7], v[8], v[9]);
    }
    std::memcpy(gUnit.values, cali, sizeof(gUnit.values));
}

void LightRegression::getCalibration(Image* image, int mode, float* color_k_diff, float* color_k_nblk,
                                     float* ratio) {
    // Mean colour: the sums are divided by 101, not by the pixel count; the
    // tuned corrections depend on that scale.
    // Three running sums in registers, each adding its terms in pixel order.
    double sumR = 0.0, sumG = 0.0, sumB = 0.0;
    const int* px = &image[0][0][0];
    for (int i = 0; i < kImageRows * kImageCols * kColours; i += kColours) {
        sumR += px[i] * 0.001;
        sumG += px[i + 1] * 0.001;
        sumB += px[i + 2] * 0.001;
    }
    const double mR = sumR / 101.0, mG = sumG / 101.0, mB = sumB / 101.0;

    const CaliTable& ref = referenceTable(mode);
    const CaliTable& cal = gUnit.values;
    for (int k = 0; k < kChannels; ++k) {
        const float refR = ref[0][kBlk][k], refG = ref[1][kBlk][k], refB = ref[2][kBlk][k];
        const float wG = refG / refR, wB = refB / refR;

        // The third vector compares two equal sums, so it always comes out 1.0;
        // it is kept for callers that read it.
        const double s = mR + mG * wG + mB * wB;
        const double t = mR + mG * wG + mB * wB;
        ratio[k] = s > 0.001 && t > 0.001 ? static_cast<float>(t / s) : 1.0f;

        const float partR = static_cast<float>(mR), partG = static_cast<float>(mG * wG),
                    partB = static_cast<float>(mB * wB);
        const float f = partR + partG + partB;
        if (!(f > 0.001)) {
            color_k_diff[k] = 1.0f;
            color_k_nblk[k] = 1.0f;
            continue;
        }
        color_k_diff[k] = 1.0f;
        color_k_nblk[k] = 1.0f;
        float level[3], diff[3];
        for (int c = 0; c < 3; ++c) {
            level[c] = cal[c][kBlk][k] / ref[c][kBlk][k];
            diff[c] = (cal[c][kBlk][k] - cal[c][kNblk][k]) / (ref[c][kBlk][k] - ref[c][kNblk][k]);
        }
        bool ok = true;
        for (int c = 0; c < 3; ++c) ok = ok && ratioInWindow(level[c]) && ratioInWindow(diff[c]);
        if (!ok) {
            SC_LOGI("Algo_Lux_Cnn_Model: nblk is error  = %f, %f, %f, %f, %f, %f\n", level[0], level[1], level[2],
                    diff[0], diff[1], diff[2]);
            for (int j = 0; j < kChannels; ++j) {
                color_k_diff[j] = 1.0f;
                color_k_nblk[j] = 1.0f;
            }
            break;
        }
        const float fR = partR / f, fG = partG / f, fB = partB / f;
        color_k_nblk[k] = fR * level[0] + fG * level[1] + fB * level[2];
        color_k_diff[k] = fR * diff[0] + fG * diff[1] + fB * diff[2];
    }

    static const char* const kNames[3] = {"test_rgb_calib_arr_r", "test_rgb_calib_arr_g", "test_rgb_calib_arr_b"};
    for (int c = 0; c < 3; ++c) {
        const float* b = cal[c][kBlk];
        const float* n = cal[c][kNblk];
        SC_LOGI("Algo_Lux_Cnn_Model: %s: blk = %f, %f, %f, %f, %f; nblk: %f, %f, %f, %f, %f\n", kNames[c], b[0],
                b[1], b[2], b[3], b[4], n[0], n[1], n[2], n[3], n[4]);
    }
    SC_LOGI("Algo_Lux_Cnn_Model: color_k_diff = %f, %f, %f, %f, %f\n", color_k_diff[0], color_k_diff[1],
            color_k_diff[2], color_k_diff[3], color_k_diff[4]);
    SC_LOGI("Algo_Lux_Cnn_Model: color_k_nblk = %f, %f, %f, %f, %f\n", color_k_nblk[0], color_k_nblk[1],
            color_k_nblk[2], color_k_nblk[3], color_k_nblk[4]);
}

float* LightRegression::model_predict(Image* image, float* nblk, float* blk, int lcm, int mode) {
    // Per-colour sums over the flat image, one pixel per step.
    long long sum[3] = {0, 0, 0};
    const int* px = &image[0][0][0];
    for (int i = 0; i < kImageRows * kImageCols * kColours; i += kColours) {
        sum[0] += px[i];
        sum[1] += px[i + 1];
        sum[2] += px[i + 2];
    }

    if (sum[0] >= 2 || sum[1] >= 2 || sum[2] >= 2) {
        // Top-left 30 x 30 pixels, one line per row, formatted into a stack
        // buffer: no allocation.
        char text[pixel_log::kRowChars];
        for (int r = 0; r < pixel_log::kSide; ++r) {
            pixel_log::formatRow(text, r, &image[r][0][0], kColours);
            SC_LOGI("Algo_Lux_Cnn_Model: pexelInfo %s", text);
        }
    }

    const int level = brightnessLevel(lcm, mode);
    if (level == 0) {
        // One text for both ends of the range, as the service's log readers expect.
        SC_LOGI("Algo_Lux_Cnn_Model: lcm less than 6961");
        for (float& v : mOutput) v = 0.0f;
        return mOutput;
    }

    float diff[kChannels] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    float gain[kChannels] = {1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
    float ratio[kChannels];
    getCalibration(image, mode, diff, gain, ratio);

    net32::scale255<false>(&image[0][0][0], &mImage[0][0][0], kImageRows * kImageCols * kColours);

    for (int k = 0; k < kChannels; ++k) {
        const float d = nblk[k] - blk[k];
        float x = static_cast<float>(static_cast<double>(d) / 1000.0 / diff[k]);
        // Negative (and NaN) features carry no screen light.
        if (!(x >= 0.0f)) x = 0.0f;
        mFeatures[k] = x;
    }

    real_model_predict(mImage, mFeatures, level, mode);

    for (int k = 0; k < kChannels; ++k) mOutput[k] = static_cast<float>(mOutput[k] * 1000.0 * gain[k]);

    SC_LOGI("Algo_Lux_Cnn_Model: lcm = %d, mode = %d, model_predict= %f, %f, %f, %f, %f", lcm, mode, mOutput[0],
            mOutput[1], mOutput[2], mOutput[3], mOutput[4]);
    return mOutput;
}
