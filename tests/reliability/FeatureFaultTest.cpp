// The project features with hostile values in every property at once and a
// hostile panel identity: construction completes, every value falls back to
// something usable, and the lux formula keeps answering.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"
#include "platform/Properties.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ProjectProperties.h"
#include "tests/support/TestEnv.h"

using android::ProjectFeature;

namespace {

struct HostileValue {
    const char* name;
    std::string value;
    bool infiniteFactors;  // beyond the float range: stored as infinity
};

class HostileProperties : public ::testing::TestWithParam<HostileValue> {
protected:
    sctest::TempDir dir;
    sctest::ScopedCwd cwd{dir.path()};
    sctest::LogCapture logs;
};

TEST_P(HostileProperties, EveryValueFallsBackToAUsableOne) {
    std::vector<std::unique_ptr<sctest::ScopedProperty>> props;
    for (const char* key : sctest::kProjectProperties) props.emplace_back(new sctest::ScopedProperty(key, GetParam().value));
    dir.write("sys/lcm/lcm_id", "0x000000a0");
    std::unique_ptr<ProjectFeature> feature(new ProjectFeature());

    EXPECT_EQ(feature->displayId, 1);
    EXPECT_TRUE(std::isfinite(feature->luxScale));
    EXPECT_NE(feature->luxScale, 0.0f);
    for (float f : feature->caliFactor) {
        EXPECT_GE(f, 1e-5f) << GetParam().name;  // never NaN, never zero
        EXPECT_EQ(std::isinf(f), GetParam().infiniteFactors) << GetParam().name;
    }
    if (GetParam().infiniteFactors) return;  // the channel formula then gives inf - inf

    double crgbw[5] = {100, 80, 90, 70, 120};
    const int saved = brightness;
    for (int br : {0, 5513, 5514, 14063}) {
        brightness = br;
        const float lux = feature->calcLuxForProject(crgbw, 300.0f);
        EXPECT_FALSE(std::isnan(lux)) << GetParam().name << " br " << br;
    }
    brightness = saved;
}

INSTANTIATE_TEST_SUITE_P(
        Values, HostileProperties,
        ::testing::Values(HostileValue{"empty", "", false}, HostileValue{"non_numeric", "abc", false},
                          HostileValue{"blank", "   ", false},
                          HostileValue{"huge", "99999999999999999999999999", false},
                          HostileValue{"huge_negative", "-99999999999999999999999999", false},
                          HostileValue{"huge_exponent", "1e999", true}, HostileValue{"not_a_number", "nan", false},
                          HostileValue{"at_length_limit", std::string(PROPERTY_VALUE_MAX - 1, '7'), true},
                          HostileValue{"past_length_limit", "2" + std::string(4 * PROPERTY_VALUE_MAX, '0'), true},
                          HostileValue{"control_bytes", std::string("1\x01\x7f\xff", 4), false}),
        [](const auto& info) { return std::string(info.param.name); });

// Hostile identity files: whatever they hold, the identity is one of the
// known panels or unknown (-1).
TEST(HostileIdentity, AnyContentGivesAKnownPanelOrUnknown) {
    const std::vector<std::pair<std::string, int>> cases = {
            {std::string(1 << 20, 'x'), -1},             // much larger than the ten bytes read
            {std::string("0x000000a0\0junk", 15), 1},    // valid prefix, binary tail
            {std::string(10, '\0'), -1},                  // the read buffer's own initial bytes
            {std::string("0x00000030", 9), -1},           // one byte short
    };
    for (const auto& c : cases) {
        sctest::TempDir dir;
        sctest::ScopedCwd cwd(dir.path());
        dir.write("sys/lcm/lcm_id", c.first);
        sctest::LogCapture logs;
        std::unique_ptr<ProjectFeature> feature(new ProjectFeature());
        EXPECT_EQ(feature->displayId, c.second) << c.first.substr(0, 12);
    }
}

}  // namespace
