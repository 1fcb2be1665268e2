// Predictions allocate nothing on the heap.
#include <android/log.h>
#include <gtest/gtest.h>
#include <utils/Vector.h>

#include <cstdlib>
#include <memory>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "models/light_regression/LightRegression.h"
#include "tests/light_regression/TestModel.h"
#include "tests/support/AllocationCounter.h"

namespace {

using sctest::allocationsDuring;

class NoHeap : public ::testing::Test {
protected:
    // Log lines go to a logger that keeps nothing: what the platform's logger
    // does with a line is not the model's allocation.
    void SetUp() override {
        if (!sctest::countsMalloc()) GTEST_SKIP() << "malloc belongs to the sanitizer";
        __android_log_set_logger([](const struct __android_logger_data*, const char*) {});
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
    float nblk[5] = {900.0f, 700.0f, 800.0f, 300.0f, 950.0f};
    float blk[5] = {100.0f, 50.0f, 120.0f, 20.0f, 60.0f};
};

TEST_F(NoHeap, CountingHookSeesAllocations) {
    void* (*volatile allocate)(size_t) = std::malloc;  // not elided like a new/delete pair
    EXPECT_EQ(allocationsDuring([&] { std::free(allocate(16)); }), 1);
}

// A black image skips the pixel log; a bright one builds it in a stack buffer.
TEST_F(NoHeap, ModelPredict) {
    std::unique_ptr<LightRegression> model(new LightRegression());
    for (int level : {0, 200}) {
        lrtest::ImagePtr image = lrtest::makeImage(level);
        model->model_predict(*image, nblk, blk, 9000, 0);  // warm-up: first log line, lazy platform state
        EXPECT_EQ(allocationsDuring([&] { model->model_predict(*image, nblk, blk, 9000, 1); }), 0) << level;
        EXPECT_EQ(allocationsDuring([&] { model->model_predict(*image, nblk, blk, 20000, 2); }), 0) << level;
    }
}

TEST_F(NoHeap, FacadeCnnLuxDelta) {
    android::RootFusion* root = android::RootFusion::getInstance();
    android::ProjectFeature::getInstance()->displayId = 1;
    android::Vector<int> capture;
    capture.insertAt(0, 0, 43 * 112 * 3);
    float delta[5];
    mLogSwitch = 1;
    root->calcCNNLuxDelta(capture, 9000, 43, 112, delta);
    EXPECT_EQ(allocationsDuring([&] { root->calcCNNLuxDelta(capture, 9000, 43, 112, delta); }), 0);
    mLogSwitch = 0;
}

}  // namespace
