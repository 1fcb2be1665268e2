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

// Construction reads the test-mode, product and light-threshold properties and
// says what it made of them.
struct PropertyCase {
    const char* skipRestrict;
    const char* model;
    const char* threshold;
    int autoTest;
    bool overseas;
    float scale;
    int logged;
};

class ConstructionProperties : public ProjectFeatureSetup, public ::testing::WithParamInterface<PropertyCase> {};

TEST_P(ConstructionProperties, SetFlagsAndLuxScale) {
    const PropertyCase& c = GetParam();
    sctest::ScopedProperty a("persist.sys.skip_restrict", c.skipRestrict);
    sctest::ScopedProperty m("ro.product.model.qmx", c.model);
    sctest::ScopedProperty t("persist.sys.light_threshold", c.threshold);
    auto feature = build();
    EXPECT_EQ(feature->autoTest, c.autoTest);
    EXPECT_EQ(feature->isOverSeas, c.overseas);
    EXPECT_EQ(feature->luxScale, c.scale);
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, kTag),
              (std::vector<std::string>{"UL: ProjectFeature->default. autoTest = " + std::to_string(c.autoTest) +
                                                " isOverSeas = " + std::to_string(c.overseas),
                                        "ProjectFeature->default. calibraton = " + std::to_string(c.logged),
                                        "UL: getChannelCaliParam crgbw:[1.000000 1.000000 1.000000 1.000000 1.000000]"}));
}

INSTANTIATE_TEST_SUITE_P(
        Values, ConstructionProperties,
        ::testing::Values(PropertyCase{"", "", "", 0, false, 1.0f, 500},
                          PropertyCase{"1", "KX7301", "0", 1, false, 500.0f, 0},
                          PropertyCase{"x", "KX7301 ", "250", 0, true, 2.0f, 250},
                          PropertyCase{"-3", "KX7302", "-250", -3, true, -2.0f, -250},
                          PropertyCase{"7", "kx7301", "abc", 7, true, 1.0f, 500},
                          PropertyCase{"", "", "1000x", 0, false, 0.5f, 1000},
                          PropertyCase{"", "", "99999999999999", 0, false, 500.0f / 2147483647.0f, 2147483647}));

struct FactorCase {
    const char* text;
    float expected;
};

class CaliFactor : public ProjectFeatureSetup, public ::testing::WithParamInterface<FactorCase> {};

TEST_P(CaliFactor, BelowSinglePrecision1em5MeansUncalibrated) {
    // Each channel gets its own value so a swapped slot shows up, in the
    // array and in the log line.
    const char* names[5] = {"c", "r", "g", "b", "w"};
    std::vector<std::unique_ptr<sctest::ScopedProperty>> props;
    for (int i = 0; i < 5; ++i) {
        std::string value = i == 1 ? GetParam().text : std::to_string(2 + i);
        props.emplace_back(new sctest::ScopedProperty(std::string("persist.sys.mscct.cali.factor_") + names[i], value));
    }
    auto feature = build();
    const float want[5] = {2.0f, GetParam().expected, 4.0f, 5.0f, 6.0f};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(feature->caliFactor[i], want[i]) << i;
    char line[200];
    std::snprintf(line, sizeof line, "UL: getChannelCaliParam crgbw:[%.6f %.6f %.6f %.6f %.6f]", want[0], want[1],
                  want[2], want[3], want[4]);
    EXPECT_TRUE(logs.contains(line)) << line;
}

INSTANTIATE_TEST_SUITE_P(Values, CaliFactor,
                         ::testing::Values(FactorCase{"0.00001", 1e-5f}, FactorCase{"0.000009", 1.0f},
                                           FactorCase{"0", 1.0f}, FactorCase{"-2", 1.0f}, FactorCase{"abc", 1.0f},
                                           FactorCase{"nan", 1.0f}, FactorCase{"1.25", 1.25f},
                                           FactorCase{"", 1.0f}, FactorCase{"1e40", INFINITY}));

}  // namespace
