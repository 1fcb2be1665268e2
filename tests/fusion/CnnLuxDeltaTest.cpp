// The project CNN lux delta: capture sampling, eye weighting, the screen-hop
// code, the guards, and the whole path from a host capture to the five deltas.
#include <gtest/gtest.h>
#include <utils/Vector.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <string>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "tests/light_regression/GoldenFile.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestEnv.h"

using android::ProjectFeature;
using android::RootFusion;

namespace {

int pattern(int r, int c, int k) { return (r * 7 + c * 3 + k * 50) % 256; }

android::Vector<int> capture(int width, int height, int (*value)(int row, int col, int k) = pattern) {
    android::Vector<int> v;
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c)
            for (int k = 0; k < 3; ++k) v.push_back(value(r, c, k));
    return v;
}

class CnnLuxDelta : public ::testing::Test {
protected:
    void SetUp() override {
        feature.reset(new ProjectFeature());
        feature->displayId = 1;
        const float b[5] = {100, 50, 120, 20, 60}, n[5] = {900, 700, 800, 300, 950};
        std::copy(b, b + 5, channelsBlk);
        std::copy(n, n + 5, channelsNblk);
        screenHopMode = 0;
        mLogSwitch = 0;
        logs.clear();
    }
    void TearDown() override { mLogSwitch = 0; }
    // The grid value the model received, recovered from its float input.
    int sampled(int i, int j, int k) const { return int(std::lround(feature->mModel.mImage[i][j][k] * 255.0)); }

    sctest::TempDir dir;
    sctest::ScopedCwd cwd{dir.path()};  // no panel identity file here
    std::unique_ptr<ProjectFeature> feature;
    sctest::LogCapture logs;
    float delta[5] = {-1, -2, -3, -4, -5};
};

class Sampling : public CnnLuxDelta, public ::testing::WithParamInterface<std::pair<int, int>> {};

// Each cell takes the pixel at its top-left: row i*height/81, column j*width/51.
TEST_P(Sampling, PicksTopLeftPixelOfEachCell) {
    const auto [w, h] = GetParam();
    ASSERT_TRUE(feature->calcProjectCNNLuxDelta(capture(w, h), 9000, w, h, delta));
    for (int i = 0; i < 81; ++i)
        for (int j = 0; j < 51; ++j)
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(sampled(i, j, k), pattern(i * h / 81, j * w / 51, k)) << i << "," << j << "," << k;
}

INSTANTIATE_TEST_SUITE_P(Sizes, Sampling,
                         ::testing::Values(std::pair{51, 81}, std::pair{102, 81}, std::pair{102, 162},
                                           std::pair{43, 112}, std::pair{1, 1}));

// Eye weights round half away from zero and saturate at the int limits.
TEST_F(CnnLuxDelta, EyeWeightsRoundHalfAwayFromZero) {
    const int values[] = {10, -10, 2, 6, -6, INT_MAX, INT_MIN};
    auto cap = capture(51, 81, [](int, int, int) { return 0; });
    for (int j = 0; j < 7; ++j) cap.editItemAt(j * 3) = cap.editItemAt(j * 3 + 1) = cap.editItemAt(j * 3 + 2) = values[j];
    feature->setProjectEyeParam(0.25, 2.0, 1.0);
    ASSERT_TRUE(feature->calcProjectCNNLuxDelta(cap, 9000, 51, 81, delta));
    const int red[] = {3, -3, 1, 2, -2, 536870912, -536870912};
    const int green[] = {20, -20, 4, 12, -12, INT_MAX, INT_MIN};
    for (int j = 0; j < 7; ++j) {
        EXPECT_EQ(feature->mModel.mImage[0][j][0], static_cast<float>(red[j] / 255.0)) << j;
        EXPECT_EQ(feature->mModel.mImage[0][j][1], static_cast<float>(green[j] / 255.0)) << j;
        EXPECT_EQ(feature->mModel.mImage[0][j][2], static_cast<float>(values[j] / 255.0)) << j;
    }
}

class ScreenHop : public CnnLuxDelta, public ::testing::WithParamInterface<std::pair<int, int>> {};

// Screen-hop modes 0 and 1 run the model in modes 2 and 1; anything else in
// the other modes. The result is the model's output, logged when verbose.
TEST_P(ScreenHop, SelectsModelModeAndLogsTheResult) {
    const auto [mode, hop] = GetParam();
    screenHopMode = mode;
    mLogSwitch = 1;
    ASSERT_TRUE(feature->calcProjectCNNLuxDelta(capture(51, 81), 7601, 51, 81, delta));
    // 7601 is level 1 in modes 1 and 2 and level 2 otherwise.
    EXPECT_EQ(feature->mModel.mLayer1Kernel, light_regression::weightSet(hop, hop == 0 ? 2 : 1)[0]);
    EXPECT_EQ(feature->lastDelta, feature->mModel.mOutput);
    for (int k = 0; k < 5; ++k) EXPECT_EQ(delta[k], feature->lastDelta[k]);
    char line[400];
    std::snprintf(line, sizeof line,
                  "UL: calcCNNLuxDelta crgbw blk[100.000000, 50.000000, 120.000000, 20.000000, 60.000000], "
                  "nblk[900.000000, 700.000000, 800.000000, 300.000000, 950.000000], "
                  "cnnDelta[%f, %f, %f, %f, %f], br 7601 hop%d",
                  delta[0], delta[1], delta[2], delta[3], delta[4], hop);
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion").back(), line);
}

INSTANTIATE_TEST_SUITE_P(Codes, ScreenHop,
                         ::testing::Values(std::pair{0, 2}, std::pair{1, 1}, std::pair{2, 0}, std::pair{-1, 0},
                                           std::pair{7, 0}));

// Nothing is predicted and `delta` keeps the caller's values.
TEST_F(CnnLuxDelta, GuardsLeaveDeltaUntouched) {
    for (int id : {-1, 2, 5}) {
        feature->displayId = id;
        EXPECT_FALSE(feature->calcProjectCNNLuxDelta(capture(51, 81), 9000, 51, 81, delta));
    }
    EXPECT_TRUE(logs.texts().empty());
    feature->displayId = 1;

    // Size mismatch: quiet unless verbose logging is on.
    EXPECT_FALSE(feature->calcProjectCNNLuxDelta(capture(51, 80), 9000, 51, 81, delta));
    EXPECT_TRUE(logs.texts().empty());
    mLogSwitch = 1;
    EXPECT_FALSE(feature->calcProjectCNNLuxDelta(capture(51, 80), 9000, 51, 81, delta));
    EXPECT_EQ(logs.texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion"),
              std::vector<std::string>{"pixcel info error size = 12240"});

    // Dimensions whose product matches but which cannot index the capture.
    EXPECT_FALSE(feature->calcProjectCNNLuxDelta(android::Vector<int>(), 9000, 0, 0, delta));
    EXPECT_FALSE(feature->calcProjectCNNLuxDelta(capture(51, 81), 9000, -51, -81, delta));
    EXPECT_TRUE(logs.contains("UL: calcCNNLuxDelta invalid capture 0 x 0"));
    for (int k = 0; k < 5; ++k) EXPECT_EQ(delta[k], -1.0f - k);
    // Nothing reached the model, which still holds its zeroed start.
    EXPECT_EQ(feature->lastDelta, nullptr);
    for (float v : feature->mModel.mOutput) EXPECT_EQ(v, 0.0f);
    for (const auto& row : feature->mModel.mImage)
        for (const auto& px : row)
            for (float v : px) ASSERT_EQ(v, 0.0f);
}

// From a host capture through the facade to five deltas that the numpy
// reference reproduces.
TEST(CnnLuxDeltaFacade, CapturesMatchReference) {
    const lrtest::GoldenFile golden(lrtest::goldenPath());
    ASSERT_TRUE(golden.ok());
    sctest::LogCapture quiet;
    RootFusion* root = RootFusion::getInstance();
    ProjectFeature::getInstance()->displayId = 1;
    for (int i = 0; i < 3; ++i) {
        const std::string key = "capture/" + std::to_string(i);
        const std::vector<float>& args = golden[key + "/args"];
        const std::vector<float>& want = golden[key + "/output"];
        ASSERT_EQ(args.size(), 17u);
        android::Vector<int> cap;
        for (float p : golden[key + "/pixels"]) cap.push_back(int(p));
        root->setEyeParam(args[2], args[3], args[4]);
        screenHopMode = int(args[5]);
        for (int k = 0; k < 5; ++k) {
            channelsNblk[k] = args[7 + k];
            channelsBlk[k] = args[12 + k];
        }
        float delta[5] = {};
        root->calcCNNLuxDelta(cap, int(args[6]), int(args[0]), int(args[1]), delta);
        for (int k = 0; k < 5; ++k) EXPECT_NEAR(delta[k], want[k], lrtest::tolerance(want[k])) << key << " " << k;
    }
}

}  // namespace
