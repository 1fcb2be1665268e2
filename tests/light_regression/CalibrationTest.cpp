// Unit calibration: corrections from the ratios of unit to reference values,
// weighted by the image's colour, and the window that rejects bad factory data.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "models/light_regression/LightRegression.h"
#include "tests/light_regression/TestModel.h"
#include "tests/support/LogCapture.h"

using namespace light_regression;

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class Calibration : public ::testing::Test {
protected:
    void TearDown() override { lrtest::restoreUnitTable(*model); }
    void install(const CaliTable& t) {
        CaliTable copy;
        std::memcpy(copy, t, sizeof(copy));
        model->initCalibration(copy);
    }
    void calibrate(lrtest::Image& image, int mode) {
        for (int k = 0; k < 5; ++k) diff[k] = gain[k] = ratio[k] = -1.0f;
        model->getCalibration(image, mode, diff, gain, ratio);
    }
    void expectNoCorrection() {
        for (int k = 0; k < 5; ++k) {
            EXPECT_EQ(diff[k], 1.0f) << k;
            EXPECT_EQ(gain[k], 1.0f) << k;
        }
    }
    std::unique_ptr<LightRegression> model{new LightRegression()};
    sctest::LogCapture logs;
    float diff[5], gain[5], ratio[5];
};

lrtest::ImagePtr redImage() {
    auto img = lrtest::makeImage();
    for (auto& row : *img)
        for (auto& px : row) px[0] = 200;
    return img;
}

lrtest::ImagePtr mixedImage() {
    auto img = lrtest::makeImage();
    for (int r = 0; r < kImageRows; ++r)
        for (int c = 0; c < kImageCols; ++c) {
            (*img)[r][c][0] = (r * 7 + c) % 256;
            (*img)[r][c][1] = (r * 3 + c * 5) % 256;
            (*img)[r][c][2] = (r + c * 11) % 256;
        }
    return img;
}

// A unit measured exactly like the reference needs no correction. With one
// colour the weights are exactly 1 and so are the corrections; with mixed
// colours the three float fractions sum to 1 within float rounding.
TEST_F(Calibration, UnitEqualToModeReferenceGivesNoCorrection) {
    for (int mode : {0, 1, 2, 9}) {
        install(referenceTable(mode));
        calibrate(*redImage(), mode);
        expectNoCorrection();
        calibrate(*mixedImage(), mode);
        for (int k = 0; k < 5; ++k) {
            EXPECT_NEAR(diff[k], 1.0f, 3e-7f) << mode << "/" << k;
            EXPECT_NEAR(gain[k], 1.0f, 3e-7f) << mode << "/" << k;
            EXPECT_EQ(ratio[k], 1.0f);
        }
    }
    EXPECT_FALSE(logs.contains("nblk is error"));
}

// Before any factory data the unit table is the other modes' reference (no
// correction in the other modes, their ratios to it in modes 1 and 2).
TEST_F(Calibration, StartsAtTheOtherModesReference) {
    auto image = redImage();  // one colour: corrections of exactly 1 in mode 4
    for (int mode : {4, 1, 2}) {
        calibrate(*image, mode);
        const std::vector<float> fresh(diff, diff + 5), freshGain(gain, gain + 5);
        install(referenceTable(0));
        calibrate(*image, mode);
        EXPECT_EQ(fresh, std::vector<float>(diff, diff + 5)) << mode;
        EXPECT_EQ(freshGain, std::vector<float>(gain, gain + 5)) << mode;
        EXPECT_EQ(mode == 4, gain[0] == 1.0f) << mode;
    }
}

// No colour, nothing to weigh: even a table of zeros is no error.
TEST_F(Calibration, BlackImageNeedsNoCorrectionWhateverTheTable) {
    CaliTable zeros = {};
    install(zeros);
    calibrate(*lrtest::makeImage(0), 1);
    expectNoCorrection();
    for (int k = 0; k < 5; ++k) EXPECT_EQ(ratio[k], 1.0f);
    EXPECT_FALSE(logs.contains("nblk is error"));
}

struct BadEntry {
    const char* name;
    int colour, group, channel;
    float value;  // replaces the entry, or scales it when `scale` is set
    bool scale;
};

class RatioWindow : public Calibration, public ::testing::WithParamInterface<BadEntry> {};

// Any ratio outside (0.1, 5.0), NaN and infinities included, resets every
// channel, also those already computed, and logs the six ratios.
TEST_P(RatioWindow, ResetsAllChannels) {
    CaliTable t;
    std::memcpy(t, referenceTable(0), sizeof(t));
    for (int c = 0; c < 3; ++c)
        for (int g = 0; g < 2; ++g)
            for (int k = 0; k < 5; ++k) t[c][g][k] *= 1.1f;  // earlier channels get real corrections
    const BadEntry& e = GetParam();
    float& slot = t[e.colour][e.group][e.channel];
    slot = e.scale ? slot * e.value : e.value;
    install(t);
    calibrate(*mixedImage(), 0);
    expectNoCorrection();
    int errors = 0;
    for (const std::string& line : logs.texts())
        if (line.rfind("Algo_Lux_Cnn_Model: nblk is error  = ", 0) == 0) ++errors;
    EXPECT_EQ(errors, 1);
}

INSTANTIATE_TEST_SUITE_P(
        BadFactoryData, RatioWindow,
        ::testing::Values(BadEntry{"zero_blk", 0, kBlk, 0, 0.0f, false},
                          BadEntry{"zero_blk_last_channel", 2, kBlk, 4, 0.0f, false},
                          BadEntry{"negative_blk", 1, kBlk, 3, -100.0f, false},
                          BadEntry{"level_too_high", 1, kBlk, 3, 5.5f, true},
                          BadEntry{"level_too_low", 2, kBlk, 1, 0.08f, true},
                          // The reference "nblk" is about 1/22 of "blk": x50 lifts it above.
                          BadEntry{"nblk_above_blk", 0, kNblk, 3, 50.0f, true},
                          BadEntry{"nan_blk", 0, kBlk, 2, kNaN, false},
                          BadEntry{"nan_nblk_only_difference", 1, kNblk, 3, kNaN, false},
                          BadEntry{"inf_blk", 2, kBlk, 3, kInf, false},
                          BadEntry{"minus_inf_nblk", 2, kNblk, 4, -kInf, false}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(Calibration, RatiosJustInsideTheWindowAreAccepted) {
    CaliTable t;
    std::memcpy(t, referenceTable(0), sizeof(t));
    for (int c = 0; c < 3; ++c)
        for (int g = 0; g < 2; ++g) t[c][g][1] *= 4.9f;
    for (int c = 0; c < 3; ++c)
        for (int g = 0; g < 2; ++g) t[c][g][3] *= 0.11f;
    install(t);
    calibrate(*mixedImage(), 0);
    EXPECT_NEAR(gain[1], 4.9f, 1e-5f);
    EXPECT_NEAR(diff[1], 4.9f, 1e-5f);
    EXPECT_NEAR(gain[3], 0.11f, 1e-6f);
    EXPECT_FALSE(logs.contains("nblk is error"));
}

TEST_F(Calibration, LogLines) {
    float cali[3][2][5];
    for (int c = 0; c < 3; ++c)
        for (int g = 0; g < 2; ++g)
            for (int k = 0; k < 5; ++k) cali[c][g][k] = float(1000 * (c + 1) + 100 * g + k);
    cali[0][kBlk][0] = 0.0f;
    model->initCalibration(cali);
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion"),
              (std::vector<std::string>{
                      "Algo_Lux_Cnn_Model: color_params_r: 0.000000, 1001.000000, 1002.000000, 1003.000000, "
                      "1004.000000, 1100.000000, 1101.000000, 1102.000000, 1103.000000, 1104.000000\n",
                      "Algo_Lux_Cnn_Model: color_params_g: 2000.000000, 2001.000000, 2002.000000, 2003.000000, "
                      "2004.000000, 2100.000000, 2101.000000, 2102.000000, 2103.000000, 2104.000000\n",
                      "Algo_Lux_Cnn_Model: color_params_b: 3000.000000, 3001.000000, 3002.000000, 3003.000000, "
                      "3004.000000, 3100.000000, 3101.000000, 3102.000000, 3103.000000, 3104.000000\n"}));
    logs.clear();
    calibrate(*redImage(), 0);
    const float rG = 2000.0f / referenceTable(0)[1][kBlk][0], rB = 3000.0f / referenceTable(0)[2][kBlk][0];
    const float dR = -1100.0f / (referenceTable(0)[0][kBlk][0] - referenceTable(0)[0][kNblk][0]);
    const float dG = -100.0f / (referenceTable(0)[1][kBlk][0] - referenceTable(0)[1][kNblk][0]);
    const float dB = -100.0f / (referenceTable(0)[2][kBlk][0] - referenceTable(0)[2][kNblk][0]);
    char error[200];
    std::snprintf(error, sizeof error, "Algo_Lux_Cnn_Model: nblk is error  = %f, %f, %f, %f, %f, %f\n", 0.0, double(rG),
                  double(rB), double(dR), double(dG), double(dB));
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion"),
              (std::vector<std::string>{
                      error,
                      "Algo_Lux_Cnn_Model: test_rgb_calib_arr_r: blk = 0.000000, 1001.000000, 1002.000000, "
                      "1003.000000, 1004.000000; nblk: 1100.000000, 1101.000000, 1102.000000, 1103.000000, "
                      "1104.000000\n",
                      "Algo_Lux_Cnn_Model: test_rgb_calib_arr_g: blk = 2000.000000, 2001.000000, 2002.000000, "
                      "2003.000000, 2004.000000; nblk: 2100.000000, 2101.000000, 2102.000000, 2103.000000, "
                      "2104.000000\n",
                      "Algo_Lux_Cnn_Model: test_rgb_calib_arr_b: blk = 3000.000000, 3001.000000, 3002.000000, "
                      "3003.000000, 3004.000000; nblk: 3100.000000, 3101.000000, 3102.000000, 3103.000000, "
                      "3104.000000\n",
                      "Algo_Lux_Cnn_Model: color_k_diff = 1.000000, 1.000000, 1.000000, 1.000000, 1.000000\n",
                      "Algo_Lux_Cnn_Model: color_k_nblk = 1.000000, 1.000000, 1.000000, 1.000000, 1.000000\n"}));
}

}  // namespace
