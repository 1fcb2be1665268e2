// The project lux formula runs once per sensor reading.
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <memory>

#include "fusion/ProjectFeature.h"
#include "fusion/SharedState.h"

namespace {

std::unique_ptr<android::ProjectFeature> quietFeature() {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    std::unique_ptr<android::ProjectFeature> f(new android::ProjectFeature());
    return f;
}

void BM_CalcLuxForProject_Curve(benchmark::State& state) {
    auto f = quietFeature();
    f->displayId = 4;
    double crgbw[5] = {1000, 400, 600, 300, 900};
    float lux = 100.0f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(f->calcLuxForProject(crgbw, lux));
        lux = lux < 6000.0f ? lux + 13.0f : 100.0f;
    }
}
BENCHMARK(BM_CalcLuxForProject_Curve);

void BM_CalcLuxForProject_ChannelFormula(benchmark::State& state) {
    auto f = quietFeature();
    f->displayId = 1;
    brightness = 9000;
    double crgbw[5] = {26000, 6000, 16400, 4100, 24500};
    for (auto _ : state) {
        benchmark::DoNotOptimize(f->calcLuxForProject(crgbw, 1500.0f));
        crgbw[2] += 1.0;
    }
}
BENCHMARK(BM_CalcLuxForProject_ChannelFormula);

}  // namespace
