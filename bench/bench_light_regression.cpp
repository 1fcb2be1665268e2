// The regression model runs once per captured frame: the network alone, the
// whole driver (calibration, scaling, pixel log) and the facade entry on a
// capture of the reference panel's sensor area (43 x 112 pixels).
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <utils/Vector.h>

#include <memory>
#include <random>
#include <vector>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "models/light_regression/LightRegression.h"
// The kernels are internal to the library; this program builds its own copy so
// that the generic convolution can serve as the baseline of the fixed one.
#include "models/light_regression/Kernels.cpp"

namespace {

using namespace light_regression;

struct Inputs {
    float image[kImageRows][kImageCols][kColours];
    int pixels[kImageRows][kImageCols][kColours];
    float features[kChannels] = {0.8f, 0.65f, 0.68f, 0.28f, 0.89f};
    float nblk[kChannels] = {900.0f, 700.0f, 800.0f, 300.0f, 950.0f};
    float blk[kChannels] = {100.0f, 50.0f, 120.0f, 20.0f, 60.0f};
    Inputs() {
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> d(0, 255);
        for (int r = 0; r < kImageRows; ++r)
            for (int c = 0; c < kImageCols; ++c)
                for (int k = 0; k < kColours; ++k) {
                    pixels[r][c][k] = d(rng);
                    image[r][c][k] = pixels[r][c][k] / 255.0f;
                }
    }
};

void quiet() { __android_log_set_minimum_priority(ANDROID_LOG_SILENT); }

void BM_RealModelPredict(benchmark::State& state) {
    quiet();
    std::unique_ptr<LightRegression> model(new LightRegression());
    std::unique_ptr<Inputs> in(new Inputs());
    for (auto _ : state) benchmark::DoNotOptimize(model->real_model_predict(in->image, in->features, 3, 0));
}
BENCHMARK(BM_RealModelPredict);

void BM_ModelPredict(benchmark::State& state) {
    quiet();
    std::unique_ptr<LightRegression> model(new LightRegression());
    std::unique_ptr<Inputs> in(new Inputs());
    for (auto _ : state) benchmark::DoNotOptimize(model->model_predict(in->pixels, in->nblk, in->blk, 9000, 0));
}
BENCHMARK(BM_ModelPredict);

void BM_RootFusionCalcCNNLuxDelta_43x112(benchmark::State& state) {
    quiet();
    android::RootFusion* root = android::RootFusion::getInstance();
    android::ProjectFeature::getInstance()->displayId = 1;
    const int width = 43, height = 112;
    android::Vector<int> capture;
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> d(0, 255);
    for (int i = 0; i < width * height * 3; ++i) capture.push_back(d(rng));
    const float b[5] = {100, 50, 120, 20, 60}, n[5] = {900, 700, 800, 300, 950};
    for (int k = 0; k < 5; ++k) {
        channelsBlk[k] = b[k];
        channelsNblk[k] = n[k];
    }
    float delta[5];
    for (auto _ : state) {
        root->calcCNNLuxDelta(capture, 9000, width, height, delta);
        benchmark::DoNotOptimize(delta);
    }
}
BENCHMARK(BM_RootFusionCalcCNNLuxDelta_43x112);

// Layer 3 (the largest): fixed 32-channel convolution against the generic
// loop in the same run.
template <bool Fixed>
void BM_Conv3x3Layer3(benchmark::State& state) {
    std::vector<float> in(kL2Rows * kL2Cols * kFilters, 0.5f), kernel(9 * kFilters * kFilters, 0.01f),
            bias(kFilters, 0.1f), out(kL3Rows * kL3Cols * kFilters);
    for (auto _ : state) {
        if (Fixed)
            conv3x3Relu(in.data(), kL2Cols, kFilters, 1, kernel.data(), bias.data(), kL3Rows, kL3Cols, kFilters,
                        out.data());
        else
            conv3x3ReluGeneric(in.data(), kL2Cols, kFilters, 1, kernel.data(), bias.data(), kL3Rows, kL3Cols,
                               kFilters, out.data());
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK_TEMPLATE(BM_Conv3x3Layer3, false)->Name("BM_Conv3x3Layer3_Generic");
BENCHMARK_TEMPLATE(BM_Conv3x3Layer3, true)->Name("BM_Conv3x3Layer3_Fixed32");

}  // namespace
