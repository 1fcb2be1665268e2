// Before any calibration: a process of its own, since calibration state is
// process-wide and the other suites change it.
#include <gtest/gtest.h>

#include <android/log.h>

#include <memory>

#include "models/lux_cnn/LuxCNN.h"
#include "tests/lux_cnn/TestPatterns.h"

namespace {

TEST(UncalibratedLuxCNN, GivesNeutralFactors) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    for (int mode : {0, 1, 2, 9})
        for (int lcm : {0, 3155, 3156, 8000, 14063}) {
            SCOPED_TRACE(testing::Message() << "mode " << mode << " lcm " << lcm);
            auto px = luxtest::pattern("noise", 70 + lcm);
            float ck = 0.0f, lk = 0.0f;
            model->getCalibration(lcm, px[0], mode, ck, lk);
            EXPECT_EQ(lk, 1.0f);
            EXPECT_NEAR(ck, 1.0f, 1e-6);
            auto black = luxtest::pattern("black", 0);
            model->getCalibration(lcm, black[0], mode, ck, lk);
            EXPECT_EQ(lk, 1.0f);
            EXPECT_EQ(ck, 1.0f);
        }
}

}  // namespace
