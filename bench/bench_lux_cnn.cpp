// The LuxCNN runs per frame on a 101 x 101 patch; the calibration factors too.
// The Gaussian fit and initCalibration run once per boot.
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <memory>

#include "models/lux_cnn/GaussianFit.h"
#include "models/lux_cnn/LuxCNN.h"

namespace {

using Patch = int[101][101][4];

std::unique_ptr<Patch[]> noisyPatch() {
    std::unique_ptr<Patch[]> p(new Patch[1]);
    uint32_t s = 12345;
    for (auto& row : p[0])
        for (auto& px : row)
            for (int& v : px) {
                s ^= s << 13, s ^= s >> 17, s ^= s << 5;
                v = static_cast<int>(s % 256);
            }
    return p;
}

std::unique_ptr<LuxCNN> quietModel() {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    return std::unique_ptr<LuxCNN>(new LuxCNN());
}

// A spot on the 4 x 4 factory grid with a little measurement noise.
void noisySpot(double* x, double* y, double* z) {
    uint32_t s = 99;
    for (int i = 0; i < 16; ++i) {
        x[i] = 813.0 + 8.0 * (i % 4);
        y[i] = 69.0 + 8.0 * (i / 4);
        s ^= s << 13, s ^= s >> 17, s ^= s << 5;
        const double noise = (s % 1000) / 1000.0 * 0.04 - 0.02;
        z[i] = std::exp(-((x[i] - 828.6) * (x[i] - 828.6) / 72.0 + (y[i] - 80.3) * (y[i] - 80.3) / 50.0)) + noise;
    }
}

void BM_RealModelPredict(benchmark::State& state) {
    auto model = quietModel();
    auto patch = noisyPatch();
    model->model_predict(patch[0], 5000, 0);  // prepares model->input
    for (auto _ : state) benchmark::DoNotOptimize(model->real_model_predict(model->input, 1, 0));
}
BENCHMARK(BM_RealModelPredict)->Unit(benchmark::kMicrosecond);

void BM_ModelPredict(benchmark::State& state) {
    auto model = quietModel();
    auto patch = noisyPatch();
    for (auto _ : state) benchmark::DoNotOptimize(model->model_predict(patch[0], 9000, 1));
}
BENCHMARK(BM_ModelPredict)->Unit(benchmark::kMicrosecond);

void BM_GetCalibration(benchmark::State& state) {
    auto model = quietModel();
    auto patch = noisyPatch();
    float ck = 0, lk = 0;
    for (auto _ : state) {
        model->getCalibration(9000, patch[0], 2, ck, lk);
        benchmark::DoNotOptimize(ck);
        benchmark::DoNotOptimize(lk);
    }
}
BENCHMARK(BM_GetCalibration)->Unit(benchmark::kMicrosecond);

void BM_Gaussian2DFit(benchmark::State& state) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    double x[16], y[16], z[16], p[5];
    noisySpot(x, y, z);
    for (auto _ : state) {
        benchmark::DoNotOptimize(gaussian2DFit(x, y, z, p));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Gaussian2DFit)->Unit(benchmark::kMicrosecond);

void BM_InitCalibration(benchmark::State& state) {
    auto model = quietModel();
    double x[16], y[16], z[16];
    noisySpot(x, y, z);
    float color[2][4] = {{14000, 1300, 11000, 1250}, {560, 60, 430, 60}};
    float loc[3][16];
    for (int i = 0; i < 16; ++i) {
        loc[0][i] = static_cast<float>(x[i]);
        loc[1][i] = static_cast<float>(y[i]);
        loc[2][i] = static_cast<float>(3000.0 * z[i]);
    }
    for (auto _ : state) benchmark::DoNotOptimize(model->initCalibration(color, loc));
}
BENCHMARK(BM_InitCalibration)->Unit(benchmark::kMicrosecond);

}  // namespace
