// Per-frame work must not touch the heap. This program counts malloc calls
// by interposing malloc; sanitizer builds own malloc, so it skips there.
#include <android/log.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "models/lux_cnn/GaussianFit.h"
#include "models/lux_cnn/LuxCNN.h"
#include "tests/lux_cnn/TestPatterns.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SC_COUNT_MALLOC 0
#else
#define SC_COUNT_MALLOC 1
namespace {
thread_local bool gCounting = false;
int gMallocs = 0;
}  // namespace
extern "C" void* __libc_malloc(size_t);
extern "C" void* malloc(size_t n) {
    if (gCounting) ++gMallocs;
    return __libc_malloc(n);
}
#endif

namespace {

template <typename F>
int mallocsDuring(F f) {
#if SC_COUNT_MALLOC
    gMallocs = 0;
    gCounting = true;
    f();
    gCounting = false;
    return gMallocs;
#else
    f();
    return 0;
#endif
}

TEST(LuxCNNAllocation, PerFrameCallsStayOffTheHeap) {
    if (!SC_COUNT_MALLOC) GTEST_SKIP() << "malloc belongs to the sanitizer";
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    auto px = luxtest::pattern("noise", 5);
    float ck = 0, lk = 0;
    EXPECT_EQ(mallocsDuring([&] { model->model_predict(px[0], 9000, 1); }), 0);
    EXPECT_EQ(mallocsDuring([&] { model->real_model_predict(model->input, 0, 2); }), 0);
    EXPECT_EQ(mallocsDuring([&] { model->getCalibration(9000, px[0], 1, ck, lk); }), 0);
    double x[16], y[16], z[16], p[5];
    for (int i = 0; i < 16; ++i) x[i] = i % 4, y[i] = i / 4, z[i] = (i == 5) ? 1.0 : 0.1;
    EXPECT_EQ(mallocsDuring([&] { gaussian2DFit(x, y, z, p); }), 0);
    // The counter itself works.
    void* (*volatile allocate)(size_t) = malloc;  // not elided like a new/delete pair
    EXPECT_EQ(mallocsDuring([&] { free(allocate(64)); }), 1);
}

}  // namespace
