#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "models/lux_cnn/LuxCNN.h"
#include "tests/lux_cnn/TestPatterns.h"
#include "tests/support/LogCapture.h"

namespace {

struct CalibrationCase {
    const char* kind;
    unsigned seed;
    int lcm;
    int mode;
    double colorK, locK;
};
#include "tests/lux_cnn/LuxCNNCalibrationGolden.inc"

const float kNaNf = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const char* const kOutOfRange = "Algo_Lux_Cnn_Model: x0 or y0 out of range.\n";
const std::string kColorRejected = "Algo_Lux_Cnn_Model: color params out of range.\n";

std::string centreLine(float x, float y) {
    char text[100];
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: x0 = %f, y0 = %f", x, y);
    return text;
}

// Calibration state is process-wide: every test first installs what it needs.
class Calibration : public ::testing::Test {
protected:
    void SetUp() override {
        model.reset(new LuxCNN());
        std::memcpy(color, kUnitColor, sizeof color);
        std::memcpy(loc[0], kLocX, sizeof loc[0]);
        std::memcpy(loc[1], kLocY, sizeof loc[1]);
        std::memcpy(loc[2], kLocZ, sizeof loc[2]);
        quietly([&] { model->initCalibration(color, loc); });
    }
    template <typename F>
    void quietly(F f) {
        __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        f();
        __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
    }
    // (color_k, loc_k) for a pattern, without logging.
    std::pair<float, float> factors(const std::string& kind, unsigned seed, int lcm, int mode) {
        auto px = luxtest::pattern(kind, seed);
        float ck = kNaNf, lk = kNaNf;
        quietly([&] { model->getCalibration(lcm, px[0], mode, ck, lk); });
        return {ck, lk};
    }
    // 16 samples of a Gaussian spot centred at (cx, cy) on a 4 x 4 grid that
    // is symmetric about it, so the fit lands on the centre.
    void spotAt(float cx, float cy) {
        for (int i = 0; i < 16; ++i) {
            const double dx = (i % 4 - 1.5) * 6.0, dy = (i / 4 - 1.5) * 6.0;
            loc[0][i] = static_cast<float>(cx + dx);
            loc[1][i] = static_cast<float>(cy + dy);
            loc[2][i] = static_cast<float>(2500.0 * std::exp(-(dx * dx / 60.0 + dy * dy / 40.0)));
        }
    }
    std::unique_ptr<LuxCNN> model;
    float color[2][4];
    float loc[3][16];
};

TEST_F(Calibration, FactorsMatchTheReference) {
    for (const CalibrationCase& c : kCalibrated) {
        SCOPED_TRACE(std::string(c.kind) + " lcm " + std::to_string(c.lcm) + " mode " + std::to_string(c.mode));
        const auto f = factors(c.kind, c.seed, c.lcm, c.mode);
        EXPECT_NEAR(f.first, c.colorK, 1e-5 * std::fabs(c.colorK));
        EXPECT_NEAR(f.second, c.locK, 1e-5 * std::fabs(c.locK));
    }
}

TEST_F(Calibration, InitLogsItsInputsAndTheFittedCentre) {
    sctest::LogCapture log;
    EXPECT_EQ(model->initCalibration(color, loc), 1);
    const std::vector<std::string> lines = log.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion");
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "Algo_Lux_Cnn_Model: high_color_params: 14000.000000, 1300.000000, 11000.000000, 1250.000000\n");
    EXPECT_EQ(lines[1], "Algo_Lux_Cnn_Model: low_color_params: 560.000000, 60.000000, 430.000000, 60.000000\n");
    char text[300];
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: loc_params1: %f, %f, %f, %f, %f, %f, %f, %f\n", kLocZ[0],
                  kLocZ[1], kLocZ[2], kLocZ[3], kLocZ[4], kLocZ[5], kLocZ[6], kLocZ[7]);
    EXPECT_EQ(lines[2], text);
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: loc_params2: %f, %f, %f, %f, %f, %f, %f, %f\n", kLocZ[8],
                  kLocZ[9], kLocZ[10], kLocZ[11], kLocZ[12], kLocZ[13], kLocZ[14], kLocZ[15]);
    EXPECT_EQ(lines[3], text);
    EXPECT_EQ(lines[4], centreLine(kFittedCentre[0], kFittedCentre[1]));
}

TEST_F(Calibration, GetCalibrationLogsItsState) {
    auto px = luxtest::pattern("black", 0);
    px[0][0][0][0] = 7, px[0][0][0][1] = 8, px[0][0][0][2] = 9;
    float ck = 0, lk = 0;
    sctest::LogCapture log;
    model->getCalibration(100, px[0], 0, ck, lk);
    const std::vector<std::string> lines = log.texts();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "Algo_Lux_Cnn_Model_B: getCalibration_pixel = 7,8,9\n");
    EXPECT_EQ(lines[1], "Algo_Lux_Cnn_Model_B: high_color_params: 14000.000000, 1300.000000, 11000.000000, 1250.000000\n");
    EXPECT_EQ(lines[2], "Algo_Lux_Cnn_Model_B: low_color_params: 560.000000, 60.000000, 430.000000, 60.000000\n");
    EXPECT_EQ(lines[3].rfind("Algo_Lux_Cnn_Model_B: test_fit_weight_arr: ", 0), 0u);
    char text[100];
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: color_k = %f, loc_k = %f", ck, lk);
    EXPECT_EQ(lines[4], text);
}

TEST_F(Calibration, RepeatedCalibrationDoesNotAccumulate) {
    const auto first = factors("noise", 31, 2000, 0);
    for (int i = 0; i < 3; ++i) quietly([&] { model->initCalibration(color, loc); });
    EXPECT_EQ(factors("noise", 31, 2000, 0), first);
    // Codes past the luminance table read its last entry instead of beyond it.
    EXPECT_EQ(factors("noise", 21, 20000, 0), factors("noise", 21, 14063, 0));
}

TEST_F(Calibration, CentreAtTheReferenceLeavesTheDefaultMap) {
    spotAt(826.04f, 83.77f);  // mode 0's reference centre
    sctest::LogCapture log;
    EXPECT_EQ(model->initCalibration(color, loc), 1);
    EXPECT_TRUE(log.contains("Algo_Lux_Cnn_Model: x0 = 826.039978, y0 = 83.769997"));
    // Only the renormalisation of a map that already sums to 1 remains.
    for (unsigned seed : {41u, 42u}) EXPECT_NEAR(factors("noise", seed, 2000, 0).second, 1.0f, 2e-6);
}

struct Centre {
    float x, y;
    bool accepted;
};

class CentreWindow : public Calibration, public ::testing::WithParamInterface<Centre> {};

TEST_P(CentreWindow, EdgesAreInclusive) {
    const Centre c = GetParam();
    spotAt(828.0f, 80.0f);
    quietly([&] { model->initCalibration(color, loc); });
    const float before = factors("noise", 51, 2000, 1).second;
    spotAt(c.x, c.y);
    sctest::LogCapture log;
    EXPECT_EQ(model->initCalibration(color, loc), c.accepted ? 1 : 0);
    EXPECT_EQ(log.contains(centreLine(c.x, c.y)), c.accepted);
    EXPECT_EQ(log.contains(kOutOfRange), !c.accepted);
    EXPECT_EQ(factors("noise", 51, 2000, 1).second != before, c.accepted);
}

INSTANTIATE_TEST_SUITE_P(Edges, CentreWindow,
                         ::testing::Values(Centre{815.0f, 81.0f, true}, Centre{835.0f, 81.0f, true},
                                           Centre{825.0f, 71.0f, true}, Centre{825.0f, 91.0f, true},
                                           Centre{814.99f, 81.0f, false}, Centre{835.01f, 81.0f, false},
                                           Centre{825.0f, 70.99f, false}, Centre{825.0f, 91.01f, false}));

// Inputs for which the fit "succeeds" with a non-finite centre (zero weight
// sum or amplitude in the initial guess, a NaN position). NaN fails every
// comparison, so a window written as four "outside" tests would let it
// through and resample the maps at NaN. All-zero responses stop before the fit.
struct BadLoc {
    int row, index;  // index -1: the whole row
    float value;
    const char* lastLine;
};

class BadLocation : public Calibration, public ::testing::WithParamInterface<BadLoc> {};

TEST_P(BadLocation, IsRejectedAndLeavesTheMaps) {
    const float before = factors("noise", 61, 2000, 0).second;
    const BadLoc b = GetParam();
    for (int i = 0; i < 16; ++i)
        if (b.index < 0 || b.index == i) loc[b.row][i] = b.value;
    sctest::LogCapture log;
    EXPECT_EQ(model->initCalibration(color, loc), 0);
    const std::vector<std::string> lines = log.texts();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), b.lastLine);
    EXPECT_EQ(factors("noise", 61, 2000, 0).second, before);
}

const char* const kZeros = "Algo_Lux_Cnn_Model: all weight values are 0.\n";
INSTANTIATE_TEST_SUITE_P(Responses, BadLocation,
                         ::testing::Values(BadLoc{2, -1, 1500.0f, kOutOfRange}, BadLoc{2, -1, 1.0f, kOutOfRange},
                                           BadLoc{2, -1, -20.0f, kOutOfRange}, BadLoc{2, -1, kNaNf, kOutOfRange},
                                           BadLoc{2, -1, kInf, kOutOfRange}, BadLoc{0, 5, kNaNf, kOutOfRange},
                                           BadLoc{2, -1, 0.0f, kZeros}));

struct ColorCase {
    int index;  // 0..3 high, 4..7 low
    float value;
    bool accepted;
};

class ColorBounds : public Calibration, public ::testing::WithParamInterface<ColorCase> {};

TEST_P(ColorBounds, InclusiveAndNaNRejecting) {
    const ColorCase c = GetParam();
    color[c.index / 4][c.index % 4] = c.value;
    sctest::LogCapture log;
    model->initCalibration(color, loc);
    EXPECT_EQ(log.contains(kColorRejected), !c.accepted);
    EXPECT_TRUE(log.contains(centreLine(kFittedCentre[0], kFittedCentre[1])));  // the location fit runs either way

    // Accepted params reach every mode; rejected ones leave the unit's set.
    float expect[8];
    std::memcpy(expect, kUnitColor, sizeof expect);
    if (c.accepted) expect[c.index] = c.value;
    char high[200], low[200];
    std::snprintf(high, sizeof high, "Algo_Lux_Cnn_Model_B: high_color_params: %f, %f, %f, %f\n", expect[0],
                  expect[1], expect[2], expect[3]);
    std::snprintf(low, sizeof low, "Algo_Lux_Cnn_Model_B: low_color_params: %f, %f, %f, %f\n", expect[4], expect[5],
                  expect[6], expect[7]);
    auto px = luxtest::pattern("black", 0);
    for (int mode : {0, 1, 2}) {
        float ck, lk;
        log.clear();
        model->getCalibration(100, px[0], mode, ck, lk);
        EXPECT_TRUE(log.contains(high)) << high;
        EXPECT_TRUE(log.contains(low)) << low;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, ColorBounds,
    ::testing::Values(ColorCase{0, 40000.0f, true}, ColorCase{0, 40000.5f, false}, ColorCase{0, 3000.0f, true},
                      ColorCase{0, 2999.5f, false}, ColorCase{1, 300.0f, true}, ColorCase{1, 3000.5f, false},
                      ColorCase{2, 35000.0f, true}, ColorCase{2, 35000.5f, false}, ColorCase{3, 200.0f, true},
                      ColorCase{3, 199.0f, false}, ColorCase{4, 2000.0f, true}, ColorCase{4, 99.0f, false},
                      ColorCase{5, 10.0f, true}, ColorCase{5, 9.9f, false}, ColorCase{6, 2000.5f, false},
                      ColorCase{7, 200.0f, true}, ColorCase{7, 201.0f, false},
                      // Factory data from outside the image: NaN must not pass.
                      ColorCase{0, kNaNf, false}, ColorCase{5, kNaNf, false}, ColorCase{7, kNaNf, false},
                      ColorCase{2, kInf, false}, ColorCase{4, -kInf, false}));

}  // namespace
