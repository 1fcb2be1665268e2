#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "fusion/ProjectFeature.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestEnv.h"

using android::ProjectFeature;

namespace {

constexpr const char* kTag = "_Z_ZSensorFusion";

// Each test builds a fresh ProjectFeature in a scratch working directory, so
// the relative panel identity file is under the test's control.
class ProjectFeatureSetup : public ::testing::Test {
protected:
    std::unique_ptr<ProjectFeature> build() { return std::unique_ptr<ProjectFeature>(new ProjectFeature()); }
    void writeIdentity(const std::string& bytes) { dir.write("sys/lcm/lcm_id", bytes); }

    sctest::TempDir dir;
    sctest::ScopedCwd cwd{dir.path()};
    sctest::LogCapture logs;
};

struct IdentityCase {
    const char* name;
    std::string bytes;  // empty: no file
    int expected;
};

class PanelIdentity : public ProjectFeatureSetup, public ::testing::WithParamInterface<IdentityCase> {};

TEST_P(PanelIdentity, FirstTenBytesComparedWhole) {
    if (!GetParam().bytes.empty()) writeIdentity(GetParam().bytes);
    auto feature = build();
    EXPECT_EQ(feature->displayId, GetParam().expected);
    EXPECT_TRUE(logs.contains("UL: getDisplayId " + std::to_string(GetParam().expected)));
    EXPECT_EQ(logs.contains("UL: getDisplayId open file failed!"), GetParam().bytes.empty());
}

INSTANTIATE_TEST_SUITE_P(
        Variants, PanelIdentity,
        ::testing::Values(IdentityCase{"panel1_newline", "0x000000a0\n", 1},
                          IdentityCase{"panel2", "0x00000030", 2}, IdentityCase{"panel3", "0x00000031", 3},
                          IdentityCase{"panel4", "0x00000010", 4}, IdentityCase{"panel5_trailing", "0x00000036garbage", 5},
                          IdentityCase{"short_text", "0xa0", -1}, IdentityCase{"upper_case", "0x000000A0", -1},
                          IdentityCase{"leading_blank", " 0x000000a0", -1}, IdentityCase{"missing", "", -1}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(ProjectFeatureSetup, UnknownIdentityIsRetriedUntilRecognisedThenKept) {
    auto feature = build();
    ASSERT_EQ(feature->displayId, -1);
    writeIdentity("0x00000031");
    logs.clear();
    EXPECT_EQ(feature->getDisplayId(), 3);
    EXPECT_EQ(logs.texts(ANDROID_LOG_ERROR, kTag), std::vector<std::string>{"UL: getDisplayId 3"});
    // Once recognised the file is never read again.
    writeIdentity("0x000000a0");
    logs.clear();
    EXPECT_EQ(feature->getDisplayId(), 3);
    EXPECT_EQ(logs.texts(ANDROID_LOG_ERROR, kTag), std::vector<std::string>{"UL: getDisplayId again 3"});
}

TEST_F(ProjectFeatureSetup, IdentityPathThatIsADirectoryLeavesUnknown) {
    std::filesystem::create_directories(dir.path() + "/sys/lcm/lcm_id");
    EXPECT_EQ(build()->displayId, -1);
}

TEST_F(ProjectFeatureSetup, DefaultsAndConstructionLogLines) {
    auto feature = build();
    EXPECT_EQ(feature->luxScale, 1.0f);
    EXPECT_EQ(feature->autoTest, 0);
    EXPECT_FALSE(feature->isOverSeas);
    EXPECT_EQ(feature->sampleCols, 51);
    EXPECT_EQ(feature->sampleRows, 81);
    EXPECT_EQ(feature->caliFactorCount, 5);
    EXPECT_EQ(feature->lastDelta, nullptr);
    for (double e : feature->eyeParam) EXPECT_EQ(e, 1.0);
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, kTag),
              (std::vector<std::string>{"UL: ProjectFeature->default. autoTest = 0 isOverSeas = 0",
                                        "ProjectFeature->default. calibraton = 500",
                                        "UL: getChannelCaliParam crgbw:[1.000000 1.000000 1.000000 1.000000 1.000000]"}));
    EXPECT_EQ(logs.texts(ANDROID_LOG_ERROR, kTag),
              (std::vector<std::string>{"UL: getDisplayId open file failed!", "UL: getDisplayId -1"}));
}

struct ThresholdCase {
    const char* text;
    float scale;
    int logged;
};

class LightThreshold : public ProjectFeatureSetup, public ::testing::WithParamInterface<ThresholdCase> {};

TEST_P(LightThreshold, ScalesLux) {
    sctest::ScopedProperty p("persist.sys.light_threshold", GetParam().text);
    auto feature = build();
    EXPECT_EQ(feature->luxScale, GetParam().scale);
    EXPECT_TRUE(logs.contains("ProjectFeature->default. calibraton = " + std::to_string(GetParam().logged)));
}

INSTANTIATE_TEST_SUITE_P(Values, LightThreshold,
                         ::testing::Values(ThresholdCase{"", 1.0f, 500}, ThresholdCase{"0", 500.0f, 0},
                                           ThresholdCase{"250", 2.0f, 250}, ThresholdCase{"-250", -2.0f, -250},
                                           ThresholdCase{"abc", 1.0f, 500}, ThresholdCase{"1000x", 0.5f, 1000},
                                           ThresholdCase{"99999999999999", 500.0f / 2147483647.0f, 2147483647}));

struct FlagCase {
    const char* skipRestrict;
    const char* model;
    int autoTest;
    bool overseas;
};

class ProjectFlags : public ProjectFeatureSetup, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(ProjectFlags, FromProperties) {
    sctest::ScopedProperty a("persist.sys.skip_restrict", GetParam().skipRestrict);
    sctest::ScopedProperty m("ro.product.model.qmx", GetParam().model);
    auto feature = build();
    EXPECT_EQ(feature->autoTest, GetParam().autoTest);
    EXPECT_EQ(feature->isOverSeas, GetParam().overseas);
}

INSTANTIATE_TEST_SUITE_P(Values, ProjectFlags,
                         ::testing::Values(FlagCase{"", "", 0, false}, FlagCase{"1", "KX7301", 1, false},
                                           FlagCase{"x", "KX7301 ", 0, true}, FlagCase{"-3", "KX7302", -3, true},
                                           FlagCase{"7", "kx7301", 7, true}));

struct FactorCase {
    const char* text;
    float expected;
};

class CaliFactor : public ProjectFeatureSetup, public ::testing::WithParamInterface<FactorCase> {};

TEST_P(CaliFactor, BelowSinglePrecision1em5MeansUncalibrated) {
    // Each channel gets its own value so a swapped slot shows up.
    const char* names[5] = {"c", "r", "g", "b", "w"};
    std::vector<std::unique_ptr<sctest::ScopedProperty>> props;
    for (int i = 0; i < 5; ++i) {
        std::string value = i == 1 ? GetParam().text : std::to_string(2 + i);
        props.emplace_back(new sctest::ScopedProperty(std::string("persist.sys.mscct.cali.factor_") + names[i], value));
    }
    auto feature = build();
    EXPECT_EQ(feature->caliFactor[0], 2.0f);
    EXPECT_EQ(feature->caliFactor[1], GetParam().expected);
    EXPECT_EQ(feature->caliFactor[2], 4.0f);
    EXPECT_EQ(feature->caliFactor[3], 5.0f);
    EXPECT_EQ(feature->caliFactor[4], 6.0f);
}

INSTANTIATE_TEST_SUITE_P(Values, CaliFactor,
                         ::testing::Values(FactorCase{"0.00001", 1e-5f}, FactorCase{"0.000009", 1.0f},
                                           FactorCase{"0", 1.0f}, FactorCase{"-2", 1.0f}, FactorCase{"abc", 1.0f},
                                           FactorCase{"nan", 1.0f}, FactorCase{"1.25", 1.25f},
                                           FactorCase{"", 1.0f}, FactorCase{"1e40", INFINITY}));

TEST_F(ProjectFeatureSetup, CaliFactorLogLineInChannelOrder) {
    sctest::ScopedProperty r("persist.sys.mscct.cali.factor_r", "1.5");
    sctest::ScopedProperty w("persist.sys.mscct.cali.factor_w", "0.25");
    build();
    EXPECT_TRUE(logs.contains("UL: getChannelCaliParam crgbw:[1.000000 1.500000 1.000000 1.000000 0.250000]"));
}

}  // namespace
