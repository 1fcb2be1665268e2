// The unit's factory calibration flows from the factory-test service into the
// screen-light model. The model's unit table is process-wide, so every test
// puts the start-up table back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "platform/host/binder/FakeSensorFactory.h"
#include "platform/host/binder/HostBinder.h"
#include "fusion/RootFusion.h"
#include "models/light_regression/LightRegression.h"
#include "tests/support/LogCapture.h"

using android::ProjectFeature;
using hostbinder::FakeSensorFactory;
using hostbinder::ScopedFakeSensorFactory;
using ::testing::HasSubstr;

namespace {

constexpr const char* kTag = "_Z_ZSensorFusion";

// The reference unit with its "blk" values raised by `gain` per colour, so the
// corrections of the model become that gain.
FakeSensorFactory::Calibration scaledReference(const float gain[3]) {
    const auto& ref = light_regression::referenceTable(0);
    FakeSensorFactory::Calibration c{};
    for (int k = 0; k < 3; ++k)
        for (int ch = 0; ch < 5; ++ch) {
            c[10 * k + ch] = ref[k][0][ch] * gain[k];
            c[10 * k + 5 + ch] = ref[k][1][ch] * gain[k];
        }
    return c;
}

class SixthLightCali : public ::testing::Test {
protected:
    void SetUp() override {
        feature.reset(new ProjectFeature());
        feature->displayId = 1;
        logs.clear();
    }
    void TearDown() override {
        float start[3][2][5];
        std::memcpy(start, light_regression::referenceTable(0), sizeof(start));
        feature->mModel.initCalibration(start);
    }
    // color_k_nblk of the model for a uniform image of one colour, mode 0.
    std::vector<float> nblkCorrection(int r, int g, int b) {
        auto image = std::make_unique<LightRegression::Image[]>(light_regression::kImageRows);
        for (int i = 0; i < light_regression::kImageRows; ++i)
            for (int j = 0; j < light_regression::kImageCols; ++j) {
                image[i][j][0] = r;
                image[i][j][1] = g;
                image[i][j][2] = b;
            }
        float diff[5], nblk[5], third[5];
        feature->mModel.getCalibration(image.get(), 0, diff, nblk, third);
        return std::vector<float>(nblk, nblk + 5);
    }
    std::vector<std::string> calibrationLines() {
        std::vector<std::string> out;
        for (const std::string& t : logs.texts(ANDROID_LOG_INFO, kTag))
            if (t.rfind("UL: initDriverCali", 0) == 0) out.push_back(t);
        return out;
    }

    sctest::LogCapture logs;
    std::unique_ptr<ProjectFeature> feature;
};

TEST_F(SixthLightCali, InstallsTheServiceCalibrationAndLogsItByColour) {
    const float gain[3] = {1.25f, 1.0f, 0.5f};
    ScopedFakeSensorFactory fake(scaledReference(gain));
    feature->updateProjectSixthLightCali();

    EXPECT_EQ(fake->callCount(), 1);
    EXPECT_EQ(fake->lastId(), 590);
    std::array<int32_t, 32> expectedArgs{1, 12208, 255};
    EXPECT_EQ(fake->lastArgs(), expectedArgs);

    const auto& ref = light_regression::referenceTable(0);
    std::vector<std::string> want{"UL: initDriverCali AidlSensorFactoryHalWrapper 0x24e ret = 0"};
    for (int k = 0; k < 3; ++k) {
        char line[256];
        const float* n = ref[k][0];
        const float* b = ref[k][1];
        const float g = gain[k];
        std::snprintf(line, sizeof line, "UL: initDriverCali  color:%d nblk crgbw:[ %.6f %.6f %.6f %.6f %.6f ]", k,
                      n[0] * g, n[1] * g, n[2] * g, n[3] * g, n[4] * g);
        want.push_back(line);
        std::snprintf(line, sizeof line, "UL: initDriverCali  color:%d blk crgbw:[%.6f %.6f %.6f %.6f %.6f]", k,
                      b[0] * g, b[1] * g, b[2] * g, b[3] * g, b[4] * g);
        want.push_back(line);
    }
    EXPECT_EQ(calibrationLines(), want);

    // A red screen now gets the red gain as its output correction, green none.
    for (float v : nblkCorrection(255, 0, 0)) EXPECT_NEAR(v, 1.25f, 1e-6f);
    for (float v : nblkCorrection(0, 255, 0)) EXPECT_NEAR(v, 1.0f, 1e-6f);
}

TEST_F(SixthLightCali, FacadeEntryRunsTheUpdateOnTheSingleton) {
    ProjectFeature* single = ProjectFeature::getInstance();
    const int savedPanel = single->displayId;
    single->displayId = 1;
    ScopedFakeSensorFactory fake;
    android::RootFusion::getInstance()->updateSixthLightCali();
    EXPECT_EQ(fake->callCount(), 1);
    single->displayId = savedPanel;
}

// Other panels contact no service; without one panel 1 keeps its calibration.
TEST_F(SixthLightCali, SkippedUpdatesKeepThePreviousCalibration) {
    const std::vector<float> before = nblkCorrection(255, 0, 0);
    logs.clear();
    {
        ScopedFakeSensorFactory fake;
        for (int panel : {-1, 2, 3, 4, 5}) {
            feature->displayId = panel;
            feature->updateProjectSixthLightCali();
        }
        EXPECT_EQ(fake->callCount(), 0);
        EXPECT_TRUE(logs.lines().empty());
    }
    feature->displayId = 1;
    feature->updateProjectSixthLightCali();
    EXPECT_EQ(logs.texts(ANDROID_LOG_INFO, kTag),
              std::vector<std::string>{"UL: AidlSensorFactoryHalWrapper getService failed"});
    EXPECT_EQ(nblkCorrection(255, 0, 0), before);
}

// A failed test is logged but not checked: whatever the record holds is
// installed. A negative verdict still carries the service's numbers; no answer
// leaves the fresh client's zeros, which the ratio window turns into no
// correction.
TEST_F(SixthLightCali, FailedTestsStillInstallTheRecord) {
    const float gain[3] = {1.25f, 1.25f, 1.25f};
    struct Case {
        const char* name;
        std::function<void(FakeSensorFactory&)> setUp;
        int ret;
        float correction;
    } cases[] = {
            {"negative verdict", [](FakeSensorFactory& f) { f.setVerdict(-3); }, -1, 1.25f},
            {"service error", [](FakeSensorFactory& f) { f.failWithServiceSpecific(7); }, 0, 1.0f},
            {"dies in the call", [](FakeSensorFactory& f) { f.dieOnNextCall(); }, 0, 1.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        // A calibrated unit first, so that a change is visible.
        {
            ScopedFakeSensorFactory good(scaledReference(gain));
            feature->updateProjectSixthLightCali();
        }
        ASSERT_NEAR(nblkCorrection(255, 0, 0)[0], 1.25f, 1e-6f);
        ScopedFakeSensorFactory fake(scaledReference(gain));
        c.setUp(fake.service());
        logs.clear();
        feature->updateProjectSixthLightCali();
        auto lines = calibrationLines();
        ASSERT_EQ(lines.size(), 7u);
        EXPECT_EQ(lines[0], "UL: initDriverCali AidlSensorFactoryHalWrapper 0x24e ret = " + std::to_string(c.ret));
        if (c.correction == 1.0f) {
            EXPECT_THAT(lines[1], HasSubstr("[ 0.000000 0.000000 0.000000 0.000000 0.000000 ]"));
        }
        for (float v : nblkCorrection(255, 0, 0)) EXPECT_NEAR(v, c.correction, 1e-6f);
    }
}

}  // namespace
