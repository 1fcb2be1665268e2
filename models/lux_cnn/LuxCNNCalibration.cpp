// Per-unit calibration of the LuxCNN: the factory-measured sensor position
// moves the per-mode pixel weight maps, and the factory colour parameters
// give colour and location correction factors per frame.
#include <cmath>
#include <cstring>

#include "models/lux_cnn/GaussianFit.h"
#include "models/lux_cnn/LuxCNN.h"
#include "models/lux_cnn/LuxCNNTables.h"
#include "platform/Log.h"

namespace {

constexpr int N = LuxCNN::kPatch;

// Calibration state of one display mode. Process-wide and unlocked: the host
// does not calibrate while it predicts.
struct Group {
    float reference[2];          // sensor centre (screen x, y) the default map was made for
    const float (*defaultMap)[N];  // compiled-in, never changed
    float map[N][N];             // default map moved to the unit's sensor
    const float golden[8];       // colour params of the golden unit: high[4], low[4]
    float color[8];              // the unit's colour params
};

#define SC_GROUP(rx, ry, m, h0, h1, h2, h3, l0, l1, l2, l3) \
    {{rx, ry}, lux_cnn_tables::mode##m##_weight_map, {}, {h0, h1, h2, h3, l0, l1, l2, l3}, {h0, h1, h2, h3, l0, l1, l2, l3}}

Group gGroups[LuxCNN::kModes] = {
    SC_GROUP(826.04f, 83.77f, 0, 12540, 1215, 10348, 1169, 519, 52, 415, 54),
    SC_GROUP(825.78f, 84.01f, 1, 11872, 1102, 9858, 1078, 490, 49, 392, 50),
    SC_GROUP(825.19f, 84.39f, 2, 12294, 1116, 10235, 1130, 500, 53, 401, 56),
};
#undef SC_GROUP

// Until a unit is calibrated its maps are the default maps. The default maps
// are constant-initialised, so they are complete before this runs.
struct MapsFromDefaults {
    MapsFromDefaults() {
        for (Group& g : gGroups) std::memcpy(g.map, g.defaultMap, sizeof g.map);
    }
} gMapsFromDefaults;

Group& groupOf(int mode) { return gGroups[(mode == 1 || mode == 2) ? mode : 0]; }

// Accepted window of the fitted sensor centre, in screen pixels.
constexpr float kCentreXMin = 815.0f, kCentreXMax = 835.0f;
constexpr float kCentreYMin = 71.0f, kCentreYMax = 91.0f;

// Brightness code from which the colour factor follows the luminance.
constexpr int kInterpolationStart = 3156;
// Luminance span over which the colour ratios go from low to high.
constexpr double kLowNits = 30.0;
constexpr double kNitsSpan = 750.4849;
// Colour parameters below this are too weak to trust in the dim range.
constexpr float kWeakParam = 10.0f;
constexpr double kMinLevel = 0.001;

// Inclusive bounds of each colour parameter: high[0..3], low[0..3].
constexpr float kColorLow[8] = {3000, 300, 3000, 200, 100, 10, 100, 10};
constexpr float kColorHigh[8] = {40000, 3000, 35000, 3000, 2000, 200, 2000, 200};

// Written so that NaN fails.
bool within(float v, float lo, float hi) { return v >= lo && v <= hi; }

// Out-of-patch source positions are mirrored about the patch middle.
float sourceIndex(float shifted, int index) {
    if (shifted > 100.0f || shifted < 0.0f) return static_cast<float>(100 - index);
    return shifted;
}

// Resamples `src` (bilinear) so that what sat at `reference` now sits at
// `centre`, renormalised to sum 1. `spare` is part of the historic signature
// and not read.
void trans_weight(float* centre, float* reference, const float (*src)[N], float (*dst)[N], float* spare) {
    (void)spare;
    const float dx = reference[0] - centre[0];
    const float dy = reference[1] - centre[1];
    double sum = 0.0;
    for (int i = 0; i < N; ++i) {
        const float sx = sourceIndex(dx + i, i);
        const float fx = sx - std::floor(sx);
        const int x0 = static_cast<int>(std::floor(sx)), x1 = static_cast<int>(std::ceil(sx));
        for (int j = 0; j < N; ++j) {
            const float sy = sourceIndex(dy + j, j);
            const float fy = sy - std::floor(sy);
            const int y0 = static_cast<int>(std::floor(sy)), y1 = static_cast<int>(std::ceil(sy));
            const float a = src[y0][x0] + fx * (src[y0][x1] - src[y0][x0]);
            const float b = src[y1][x0] + fx * (src[y1][x1] - src[y1][x0]);
            const float value = a + (b - a) * fy;
            dst[j][i] = value;
            sum += value;
        }
    }
    if (sum > 0.0)
        for (int j = 0; j < N; ++j)
            for (int i = 0; i < N; ++i) dst[j][i] = static_cast<float>(dst[j][i] / sum);
}

}  // namespace

int LuxCNN::initCalibration(float (*color)[4], float (*loc)[16]) {
    SC_LOGI("Algo_Lux_Cnn_Model: high_color_params: %f, %f, %f, %f\n", color[0][0], color[0][1], color[0][2],
            color[0][3]);
    SC_LOGI("Algo_Lux_Cnn_Model: low_color_params: %f, %f, %f, %f\n", color[1][0], color[1][1], color[1][2],
            color[1][3]);
    SC_LOGI("Algo_Lux_Cnn_Model: loc_params1: %f, %f, %f, %f, %f, %f, %f, %f\n", loc[2][0], loc[2][1], loc[2][2],
            loc[2][3], loc[2][4], loc[2][5], loc[2][6], loc[2][7]);
    SC_LOGI("Algo_Lux_Cnn_Model: loc_params2: %f, %f, %f, %f, %f, %f, %f, %f\n", loc[2][8], loc[2][9], loc[2][10],
            loc[2][11], loc[2][12], loc[2][13], loc[2][14], loc[2][15]);

    bool colorOk = true;
    for (int k = 0; k < 8; ++k) colorOk = colorOk && within(color[k / 4][k % 4], kColorLow[k], kColorHigh[k]);
    if (colorOk) {
        for (Group& g : gGroups)
            for (int k = 0; k < 8; ++k) g.color[k] = color[k / 4][k % 4];
    } else {
        SC_LOGI("Algo_Lux_Cnn_Model: color params out of range.\n");
    }

    bool allZero = true;
    for (int i = 0; i < kGaussSamples; ++i) allZero = allZero && loc[2][i] == 0.0f;
    if (allZero) {
        SC_LOGI("Algo_Lux_Cnn_Model: all weight values are 0.\n");
        return 0;
    }

    double x[kGaussSamples], y[kGaussSamples], z[kGaussSamples];
    double zmax = 0.0;
    for (int i = 0; i < kGaussSamples; ++i)
        if (loc[2][i] > zmax) zmax = loc[2][i];
    for (int i = 0; i < kGaussSamples; ++i) {
        x[i] = loc[0][i];
        y[i] = loc[1][i];
        z[i] = loc[2][i] / zmax;
    }
    double p[kGaussParams] = {0.0, 0.0, 0.0, 0.0, 0.0};
    const int fitted = gaussian2DFit(x, y, z, p);
    float centre[2] = {static_cast<float>(p[0]), static_cast<float>(p[1])};
    // A failed fit leaves (0, 0) and lands here too. Equal or negative
    // responses can "converge" to a NaN centre, which must not reach the maps.
    if (!(within(centre[0], kCentreXMin, kCentreXMax) && within(centre[1], kCentreYMin, kCentreYMax))) {
        SC_LOGI("Algo_Lux_Cnn_Model: x0 or y0 out of range.\n");
        return 0;
    }
    SC_LOGI("Algo_Lux_Cnn_Model: x0 = %f, y0 = %f", centre[0], centre[1]);
    if (!fitted) return 0;
    // Always from the default maps, so repeated calibrations do not add up.
    for (Group& g : gGroups) trans_weight(centre, g.reference, g.defaultMap, g.map, nullptr);
    return 1;
}

void LuxCNN::getCalibration(int lcm, int (*pixels)[kPatch][4], int mode, float& color_k, float& loc_k) {
    const Group& g = groupOf(mode);
    const float* G = g.golden;
    const float* Cp = g.color;
    SC_LOGI("Algo_Lux_Cnn_Model_B: getCalibration_pixel = %d,%d,%d\n", pixels[0][0][0], pixels[0][0][1],
            pixels[0][0][2]);
    SC_LOGI("Algo_Lux_Cnn_Model_B: high_color_params: %f, %f, %f, %f\n", Cp[0], Cp[1], Cp[2], Cp[3]);
    SC_LOGI("Algo_Lux_Cnn_Model_B: low_color_params: %f, %f, %f, %f\n", Cp[4], Cp[5], Cp[6], Cp[7]);
    SC_LOGI("Algo_Lux_Cnn_Model_B: test_fit_weight_arr: %f, %f, %f, %f\n", g.map[0][0], g.map[0][1], g.map[0][2],
            g.map[0][3]);

    double sr = 0.0, sg = 0.0, sb = 0.0, dr = 0.0, dg = 0.0, db = 0.0;
    for (int row = 0; row < kPatch; ++row)
        for (int col = 0; col < kPatch; ++col) {
            const double s = g.defaultMap[row][col], d = g.map[row][col];
            const int* px = pixels[row][col];
            sr += s * px[0];
            sg += s * px[1];
            sb += s * px[2];
            dr += d * px[0];
            dg += d * px[1];
            db += d * px[2];
        }
    constexpr double kPixels = 10201.0;
    sr /= kPixels;
    sg /= kPixels;
    sb /= kPixels;
    dr /= kPixels;
    dg /= kPixels;
    db /= kPixels;

    // Green and blue weighed against red as the golden unit sees them.
    const double wg = G[2] / G[1], wb = G[3] / G[1];
    const double lsrc = sr + sg * wg + sb * wb;
    const double ldst = dr + dg * wg + db * wb;
    loc_k = 1.0f;
    if (lsrc > kMinLevel && ldst > kMinLevel) loc_k = static_cast<float>(ldst / lsrc);
    double pr = 0.0, pg = 0.0, pb = 0.0;
    if (lsrc > kMinLevel) {
        pr = sr / lsrc;
        pg = sg * wg / lsrc;
        pb = sb * wb / lsrc;
    }

    float hi[4], lo[4];
    for (int k = 0; k < 4; ++k) {
        hi[k] = Cp[k] / G[k];
        lo[k] = Cp[4 + k] / G[4 + k];
    }
    double ck;
    if (lcm < kInterpolationStart) {
        ck = Cp[4] < kWeakParam ? hi[0] : lo[0];
        if (lsrc > kMinLevel) {
            float f[4];
            for (int k = 1; k < 4; ++k) f[k] = Cp[4 + k] < kWeakParam ? hi[k] : lo[k];
            ck = pr * f[1] + pg * f[2] + pb * f[3];
        }
    } else {
        // The caller keeps lcm within the table; clamp anyway rather than read past it.
        const int code = lcm < kLuminanceCodes ? lcm : kLuminanceCodes - 1;
        const double t = lux_cnn_tables::luminance[code] - kLowNits;
        if (lsrc <= kMinLevel) {
            ck = lo[0] + t * (hi[0] - lo[0]) / kNitsSpan;
        } else {
            float f[4];
            for (int k = 1; k < 4; ++k) f[k] = static_cast<float>(lo[k] + t * (hi[k] - lo[k]) / kNitsSpan);
            ck = pr * f[1] + pg * f[2] + pb * f[3];
        }
    }
    color_k = static_cast<float>(ck);
    SC_LOGI("Algo_Lux_Cnn_Model: color_k = %f, loc_k = %f", color_k, loc_k);
}
