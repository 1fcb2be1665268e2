// Both networks' forward passes four ways in one run: the straightforward
// layer loops, ours (the models' real_model_predict), oneDNN and XNNPACK
// (each when the build found it), on the same compiled-in weights and input,
// plus the single-core fp32 multiply-add peak measured in the same run. Each
// peer's output is checked against the loops before it is timed. Ends with
// one table: medians, ours against the faster peer, fraction of the peak.
// Meant to run on one pinned core: `taskset -c 1 build/bench/bench_peers`.
#include <android/log.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#if defined(SC_BENCH_DNNL)
#include <omp.h>

#include <dnnl.hpp>
#endif
#if defined(SC_BENCH_XNNPACK)
#include <xnnpack.h>
#endif

#include "models/light_regression/LightRegression.h"
#include "models/lux_cnn/LuxCNN.h"
#include "models/simd/Net32.h"
#include "models/simd/Net32Reference.h"

namespace {

using net32::Act;
namespace ref = net32::reference;
namespace lr = light_regression;

// Multiply-adds of the full layers (each counts as two operations).
constexpr double kLuxFlop = 2.0 * (50 * 50 * 32 * 36 + 23 * 23 * 32 * 288 + 9 * 9 * 32 * 288 + 512 * 32 + 32 * 4);
constexpr double kLrFlop = 2.0 * (40 * 25 * 32 * 27 + 18 * 10 * 32 * 288 + 7 * 3 * 32 * 288 + 96 * 32 + 5 * 32 + 64 * 5);

// ---- the two networks, their weights and one input each ----

struct LuxNet {
    std::unique_ptr<LuxCNN> model{new LuxCNN()};
    const float* w[10];
    std::vector<float> in = std::vector<float>(101 * 101 * 4);
    LuxNet() {
        std::mt19937 rng(12345);
        std::uniform_int_distribution<int> px(0, 255);
        for (size_t i = 0; i < in.size(); ++i) in[i] = i % 4 == 3 ? 0.37f : px(rng) / 255.0f;
        std::memcpy(model->input, in.data(), sizeof model->input);
        model->real_model_predict(model->input, 1, 0);  // selects the weight set
        const float* p[10] = {model->conv0Kernel, model->conv0Bias, model->conv1Kernel, model->conv1Bias,
                              model->conv2Kernel, model->conv2Bias, model->dense1Matrix, model->dense1Bias,
                              model->dense2Matrix, model->dense2Bias};
        std::copy(p, p + 10, w);
    }
};

struct LrNet {
    std::unique_ptr<LightRegression> model{new LightRegression()};
    const float* w[12];
    std::vector<float> in = std::vector<float>(lr::kImageRows * lr::kImageCols * lr::kColours);
    float features[lr::kChannels] = {0.8f, 0.65f, 0.68f, 0.28f, 0.89f};
    LrNet() {
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> px(0, 255);
        for (float& v : in) v = px(rng) / 255.0f;
        const float* const* set = lr::weightSet(0, 3);
        std::copy(set, set + 12, w);
    }
    LightRegression::FloatImage* image() { return reinterpret_cast<LightRegression::FloatImage*>(in.data()); }
};

LuxNet& lux() {
    static LuxNet* n = new LuxNet();
    return *n;
}
LrNet& lrn() {
    static LrNet* n = new LrNet();
    return *n;
}

// ---- the straightforward loops ----

struct PlainLux {
    std::vector<float> c0 = std::vector<float>(50 * 50 * 32), p0 = std::vector<float>(25 * 25 * 32),
                       c1 = std::vector<float>(23 * 23 * 32), p1 = std::vector<float>(11 * 11 * 32),
                       c2 = std::vector<float>(9 * 9 * 32), p2 = std::vector<float>(512), h = std::vector<float>(32);
    float out[4];
    void run(const LuxNet& n) {
        ref::conv3x3(n.in.data(), 101, 4, 2, n.w[0], n.w[1], 50, 50, Act::kRelu, c0.data());
        ref::maxPool2x2(c0.data(), 50, 25, 25, p0.data());
        ref::conv3x3(p0.data(), 25, 32, 1, n.w[2], n.w[3], 23, 23, Act::kRelu, c1.data());
        ref::maxPool2x2(c1.data(), 23, 11, 11, p1.data());
        ref::conv3x3(p1.data(), 11, 32, 1, n.w[4], n.w[5], 9, 9, Act::kRelu, c2.data());
        ref::maxPool2x2(c2.data(), 9, 4, 4, p2.data());
        ref::dense(p2.data(), 512, n.w[6], n.w[7], 32, Act::kRelu, h.data());
        ref::dense(h.data(), 32, n.w[8], n.w[9], 4, Act::kRelu, out);
    }
};

struct PlainLr {
    std::vector<float> c1 = std::vector<float>(40 * 25 * 32), p1 = std::vector<float>(20 * 12 * 32),
                       c3 = std::vector<float>(18 * 10 * 32), p3 = std::vector<float>(9 * 5 * 32),
                       c5 = std::vector<float>(7 * 3 * 32), p5 = std::vector<float>(96), cat = std::vector<float>(64);
    float out[5];
    void run(const LrNet& n) {
        const Act a = Act::kReluNanToZero;
        ref::conv3x3(n.in.data(), 51, 3, 2, n.w[0], n.w[1], 40, 25, a, c1.data());
        ref::maxPool2x2(c1.data(), 25, 20, 12, p1.data());
        ref::conv3x3(p1.data(), 12, 32, 1, n.w[2], n.w[3], 18, 10, a, c3.data());
        ref::maxPool2x2(c3.data(), 10, 9, 5, p3.data());
        ref::conv3x3(p3.data(), 5, 32, 1, n.w[4], n.w[5], 7, 3, a, c5.data());
        ref::maxPool2x2(c5.data(), 3, 3, 1, p5.data());
        ref::dense(p5.data(), 96, n.w[6], n.w[7], 32, a, cat.data());
        ref::dense(n.features, 5, n.w[8], n.w[9], 32, a, cat.data() + 32);
        ref::dense(cat.data(), 64, n.w[10], n.w[11], 5, a, out);
    }
};

// Largest difference relative to max(1, |reference|).
double disagreement(const float* got, const float* want, int n) {
    double worst = 0.0;
    for (int i = 0; i < n; ++i)
        worst = std::max(worst, std::fabs(double(got[i]) - want[i]) / std::max(1.0, std::fabs(double(want[i]))));
    return worst;
}

std::map<std::string, double>& agreement() {
    static std::map<std::string, double> m;
    return m;
}

// Runs `pass`, checks the n outputs against the loops, then times it.
void timed(benchmark::State& state, const std::string& name, const std::function<void()>& pass, const float* out,
           const float* want, int n) {
    pass();
    const double d = disagreement(out, want, n);
    agreement()[name] = d;
    if (!(d <= 1e-4)) {
        state.SkipWithError(("disagrees with the loops by " + std::to_string(d)).c_str());
        return;
    }
    for (auto _ : state) {
        pass();
        benchmark::ClobberMemory();
    }
}

const float* plainLuxOut() {
    static PlainLux* p = [] {
        auto* q = new PlainLux();
        q->run(lux());
        return q;
    }();
    return p->out;
}
const float* plainLrOut() {
    static PlainLr* p = [] {
        auto* q = new PlainLr();
        q->run(lrn());
        return q;
    }();
    return p->out;
}

void BM_LuxCNN_plain(benchmark::State& state) {
    static PlainLux p;
    timed(state, "LuxCNN/plain", [] { p.run(lux()); }, p.out, plainLuxOut(), 4);
}
void BM_LuxCNN_ours(benchmark::State& state) {
    LuxNet& n = lux();
    timed(state, "LuxCNN/ours", [&] { n.model->real_model_predict(n.model->input, 1, 0); }, n.model->output,
          plainLuxOut(), 4);
}
void BM_LightRegression_plain(benchmark::State& state) {
    static PlainLr p;
    timed(state, "LightRegression/plain", [] { p.run(lrn()); }, p.out, plainLrOut(), 5);
}
void BM_LightRegression_ours(benchmark::State& state) {
    LrNet& n = lrn();
    timed(state, "LightRegression/ours", [&] { n.model->real_model_predict(n.image(), n.features, 3, 0); },
          n.model->mOutput, plainLrOut(), 5);
}

#if defined(SC_BENCH_DNNL)
// ---- oneDNN: it picks its own layouts for activations and weights (the
// weights are reordered once, outside the timing); the input stays NHWC. ----
using dnnl::memory;
using Tag = memory::format_tag;
constexpr auto kF32 = memory::data_type::f32;

struct DnnlNet {
    dnnl::engine eng{dnnl::engine::kind::cpu, 0};
    dnnl::stream strm{eng};
    std::vector<std::pair<dnnl::primitive, std::unordered_map<int, memory>>> steps;
    std::vector<std::vector<float>> owned;

    memory user(const memory::dims& d, Tag t, const float* p) {
        return memory({d, kF32, t}, eng, const_cast<float*>(p));
    }
    // A weight tensor in the primitive's chosen layout, reordered once.
    memory prepared(const memory::desc& want, memory src) {
        if (want == src.get_desc()) return src;
        memory dst(want, eng);
        dnnl::reorder(src, dst).execute(strm, src, dst);
        strm.wait();
        return dst;
    }
    static dnnl::primitive_attr relu() {
        dnnl::post_ops ops;
        ops.append_eltwise(1.0f, dnnl::algorithm::eltwise_relu, 0.0f, 0.0f);
        dnnl::primitive_attr attr;
        attr.set_post_ops(ops);
        return attr;
    }
    // Brings `src` into the layout `want`, adding a reorder step if needed.
    memory into(const memory::desc& want, memory src) {
        if (want == src.get_desc()) return src;
        memory dst(want, eng);
        steps.push_back({dnnl::reorder(src, dst), {{DNNL_ARG_FROM, src}, {DNNL_ARG_TO, dst}}});
        return dst;
    }
    memory conv(memory src, int inCh, int h, int w, int stride, const float* k, const float* b, bool firstLayer) {
        const int oh = (h - 3) / stride + 1, ow = (w - 3) / stride + 1;
        memory::desc srcMd({1, inCh, h, w}, kF32, firstLayer ? Tag::nhwc : Tag::any);
        memory::desc wMd({32, inCh, 3, 3}, kF32, Tag::any), bMd({32}, kF32, Tag::x),
                dstMd({1, 32, oh, ow}, kF32, Tag::any);
        dnnl::convolution_forward::desc d(dnnl::prop_kind::forward_inference, dnnl::algorithm::convolution_direct,
                                          srcMd, wMd, bMd, dstMd, {stride, stride}, {0, 0}, {0, 0});
        dnnl::convolution_forward::primitive_desc pd(d, relu(), eng);
        memory in = into(pd.src_desc(), src);
        memory wts = prepared(pd.weights_desc(), user({32, inCh, 3, 3}, Tag::hwio, k));
        memory dst(pd.dst_desc(), eng);
        steps.push_back({dnnl::convolution_forward(pd),
                         {{DNNL_ARG_SRC, in}, {DNNL_ARG_WEIGHTS, wts}, {DNNL_ARG_BIAS, user({32}, Tag::x, b)},
                          {DNNL_ARG_DST, dst}}});
        return dst;
    }
    memory pool(memory src, int h, int w) {
        memory::desc dstMd({1, 32, (h - 2) / 2 + 1, (w - 2) / 2 + 1}, kF32, Tag::any);
        dnnl::pooling_forward::desc d(dnnl::prop_kind::forward_inference, dnnl::algorithm::pooling_max,
                                      src.get_desc(), dstMd, {2, 2}, {2, 2}, {0, 0}, {0, 0});
        dnnl::pooling_forward::primitive_desc pd(d, eng);
        memory dst(pd.dst_desc(), eng);
        steps.push_back({dnnl::pooling_forward(pd), {{DNNL_ARG_SRC, src}, {DNNL_ARG_DST, dst}}});
        return dst;
    }
    // Dense layer; `wDims`/`wTag` describe our [in][out] matrix in oneDNN's
    // terms (a 4-D source flattens row, column, channel).
    void dense(memory src, const memory::dims& wDims, Tag wTag, const float* w, const float* b, int outSize,
               float* out) {
        memory::desc wMd(wDims, kF32, Tag::any), bMd({outSize}, kF32, Tag::x), dstMd({1, outSize}, kF32, Tag::nc);
        dnnl::inner_product_forward::desc d(dnnl::prop_kind::forward_inference, src.get_desc(), wMd, bMd, dstMd);
        dnnl::inner_product_forward::primitive_desc pd(d, relu(), eng);
        memory in = into(pd.src_desc(), src);
        memory wts = prepared(pd.weights_desc(), user(wDims, wTag, w));
        steps.push_back({dnnl::inner_product_forward(pd),
                         {{DNNL_ARG_SRC, in}, {DNNL_ARG_WEIGHTS, wts}, {DNNL_ARG_BIAS, user({outSize}, Tag::x, b)},
                          {DNNL_ARG_DST, user({1, outSize}, Tag::nc, out)}}});
    }
    void run() {
        for (auto& s : steps) s.first.execute(strm, s.second);
        strm.wait();
    }
};

void BM_LuxCNN_onednn(benchmark::State& state) {
    LuxNet& n = lux();
    static float out[4];
    static DnnlNet* net = [&] {
        auto* d = new DnnlNet();
        memory m = d->conv(d->user({1, 4, 101, 101}, Tag::nhwc, n.in.data()), 4, 101, 101, 2, n.w[0], n.w[1], true);
        m = d->pool(m, 50, 50);
        m = d->conv(m, 32, 25, 25, 1, n.w[2], n.w[3], false);
        m = d->pool(m, 23, 23);
        m = d->conv(m, 32, 11, 11, 1, n.w[4], n.w[5], false);
        m = d->pool(m, 9, 9);
        static float hidden[32];
        d->dense(m, {32, 32, 4, 4}, Tag::hwio, n.w[6], n.w[7], 32, hidden);
        d->dense(d->user({1, 32}, Tag::nc, hidden), {4, 32}, Tag::io, n.w[8], n.w[9], 4, out);
        return d;
    }();
    timed(state, "LuxCNN/onednn", [] { net->run(); }, out, plainLuxOut(), 4);
}

void BM_LightRegression_onednn(benchmark::State& state) {
    LrNet& n = lrn();
    static float out[5];
    static float cat[64];
    static DnnlNet* net = [&] {
        auto* d = new DnnlNet();
        memory m = d->conv(d->user({1, 3, 81, 51}, Tag::nhwc, n.in.data()), 3, 81, 51, 2, n.w[0], n.w[1], true);
        m = d->pool(m, 40, 25);
        m = d->conv(m, 32, 20, 12, 1, n.w[2], n.w[3], false);
        m = d->pool(m, 18, 10);
        m = d->conv(m, 32, 9, 5, 1, n.w[4], n.w[5], false);
        m = d->pool(m, 7, 3);
        // The two branches write the halves of the concatenation directly.
        d->dense(m, {32, 32, 3, 1}, Tag::hwio, n.w[6], n.w[7], 32, cat);
        d->dense(d->user({1, 5}, Tag::nc, n.features), {32, 5}, Tag::io, n.w[8], n.w[9], 32, cat + 32);
        d->dense(d->user({1, 64}, Tag::nc, cat), {5, 64}, Tag::io, n.w[10], n.w[11], 5, out);
        return d;
    }();
    timed(state, "LightRegression/onednn", [] { net->run(); }, out, plainLrOut(), 5);
}
#endif

#if defined(SC_BENCH_XNNPACK)
// ---- XNNPACK: NHWC operators without a thread pool; the weights are packed
// at creation, outside the timing. ----
struct XnnNet {
    struct Step {
        xnn_operator_t op;
    };
    std::vector<xnn_operator_t> ops;
    std::vector<std::vector<float>> bufs;

    static bool ready() {
        static const bool ok = xnn_initialize(nullptr) == xnn_status_success;
        return ok;
    }
    float* buffer(size_t n) {
        bufs.emplace_back(n);
        return bufs.back().data();
    }
    // Our kernels are [ky][kx][in][out]; XNNPACK's are [out][ky][kx][in].
    float* conv(const float* src, int inCh, int h, int w, int stride, const float* k, const float* b) {
        std::vector<float> ohwi(size_t(9) * inCh * 32);
        for (int t = 0; t < 9; ++t)
            for (int i = 0; i < inCh; ++i)
                for (int o = 0; o < 32; ++o) ohwi[(size_t(o) * 9 + t) * inCh + i] = k[(size_t(t) * inCh + i) * 32 + o];
        xnn_operator_t op = nullptr;
        xnn_create_convolution2d_nhwc_f32(0, 0, 0, 0, 3, 3, stride, stride, 1, 1, 1, inCh, 32, inCh, 32, ohwi.data(),
                                          b, 0.0f, INFINITY, 0, &op);
        const int oh = (h - 3) / stride + 1, ow = (w - 3) / stride + 1;
        float* dst = buffer(size_t(oh) * ow * 32);
        xnn_setup_convolution2d_nhwc_f32(op, 1, h, w, src, dst, nullptr);
        ops.push_back(op);
        return dst;
    }
    float* pool(const float* src, int h, int w) {
        xnn_operator_t op = nullptr;
        xnn_create_max_pooling2d_nhwc_f32(0, 0, 0, 0, 2, 2, 2, 2, 1, 1, 32, 32, 32, -INFINITY, INFINITY, 0, &op);
        float* dst = buffer(size_t((h - 2) / 2 + 1) * ((w - 2) / 2 + 1) * 32);
        xnn_setup_max_pooling2d_nhwc_f32(op, 1, h, w, src, dst, nullptr);
        ops.push_back(op);
        return dst;
    }
    void dense(const float* src, int in, const float* w, const float* b, int out, int outStride, float* dst) {
        xnn_operator_t op = nullptr;
        xnn_create_fully_connected_nc_f32(in, out, in, outStride, w, b, 0.0f, INFINITY, XNN_FLAG_TRANSPOSE_WEIGHTS,
                                          &op);
        xnn_setup_fully_connected_nc_f32(op, 1, src, dst, nullptr);
        ops.push_back(op);
    }
    bool complete() const {
        for (xnn_operator_t op : ops)
            if (op == nullptr) return false;
        return true;
    }
    void run() {
        for (xnn_operator_t op : ops) xnn_run_operator(op, nullptr);
    }
};

void BM_LuxCNN_xnnpack(benchmark::State& state) {
    LuxNet& n = lux();
    static float out[4];
    static XnnNet* net = [&] {
        auto* x = new XnnNet();
        if (!XnnNet::ready()) return x;
        float* m = x->conv(n.in.data(), 4, 101, 101, 2, n.w[0], n.w[1]);
        m = x->pool(m, 50, 50);
        m = x->conv(m, 32, 25, 25, 1, n.w[2], n.w[3]);
        m = x->pool(m, 23, 23);
        m = x->conv(m, 32, 11, 11, 1, n.w[4], n.w[5]);
        m = x->pool(m, 9, 9);
        float* hidden = x->buffer(32);
        x->dense(m, 512, n.w[6], n.w[7], 32, 32, hidden);
        x->dense(hidden, 32, n.w[8], n.w[9], 4, 4, out);
        return x;
    }();
    if (!net->complete() || net->ops.empty()) return state.SkipWithError("XNNPACK refused an operator");
    timed(state, "LuxCNN/xnnpack", [] { net->run(); }, out, plainLuxOut(), 4);
}

void BM_LightRegression_xnnpack(benchmark::State& state) {
    LrNet& n = lrn();
    static float out[5];
    static XnnNet* net = [&] {
        auto* x = new XnnNet();
        if (!XnnNet::ready()) return x;
        float* m = x->conv(n.in.data(), 3, 81, 51, 2, n.w[0], n.w[1]);
        m = x->pool(m, 40, 25);
        m = x->conv(m, 32, 20, 12, 1, n.w[2], n.w[3]);
        m = x->pool(m, 18, 10);
        m = x->conv(m, 32, 9, 5, 1, n.w[4], n.w[5]);
        m = x->pool(m, 7, 3);
        // The two branches write the halves of the concatenation directly.
        float* cat = x->buffer(64);
        x->dense(m, 96, n.w[6], n.w[7], 32, 64, cat);
        x->dense(n.features, 5, n.w[8], n.w[9], 32, 64, cat + 32);
        x->dense(cat, 64, n.w[10], n.w[11], 5, 5, out);
        return x;
    }();
    if (!net->complete() || net->ops.empty()) return state.SkipWithError("XNNPACK refused an operator");
    timed(state, "LightRegression/xnnpack", [] { net->run(); }, out, plainLrOut(), 5);
}
#endif

// ---- the machine's limit: independent multiply-add chains on the widest
// vectors the kernels use, enough of them to cover the latency ----
constexpr int kPeakIters = 1 << 16;

#if defined(__x86_64__)
__attribute__((target("avx512f"), noinline)) double peakAvx512() {
    __m512 acc[24];
    __m512 a = _mm512_set1_ps(0.999f), b = _mm512_set1_ps(1e-7f);
    for (auto& v : acc) v = _mm512_set1_ps(1.0f);
    for (int i = 0; i < kPeakIters; ++i) {
#pragma GCC unroll 24
        for (int j = 0; j < 24; ++j) acc[j] = _mm512_fmadd_ps(acc[j], a, b);
    }
    float s = 0.0f;
    for (auto& v : acc) {
        float t[16];
        _mm512_storeu_ps(t, v);
        for (float x : t) s += x;
    }
    benchmark::DoNotOptimize(s);
    return 2.0 * 16 * 24 * kPeakIters;
}
__attribute__((target("avx2,fma"), noinline)) double peakAvx2() {
    __m256 acc[12];
    __m256 a = _mm256_set1_ps(0.999f), b = _mm256_set1_ps(1e-7f);
    for (auto& v : acc) v = _mm256_set1_ps(1.0f);
    for (int i = 0; i < kPeakIters; ++i) {
#pragma GCC unroll 12
        for (int j = 0; j < 12; ++j) acc[j] = _mm256_fmadd_ps(acc[j], a, b);
    }
    float s = 0.0f;
    for (auto& v : acc) {
        float t[8];
        _mm256_storeu_ps(t, v);
        for (float x : t) s += x;
    }
    benchmark::DoNotOptimize(s);
    return 2.0 * 8 * 12 * kPeakIters;
}
#elif defined(__aarch64__)
__attribute__((noinline)) double peakNeon() {
    float32x4_t acc[24];
    const float32x4_t a = vdupq_n_f32(0.999f), b = vdupq_n_f32(1e-7f);
    for (auto& v : acc) v = vdupq_n_f32(1.0f);
    for (int i = 0; i < kPeakIters; ++i) {
#pragma GCC unroll 24
        for (int j = 0; j < 24; ++j) acc[j] = vfmaq_f32(b, acc[j], a);
    }
    float s = 0.0f;
    for (auto& v : acc) s += vaddvq_f32(v);
    benchmark::DoNotOptimize(s);
    return 2.0 * 4 * 24 * kPeakIters;
}
#endif

double peakOnce() {
    switch (net32::bestIsa()) {
#if defined(__x86_64__)
        case net32::Isa::kAvx512: return peakAvx512();
        case net32::Isa::kAvx2: return peakAvx2();
#elif defined(__aarch64__)
        case net32::Isa::kNeon: return peakNeon();
#endif
        default: return 0.0;
    }
}

void BM_Peak_fma(benchmark::State& state) {
    double flop = 0.0;
    for (auto _ : state) flop += peakOnce();
    state.counters["GFLOPs"] = benchmark::Counter(flop, benchmark::Counter::kIsRate);
    state.SetLabel(net32::isaName(net32::Isa::kBest));
}

// ---- one table at the end ----
struct Median {
    double us = 0.0;
    double gflops = 0.0;
};

class TableReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, Median> medians;
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.aggregate_name != "median" || r.error_occurred) continue;
            std::string name = r.benchmark_name();
            name = name.substr(0, name.find("_median"));
            Median& m = medians[name];
            m.us = r.GetAdjustedCPUTime() * 1e6 / benchmark::GetTimeUnitMultiplier(r.time_unit);
            auto it = r.counters.find("GFLOPs");
            if (it != r.counters.end()) m.gflops = it->second.value / 1e9;
        }
    }
};

void printTable(const TableReporter& rep) {
    const auto find = [&](const std::string& n) {
        auto it = rep.medians.find(n);
        return it == rep.medians.end() ? 0.0 : it->second.us;
    };
    const auto peakIt = rep.medians.find("BM_Peak_fma");
    const double peak = peakIt == rep.medians.end() ? 0.0 : peakIt->second.gflops;
    std::printf("\nMedian CPU times, one thread (%s kernels); peak = measured fp32 multiply-add throughput: %.1f "
                "GFLOP/s\n",
                net32::isaName(net32::Isa::kBest), peak);
    std::printf("%-16s %10s %10s %10s %10s %12s %12s %10s %10s\n", "forward pass", "plain us", "ours us",
                "oneDNN us", "XNNPACK us", "plain/ours", "peer/ours", "ours/peak", "peak us");
    for (const char* net : {"LuxCNN", "LightRegression"}) {
        const std::string n(net);
        const double plain = find("BM_" + n + "_plain"), ours = find("BM_" + n + "_ours"),
                     dnnl = find("BM_" + n + "_onednn"), xnn = find("BM_" + n + "_xnnpack");
        const double flop = n == "LuxCNN" ? kLuxFlop : kLrFlop;
        double bestPeer = 0.0;
        for (double p : {dnnl, xnn})
            if (p > 0.0 && (bestPeer == 0.0 || p < bestPeer)) bestPeer = p;
        const double peakUs = peak > 0.0 ? flop / (peak * 1e3) : 0.0;
        const auto cell = [](double v) {
            static char b[4][32];
            static int i = 0;
            i = (i + 1) % 4;
            if (v > 0.0) std::snprintf(b[i], sizeof b[i], "%.1f", v);
            else std::snprintf(b[i], sizeof b[i], "-");
            return b[i];
        };
        std::printf("%-16s %10s %10s %10s %10s", net, cell(plain), cell(ours), cell(dnnl), cell(xnn));
        std::printf(" %11.2fx", ours > 0.0 ? plain / ours : 0.0);
        if (bestPeer > 0.0) std::printf(" %11.2fx", bestPeer / ours);
        else std::printf(" %12s", "no peer");
        std::printf(" %9.0f%% %10.1f\n", ours > 0.0 && peakUs > 0.0 ? 100.0 * peakUs / ours : 0.0, peakUs);
    }
    for (const auto& a : agreement())
        std::printf("  %-24s largest difference from the loops: %.2g\n", a.first.c_str(), a.second);
}

}  // namespace

BENCHMARK(BM_Peak_fma)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LuxCNN_plain)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LuxCNN_ours)->Unit(benchmark::kMicrosecond);
#if defined(SC_BENCH_DNNL)
BENCHMARK(BM_LuxCNN_onednn)->Unit(benchmark::kMicrosecond);
#endif
#if defined(SC_BENCH_XNNPACK)
BENCHMARK(BM_LuxCNN_xnnpack)->Unit(benchmark::kMicrosecond);
#endif
BENCHMARK(BM_LightRegression_plain)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LightRegression_ours)->Unit(benchmark::kMicrosecond);
#if defined(SC_BENCH_DNNL)
BENCHMARK(BM_LightRegression_onednn)->Unit(benchmark::kMicrosecond);
#endif
#if defined(SC_BENCH_XNNPACK)
BENCHMARK(BM_LightRegression_xnnpack)->Unit(benchmark::kMicrosecond);
#endif

int main(int argc, char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
#if defined(SC_BENCH_DNNL)
    // Debian's oneDNN runs on OpenMP: one thread, before any primitive exists.
    omp_set_num_threads(1);
#endif
    // Medians need repetitions; the command line may still choose others.
    std::vector<char*> args(argv, argv + argc);
    std::string reps = "--benchmark_repetitions=7";
    std::string aggr = "--benchmark_report_aggregates_only=true";
    bool hasReps = false;
    for (int i = 1; i < argc; ++i) hasReps = hasReps || std::strstr(argv[i], "--benchmark_repetitions") != nullptr;
    if (!hasReps) {
        args.insert(args.begin() + 1, &aggr[0]);
        args.insert(args.begin() + 1, &reps[0]);
    }
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
    TableReporter rep;
    benchmark::RunSpecifiedBenchmarks(&rep);
    printTable(rep);
    benchmark::Shutdown();
    return 0;
}
