// Predictions allocate nothing on the heap. This program replaces the C
// allocation functions and the global operator new with counting versions.
#include <android/log.h>
#include <gtest/gtest.h>
#include <utils/Vector.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "models/light_regression/LightRegression.h"
#include "tests/light_regression/TestModel.h"

// Sanitizer builds bring their own allocator; counting is left to plain builds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SC_COUNT_ALLOCATIONS 0
#else
#define SC_COUNT_ALLOCATIONS 1
#endif

#if SC_COUNT_ALLOCATIONS
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace {
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};
void count() {
    if (gCounting.load(std::memory_order_relaxed)) gAllocations.fetch_add(1, std::memory_order_relaxed);
}
}  // namespace

extern "C" void* malloc(size_t n) {
    count();
    return __libc_malloc(n);
}
extern "C" void* calloc(size_t n, size_t size) {
    count();
    return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, size_t n) {
    count();
    return __libc_realloc(p, n);
}
void* operator new(size_t n) {
    count();
    if (void* p = __libc_malloc(n ? n : 1)) return p;
    std::abort();
}
void* operator new[](size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
#else
namespace {
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};
}  // namespace
#endif

namespace {

// Counts the allocations made while `f` runs.
template <typename F>
long allocationsDuring(F&& f) {
    gAllocations = 0;
    gCounting = true;
    f();
    gCounting = false;
    return gAllocations;
}

class NoHeap : public ::testing::Test {
protected:
    // Log lines go to a logger that keeps nothing: what the platform's logger
    // does with a line is not the model's allocation.
    void SetUp() override {
        if (!SC_COUNT_ALLOCATIONS) GTEST_SKIP() << "allocation counting is off in sanitizer builds";
        __android_log_set_logger([](const struct __android_logger_data*, const char*) {});
        __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    }
    float nblk[5] = {900.0f, 700.0f, 800.0f, 300.0f, 950.0f};
    float blk[5] = {100.0f, 50.0f, 120.0f, 20.0f, 60.0f};
};

TEST_F(NoHeap, CountingHookSeesAllocations) {
    EXPECT_GE(allocationsDuring([] {
                  int* volatile p = new int(3);
                  delete p;
              }),
              1);
    EXPECT_GE(allocationsDuring([] {
                  void* volatile p = std::malloc(16);
                  std::free(p);
              }),
              1);
}

TEST_F(NoHeap, ModelPredictOnBlackImage) {
    std::unique_ptr<LightRegression> model(new LightRegression());
    lrtest::ImagePtr image = lrtest::makeImage(0);
    model->model_predict(*image, nblk, blk, 9000, 0);  // warm-up: first log line, lazy platform state
    EXPECT_EQ(allocationsDuring([&] { model->model_predict(*image, nblk, blk, 9000, 1); }), 0);
    EXPECT_EQ(allocationsDuring([&] { model->model_predict(*image, nblk, blk, 20000, 2); }), 0);
}

// The pixel log is built in a stack buffer, so even a bright image needs no heap.
TEST_F(NoHeap, ModelPredictWithPixelLog) {
    std::unique_ptr<LightRegression> model(new LightRegression());
    lrtest::ImagePtr image = lrtest::makeImage(0);
    for (auto& row : *image)
        for (auto& px : row) px[0] = px[1] = px[2] = 200;
    model->model_predict(*image, nblk, blk, 9000, 0);
    EXPECT_EQ(allocationsDuring([&] { model->model_predict(*image, nblk, blk, 12000, 0); }), 0);
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
