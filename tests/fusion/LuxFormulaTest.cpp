// Golden values come from tools/reference/lux_golden.py, which models every
// rounding step with numpy scalars; they are compared bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"
#include "tests/support/LogCapture.h"

using android::ProjectFeature;

namespace {

struct CurveCase {
    float x, g1, g2;
};

const CurveCase kCurveCases[] = {
        {0x0.0p+0f, 0x0.0p+0f, 0x0.0p+0f},
        {0x1.f38p+9f, 0x1.f38p+9f, 0x1.f38p+9f},                      // 999
        {0x1.f4p+9f, 0x1.f4p+9f, 0x1.f4p+9f},                         // 1000: lower band
        {0x1.f40004p+9f, 0x1.f40004p+9f, 0x1.f40004p+9f},             // just above 1000
        {0x1.77p+10f, 0x1.b91334p+10f, 0x1.abc332p+10f},              // 1500
        {0x1.f3f99ap+10f, 0x1.521304p+11f, 0x1.4053b2p+11f},          // 1999.9
        {0x1.f4p+10f, 0x1.521998p+11f, 0x1.40599ap+11f},              // 2000: lower band
        {0x1.f42p+10f, 0x1.522fc2p+11f, 0x1.406ef4p+11f},             // 2000.5
        {0x1.77p+11f, 0x1.00a19ap+12f, 0x1.ea7b34p+11f},              // 3000
        {0x1.f4p+11f, 0x1.5a4p+12f, 0x1.4dap+12f},                    // 4000: lower band
        {0x1.f40008p+11f, 0x1.5a4006p+12f, 0x1.4da004p+12f},          // just above 4000
        {0x1.81cd6cp+13f, 0x1.0b2b0ep+14f, 0x1.016d3ap+14f},          // 12345.678
        {-0x1.9p+5f, -0x1.9p+5f, -0x1.9p+5f},                         // negative input
};

// A ProjectFeature with a known state; construction reads no panel file that
// matches, so displayId starts at -1 and each test sets what it needs.
class LuxFormulaTest : public ::testing::Test {
protected:
    void SetUp() override {
        feature.reset(new ProjectFeature());
        feature->luxScale = 1.0f;
        feature->autoTest = 0;
        brightness = 0;
        mLogSwitch = 0;
    }
    void TearDown() override {
        brightness = 0;
        mLogSwitch = 0;
    }
    sctest::LogCapture logs;  // keeps construction lines off stderr
    std::unique_ptr<ProjectFeature> feature;
};

TEST_F(LuxFormulaTest, GainCurvesMatchReferenceAtBandEdges) {
    for (const CurveCase& c : kCurveCases) {
        SCOPED_TRACE(c.x);
        EXPECT_EQ(feature->calByCoefficient7301(c.x), c.g1);
        for (int panel : {2, 3, 4, 5}) {
            feature->displayId = panel;
            EXPECT_EQ(feature->calcLuxForProject(nullptr, c.x), panel < 4 ? c.g1 : c.g2) << panel;
        }
    }
    // The lux scale applies before the curve.
    feature->luxScale = 2.0f;
    EXPECT_EQ(feature->calcLuxForProject(nullptr, 750.0f), 0x1.abc332p+10f);  // G2(1500)
}

struct ChannelCase {
    double r, g, b;
    float fr, fg, fb;
    float clamped;    // autoTest 0
    float unclamped;  // autoTest 1
};

const ChannelCase kChannelCases[] = {
        {20000.0, 30000.0, 10000.0, 1.0f, 1.0f, 1.0f, 0x1.5ffa98p+11f, 0x1.5ffa98p+11f},
        {123.5, 456.25, 789.0, 1.1f, 0.9f, 1.25f, 0.0f, -0x1.31efbap+5f},
        {10.0, 10.0, 500.0, 1.0f, 1.0f, 1.0f, 0.0f, -0x1.2d0d84p+5f},
        {50000.0, 60000.0, 1000.0, 0.8f, 1.2f, 1.0f, 0x1.227276p+13f, 0x1.227276p+13f},
};

TEST_F(LuxFormulaTest, ChannelFormulaFromBrightness5514OnPanelsOutsideTheGroups) {
    for (int panel : {1, -1, 0, 6}) {
        for (const ChannelCase& c : kChannelCases) {
            SCOPED_TRACE(testing::Message() << "panel " << panel << " r " << c.r);
            feature->displayId = panel;
            feature->caliFactor[1] = c.fr;
            feature->caliFactor[2] = c.fg;
            feature->caliFactor[3] = c.fb;
            // Clear and wide-band channels and the lux argument do not enter.
            double crgbw[5] = {1e9, c.r, c.g, c.b, -1e9};
            brightness = 5514;
            feature->autoTest = 0;
            EXPECT_EQ(feature->calcLuxForProject(crgbw, 123.0f), c.clamped);
            feature->autoTest = 1;
            EXPECT_EQ(feature->calcLuxForProject(crgbw, 9999.0f), c.unclamped);
            // One step below the threshold the scaled lux goes through G1.
            brightness = 5513;
            EXPECT_EQ(feature->calcLuxForProject(crgbw, 1500.0f), 0x1.b91334p+10f);
        }
    }
}

TEST_F(LuxFormulaTest, VerboseLinesOnlyWithLogSwitch) {
    feature->displayId = 1;
    double crgbw[5] = {1, 2, 3, 4, 5};
    logs.clear();
    for (int logSwitch : {0, 1}) {
        mLogSwitch = logSwitch;
        for (int br : {100, 6000}) {
            brightness = br;
            feature->calcLuxForProject(crgbw, 10.0f);
        }
    }
    EXPECT_EQ(logs.texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion"),
              (std::vector<std::string>{
                      "UL: calcLuxForProject displayId 1, br 100 < 5514, use originLux 10.000000",
                      "UL: calcLuxForProject displayId 1, br 6000, crgbw[1.000000, 2.000000, 3.000000, "
                      "4.000000, 5.000000], cal_crgbw[1.000000, 2.000000, 3.000000, 4.000000, 5.000000], "
                      "originLux 10.000000, finalLux 0.067200 "}));
    EXPECT_EQ(logs.lines().size(), 2u);
}

// The reference scope belongs to width 480 at home and 420 overseas.
TEST_F(LuxFormulaTest, PixelScopeFollowsTheReferenceWidth) {
    const std::vector<int> reference{686, 43, 729, 112}, other{800, 50, 850, 130};
    for (bool overseas : {false, true}) {
        feature->isOverSeas = overseas;
        for (int width : {480, 420}) {
            int scope[4] = {};
            feature->getPixcelScope(width, scope);
            EXPECT_EQ(std::vector<int>(scope, scope + 4), (width == 480) != overseas ? reference : other)
                    << overseas << " " << width;
        }
    }
}

}  // namespace
