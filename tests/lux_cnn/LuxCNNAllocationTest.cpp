// Per-frame work must not touch the heap.
#include <android/log.h>
#include <gtest/gtest.h>

#include <memory>

#include "models/lux_cnn/GaussianFit.h"
#include "models/lux_cnn/LuxCNN.h"
#include "tests/lux_cnn/TestPatterns.h"
#include "tests/support/AllocationCounter.h"

namespace {

using sctest::allocationsDuring;

TEST(LuxCNNAllocation, PerFrameCallsStayOffTheHeap) {
    if (!sctest::countsMalloc()) GTEST_SKIP() << "malloc belongs to the sanitizer";
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    auto px = luxtest::pattern("noise", 5);
    float ck = 0, lk = 0;
    EXPECT_EQ(allocationsDuring([&] { model->model_predict(px[0], 9000, 1); }), 0);
    EXPECT_EQ(allocationsDuring([&] { model->real_model_predict(model->input, 0, 2); }), 0);
    EXPECT_EQ(allocationsDuring([&] { model->getCalibration(9000, px[0], 1, ck, lk); }), 0);
    double x[16], y[16], z[16], p[5];
    for (int i = 0; i < 16; ++i) x[i] = i % 4, y[i] = i / 4, z[i] = (i == 5) ? 1.0 : 0.1;
    EXPECT_EQ(allocationsDuring([&] { gaussian2DFit(x, y, z, p); }), 0);
}

}  // namespace
