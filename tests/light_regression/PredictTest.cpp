// The prediction driver: brightness levels, the pixel log, bad features and
// the output array (its numbers: the golden cases of ModelTest).
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "models/common/PixelLog.h"
#include "models/light_regression/LightRegression.h"
#include "tests/light_regression/TestModel.h"
#include "tests/support/LogCapture.h"

using namespace light_regression;

namespace {

constexpr const char* kRejected = "Algo_Lux_Cnn_Model: lcm less than 6961";

struct LevelCase {
    int mode, lcm, level;  // level 0: outside the model
};

std::vector<LevelCase> levelCases() {
    // Codes around every limit, with the level of modes 1/2 and of the others.
    const struct {
        int lcm, level12, levelOther;
    } table[] = {{INT_MIN, 0, 0}, {-1, 0, 0},       {4700, 0, 0},      {4701, 1, 1},  {7600, 1, 1},
                 {7601, 1, 2},    {8015, 1, 2},     {8016, 2, 3},      {9780, 2, 3},  {9781, 3, 4},
                 {11880, 3, 4},   {11881, 4, 5},    {14063, 4, 5},     {14064, 0, 0}, {14079, 0, 0},
                 {INT_MAX, 0, 0}};
    std::vector<LevelCase> out;
    for (int mode : {1, 2, 0, 3, -1})
        for (const auto& t : table) out.push_back({mode, t.lcm, mode == 1 || mode == 2 ? t.level12 : t.levelOther});
    return out;
}

// A pixel log row as the C library would print it.
std::string printfRow(int r, const std::vector<int>& px, int stride) {
    std::string s;
    char entry[64];
    for (int c = 0; c < pixel_log::kSide; ++c) {
        std::snprintf(entry, sizeof entry, "[%d][%d] = %d,%d,%d; ", r, c, px[c * stride], px[c * stride + 1],
                      px[c * stride + 2]);
        s += entry;
    }
    return s;
}

class Predict : public ::testing::Test {
protected:
    void TearDown() override { lrtest::restoreUnitTable(*model); }
    float* predict(lrtest::Image& image, int lcm, int mode) { return model->model_predict(image, nblk, blk, lcm, mode); }
    std::vector<std::string> pixelLines() const {
        std::vector<std::string> out;
        for (const std::string& t : logs.texts())
            if (t.rfind("Algo_Lux_Cnn_Model: pexelInfo ", 0) == 0) out.push_back(t);
        return out;
    }
    std::unique_ptr<LightRegression> model{new LightRegression()};
    sctest::LogCapture logs;
    float nblk[5] = {900.0f, 700.0f, 800.0f, 300.0f, 950.0f};
    float blk[5] = {100.0f, 50.0f, 120.0f, 20.0f, 60.0f};
};

class Levels : public Predict, public ::testing::WithParamInterface<LevelCase> {};

TEST_P(Levels, BrightnessCodeSelectsLevelOrIsRejected) {
    auto image = lrtest::makeImage(128);
    // Start from a known set that no case selects.
    const float* const* before = weightSet(2, 3);
    predict(*image, 10000, 2);
    ASSERT_EQ(model->mLayer1Kernel, before[kLayer1Kernel]);
    logs.clear();

    const LevelCase& c = GetParam();
    float* out = predict(*image, c.lcm, c.mode);
    EXPECT_EQ(out, model->mOutput);
    if (c.level == 0) {
        for (int k = 0; k < 5; ++k) EXPECT_EQ(out[k], 0.0f);
        EXPECT_EQ(model->mLayer1Kernel, before[kLayer1Kernel]);
        EXPECT_TRUE(logs.contains(kRejected));
        EXPECT_FALSE(logs.contains("Algo_Lux_Cnn_Model: color_k_diff"));  // no calibration, no prediction
    } else {
        const float* const* set = weightSet(c.mode, c.level);
        ASSERT_NE(set, nullptr);
        EXPECT_EQ(model->mLayer1Kernel, set[kLayer1Kernel]);
        EXPECT_EQ(model->mLayer12Bias, set[kLayer12Bias]);
        EXPECT_FALSE(logs.contains(kRejected));
        for (int k = 0; k < 5; ++k) EXPECT_GE(out[k], 0.0f);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryMode, Levels, ::testing::ValuesIn(levelCases()), [](const auto& info) {
    const LevelCase& c = info.param;
    auto num = [](int v) { return v < 0 ? "m" + std::to_string(-(long long)v) : std::to_string(v); };
    return "mode" + num(c.mode) + "_lcm" + num(c.lcm);
});

TEST_F(Predict, PixelLogShowsTopLeftThirtyByThirty) {
    auto image = lrtest::makeImage(0);
    (*image)[0][1][0] = 12;
    (*image)[0][1][1] = 34;
    (*image)[0][1][2] = 56;
    (*image)[29][29][2] = -7;
    (*image)[30][0][0] = 99;   // outside the logged square
    (*image)[0][30][0] = 99;
    predict(*image, 9000, 0);
    const std::vector<std::string> lines = pixelLines();
    ASSERT_EQ(lines.size(), 30u);
    EXPECT_EQ(lines[0], "Algo_Lux_Cnn_Model: pexelInfo " +
                                printfRow(0, std::vector<int>(&(*image)[0][0][0], &(*image)[0][30][0]), 3));
    EXPECT_NE(lines[0].find("[0][1] = 12,34,56; [0][2] = 0,0,0; "), std::string::npos);
    const std::string last = "[29][28] = 0,0,0; [29][29] = 0,0,-7; ";
    ASSERT_GT(lines[29].size(), last.size());
    EXPECT_EQ(lines[29].substr(lines[29].size() - last.size()), last);
    for (const std::string& l : lines) EXPECT_EQ(l.find("99"), std::string::npos);
}

// The log is written only when some colour sums to 2 or more.
TEST_F(Predict, PixelLogThreshold) {
    auto image = lrtest::makeImage(0);
    (*image)[5][5][1] = 1;
    predict(*image, 9000, 0);
    EXPECT_TRUE(pixelLines().empty());
    (*image)[6][6][1] = 1;
    logs.clear();
    predict(*image, 9000, 0);
    EXPECT_EQ(pixelLines().size(), 30u);
}

// A channel where nblk is below blk (or unreadable) carries no screen light:
// its feature is 0, exactly as if the two were equal.
TEST_F(Predict, NegativeFeaturesClampToZero) {
    auto image = lrtest::makeImage(90);
    nblk[1] = blk[1];
    float equal[5];
    const float* out = predict(*image, 12000, 1);
    std::copy(out, out + 5, equal);
    for (float below : {49.0f, -1e30f, std::numeric_limits<float>::quiet_NaN()}) {
        nblk[1] = below;
        out = predict(*image, 12000, 1);
        EXPECT_EQ(model->mFeatures[1], 0.0f) << below;
        for (int k = 0; k < 5; ++k) EXPECT_EQ(out[k], equal[k]) << below << " channel " << k;
    }
}

TEST_F(Predict, ResultLineAndStableOutputArray) {
    auto image = lrtest::makeImage(40);
    float* first = predict(*image, 9000, 0);
    char line[256];
    std::snprintf(line, sizeof line, "Algo_Lux_Cnn_Model: lcm = 9000, mode = 0, model_predict= %f, %f, %f, %f, %f",
                  first[0], first[1], first[2], first[3], first[4]);
    EXPECT_EQ(logs.texts().back(), line);
    EXPECT_EQ(predict(*image, 4000, 0), first);
    EXPECT_EQ(logs.texts().back(), kRejected);
}

// The row formatter for any int a caller passes (negative, INT_MIN, ten
// digits), both pixel layouts.
TEST(PixelLog, RowsReadAsPrintfWouldPrintThem) {
    std::mt19937 rng(9);
    std::uniform_int_distribution<int> any(INT_MIN, INT_MAX), byte(0, 255);
    const int extremes[] = {0, -1, 9, 10, 255, 256, -255, 99999, INT_MAX, INT_MIN, INT_MIN + 1, 1000000000};
    for (int stride : {3, 4}) {
        for (int r : {0, 7, 28, 29}) {  // row 29: the widest row must fit the buffer
            std::vector<int> px(pixel_log::kSide * stride);
            for (size_t i = 0; i < px.size(); ++i)
                px[i] = r == 0   ? byte(rng)
                        : r == 7 ? extremes[i % (sizeof extremes / sizeof *extremes)]
                        : r == 28 ? any(rng)
                                  : INT_MIN;
            char text[pixel_log::kRowChars + 16];  // room to see an overflow
            const int n = pixel_log::formatRow(text, r, px.data(), stride);
            const std::string want = printfRow(r, px, stride);
            EXPECT_EQ(std::string(text), want) << "row " << r << " stride " << stride;
            EXPECT_EQ(n, static_cast<int>(want.size()));
            EXPECT_LT(n, pixel_log::kRowChars);
        }
    }
}

}  // namespace
