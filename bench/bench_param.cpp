// The parameter store: start-up parse of the sample tree, and the per-sample
// path (mode lookup, one evaluation, the weighted form over a 43 x 112
// capture with the sample's 10 x 10 grid). The term-by-term evaluation runs
// in the same program as the baseline of the per-cell power tables.
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>

#include "fusion/RootFusion.h"
#include "fusion/SharedState.h"
#include "param/Rectify.h"
#include "param/UnderDisplayLightParam.h"

namespace {

using android::UnderDisplayLightParam;
namespace rectify = android::sensorconfig::rectify;

std::string sampleRoot() {
    const char* src = std::getenv("SC_SOURCE_DIR");
    std::string dir = src ? src : std::string(__FILE__).substr(0, std::string(__FILE__).rfind("/bench/"));
    return dir + "/examples/SensorConfig";
}

void quiet() {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    setenv("SENSOR_CONFIG_ROOT", sampleRoot().c_str(), 1);
    android::RootFusion::getInstance();
}

std::unique_ptr<UnderDisplayLightParam> loadedStore() {
    quiet();
    std::unique_ptr<UnderDisplayLightParam> store(new UnderDisplayLightParam());
    store->underDisplayParamParaseAllMode();
    return store;
}

void BM_FullParse_SampleTree(benchmark::State& state) {
    quiet();
    for (auto _ : state) {
        std::unique_ptr<UnderDisplayLightParam> store(new UnderDisplayLightParam());
        benchmark::DoNotOptimize(store->underDisplayParamParaseAllMode());
        if (store->mParamModes.size() != 24) state.SkipWithError("sample tree did not load");
    }
}
BENCHMARK(BM_FullParse_SampleTree)->Unit(benchmark::kMillisecond);

void BM_Lookup(benchmark::State& state) {
    auto store = loadedStore();
    int i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(store->getCurrentUnderDisplayLightParamMode(1, 4, 0, 0, i & 1));
        ++i;
    }
}
BENCHMARK(BM_Lookup);

struct Input {
    UnderDisplayLightParam::PixelsInfo px;
    int br;
};

std::vector<Input> inputs() {
    std::mt19937 rng(3);
    std::vector<Input> v(256);
    for (Input& in : v) in = {{int(rng() % 256), int(rng() % 256), int(rng() % 256)}, int(rng() % 14064)};
    return v;
}

void BM_Evaluate_ByPowers(benchmark::State& state) {
    auto store = loadedStore();
    const auto* info = store->getCurrentUnderDisplayLightParamMode(0, 0, 0, 0, 0);
    auto in = inputs();
    size_t i = 0;
    for (auto _ : state) {
        UnderDisplayLightParam::ChannelsDelta d{};
        int golden = 0;
        const Input& x = in[i++ & 255];
        store->calcRecitifyParamDeltaByBrRGB(info, x.br, &x.px, &d, golden);
        benchmark::DoNotOptimize(d);
    }
}
BENCHMARK(BM_Evaluate_ByPowers);

void BM_Evaluate_ByTerm(benchmark::State& state) {
    auto store = loadedStore();
    const auto* info = store->getCurrentUnderDisplayLightParamMode(0, 0, 0, 0, 0);
    auto in = inputs();
    size_t i = 0;
    for (auto _ : state) {
        const Input& x = in[i++ & 255];
        double sums[4];
        rectify::sumsByTerm(*info, rectify::sectionOf(*info, x.br), x.px.r, x.px.g, x.px.b, x.br, sums);
        benchmark::DoNotOptimize(sums);
    }
}
BENCHMARK(BM_Evaluate_ByTerm);

android::Vector<int> capture(int width, int height) {
    std::mt19937 rng(5);
    android::Vector<int> px;
    for (int i = 0; i < width * height * 3; ++i) px.push_back(static_cast<int>(rng() % 256));
    return px;
}

void setScope() {
    icScopeWidth = 43;
    icScopeHeight = 112;
    brightness = 2400;
    ACL = 0;
    displayColorMode = 0;
    displayDcState = 0;
}

// What the library runs per light sample.
void BM_Weighted43x112_ByPowers(benchmark::State& state) {
    auto store = loadedStore();
    setScope();
    android::Vector<int> px = capture(43, 112);
    for (auto _ : state) {
        UnderDisplayLightParam::ChannelsDelta d{};
        store->calcRecitifyParamDeltaByBrRGBWeight(px, 0, 0, &d);
        benchmark::DoNotOptimize(d);
    }
    state.counters["cells"] = 0;
    for (const auto& row : store->getOneModeDeltaWeight(0, 0))
        for (float w : row) state.counters["cells"] += w > 0.0f;
}
BENCHMARK(BM_Weighted43x112_ByPowers);

// Baseline: the same lookups and loop with 224 pow calls per cell.
void BM_Weighted43x112_ByTerm(benchmark::State& state) {
    auto store = loadedStore();
    setScope();
    android::Vector<int> px = capture(43, 112);
    for (auto _ : state) {
        const auto* info =
                store->getCurrentUnderDisplayLightParamMode(ACL, displayColorMode, 0, 0, displayDcState);
        const auto& grid = store->getOneModeDeltaWeight(0, 0);
        double sums[4];
        rectify::weightedSums(info, brightness, grid, px.array(), icScopeWidth, icScopeHeight, pixelsEyeRatio,
                              rectify::ByTerm(), sums);
        benchmark::DoNotOptimize(sums);
    }
}
BENCHMARK(BM_Weighted43x112_ByTerm);

}  // namespace
