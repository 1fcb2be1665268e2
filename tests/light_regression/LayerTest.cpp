// Each layer against a float64 loop written from the layer table, on seeded
// random inputs and weights, with outputs pre-filled with NaN so that a cell
// the layer forgets to write shows up.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "models/light_regression/Kernels.h"
#include "models/light_regression/LightRegression.h"
#include "tests/support/Tensors.h"

using namespace light_regression;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> randomVector(std::mt19937& rng, size_t n, float lo, float hi) {
    std::uniform_real_distribution<float> d(lo, hi);
    std::vector<float> v(n);
    for (float& x : v) x = d(rng);
    return v;
}

// Reference convolution (3x3, no padding) + bias + ReLU in double.
std::vector<double> convRef(const std::vector<float>& in, int inCols, int inCh, int stride, const std::vector<float>& k,
                            const std::vector<float>& b, int outRows, int outCols, int outCh) {
    std::vector<double> out(size_t(outRows) * outCols * outCh);
    for (int r = 0; r < outRows; ++r)
        for (int c = 0; c < outCols; ++c)
            for (int o = 0; o < outCh; ++o) {
                double s = 0.0;
                for (int ky = 0; ky < 3; ++ky)
                    for (int kx = 0; kx < 3; ++kx)
                        for (int i = 0; i < inCh; ++i)
                            s += double(in[((stride * r + ky) * inCols + stride * c + kx) * inCh + i]) *
                                 k[((ky * 3 + kx) * inCh + i) * outCh + o];
                s += b[o];
                out[(r * outCols + c) * outCh + o] = s > 0 ? s : 0.0;
            }
    return out;
}

std::vector<double> poolRef(const std::vector<float>& in, int inCols, int outRows, int outCols, int ch) {
    std::vector<double> out(size_t(outRows) * outCols * ch);
    for (int r = 0; r < outRows; ++r)
        for (int c = 0; c < outCols; ++c)
            for (int k = 0; k < ch; ++k) {
                double m = -INFINITY;
                for (int dy = 0; dy < 2; ++dy)
                    for (int dx = 0; dx < 2; ++dx) m = std::max<double>(m, in[((2 * r + dy) * inCols + 2 * c + dx) * ch + k]);
                out[(r * outCols + c) * ch + k] = m;
            }
    return out;
}

std::vector<double> denseRef(const std::vector<float>& in, const std::vector<float>& k, const std::vector<float>& b,
                             int outSize) {
    std::vector<double> out(outSize);
    for (int o = 0; o < outSize; ++o) {
        double s = 0.0;
        for (size_t i = 0; i < in.size(); ++i) s += double(in[i]) * k[i * outSize + o];
        s += b[o];
        out[o] = s > 0 ? s : 0.0;
    }
    return out;
}

void expectNear(const float* got, const std::vector<double>& want) {
    sctest::expectNear(got, want, want.size(), "element");
}

class Layers : public ::testing::TestWithParam<unsigned> {
protected:
    void SetUp() override {
        rng.seed(GetParam());
        model.reset(new LightRegression());
        for (int s = 0; s < kWeightSlots; ++s) weights[s] = randomVector(rng, kSlotSizes[s], -0.5f, 0.5f);
        LightRegression& m = *model;
        const float** slots[kWeightSlots] = {&m.mLayer1Kernel,  &m.mLayer1Bias,  &m.mLayer3Kernel,  &m.mLayer3Bias,
                                             &m.mLayer5Kernel,  &m.mLayer5Bias,  &m.mLayer9Kernel,  &m.mLayer9Bias,
                                             &m.mLayer10Kernel, &m.mLayer10Bias, &m.mLayer12Kernel, &m.mLayer12Bias};
        for (int s = 0; s < kWeightSlots; ++s) *slots[s] = weights[s].data();
    }

    // Runs `layer` on a seeded input `rows` x Cols x Ch in [lo, 1), its output
    // pre-filled with NaN; returns the input.
    template <int Cols, int Ch, typename Layer, typename Out>
    std::vector<float> run(int rows, float lo, Layer layer, Out& out) {
        auto in = randomVector(rng, size_t(rows) * Cols * Ch, lo, 1.0f);
        sctest::fillNaN(out);
        (model.get()->*layer)(reinterpret_cast<const float(*)[Cols][Ch]>(in.data()), out);
        return in;
    }

    std::mt19937 rng;
    std::unique_ptr<LightRegression> model;
    std::vector<float> weights[kWeightSlots];
};

TEST_P(Layers, Convolutions) {
    auto in1 = run<kImageCols, kColours>(kImageRows, 0.0f, &LightRegression::layer_1, model->mLayer1Out);
    expectNear(&model->mLayer1Out[0][0][0], convRef(in1, kImageCols, kColours, 2, weights[kLayer1Kernel],
                                                    weights[kLayer1Bias], kL1Rows, kL1Cols, kFilters));
    auto in3 = run<kL2Cols, kFilters>(kL2Rows, -1.0f, &LightRegression::layer_3, model->mLayer3Out);
    expectNear(&model->mLayer3Out[0][0][0], convRef(in3, kL2Cols, kFilters, 1, weights[kLayer3Kernel],
                                                    weights[kLayer3Bias], kL3Rows, kL3Cols, kFilters));
    auto in5 = run<kL4Cols, kFilters>(kL4Rows, -1.0f, &LightRegression::layer_5, model->mLayer5Out);
    expectNear(&model->mLayer5Out[0][0][0], convRef(in5, kL4Cols, kFilters, 1, weights[kLayer5Kernel],
                                                    weights[kLayer5Bias], kL5Rows, kL5Cols, kFilters));
}

// Odd sizes drop the last row or column: 25 -> 12 columns, 7 -> 3 rows, 3 -> 1.
TEST_P(Layers, PoolingDropsOddEdges) {
    auto in2 = run<kL1Cols, kFilters>(kL1Rows, -1.0f, &LightRegression::layer_2, model->mLayer2Out);
    expectNear(&model->mLayer2Out[0][0][0], poolRef(in2, kL1Cols, kL2Rows, kL2Cols, kFilters));
    auto in4 = run<kL3Cols, kFilters>(kL3Rows, -1.0f, &LightRegression::layer_4, model->mLayer4Out);
    expectNear(&model->mLayer4Out[0][0][0], poolRef(in4, kL3Cols, kL4Rows, kL4Cols, kFilters));
    auto in6 = run<kL5Cols, kFilters>(kL5Rows, -1.0f, &LightRegression::layer_6, model->mLayer6Out);
    expectNear(&model->mLayer6Out[0][0][0], poolRef(in6, kL5Cols, kL6Rows, kL6Cols, kFilters));
}

TEST_P(Layers, DenseBranchesAndJoin) {
    auto flat = randomVector(rng, kFlat, 0.0f, 2.0f);
    auto feats = randomVector(rng, kChannels, 0.0f, 2.0f);
    sctest::fillNaN(model->mLayer9Out);
    sctest::fillNaN(model->mLayer10Out);
    sctest::fillNaN(model->mLayer11Out);
    sctest::fillNaN(model->mOutput);
    model->layer_9(flat.data(), model->mLayer9Out);
    expectNear(model->mLayer9Out, denseRef(flat, weights[kLayer9Kernel], weights[kLayer9Bias], kHidden));
    model->layer_10(feats.data(), model->mLayer10Out);
    expectNear(model->mLayer10Out, denseRef(feats, weights[kLayer10Kernel], weights[kLayer10Bias], kHidden));

    model->layer_11(model->mLayer9Out, model->mLayer10Out, model->mLayer11Out);
    std::vector<float> joined(model->mLayer9Out, model->mLayer9Out + kHidden);
    joined.insert(joined.end(), model->mLayer10Out, model->mLayer10Out + kHidden);
    for (int i = 0; i < kConcat; ++i) EXPECT_EQ(model->mLayer11Out[i], joined[i]) << i;

    model->layer_12(model->mLayer11Out, model->mOutput);
    expectNear(model->mOutput, denseRef(joined, weights[kLayer12Kernel], weights[kLayer12Bias], kChannels));
}

// The forward pass fuses the activations into the convolutions and skips the
// cells the poolings drop: it must give the bits of the layers run in order
// (level 0 selects no weight set, so the test weights stay).
TEST_P(Layers, FusedPassEqualsTheLayersRunInOrder) {
    auto img = randomVector(rng, kImageRows * kImageCols * kColours, 0.0f, 1.0f);
    auto features = randomVector(rng, kChannels, 0.0f, 2.0f);
    auto* image = reinterpret_cast<LightRegression::FloatImage*>(img.data());
    LightRegression& m = *model;
    m.real_model_predict(image, features.data(), 0, 1);
    const std::vector<float> fused(m.mOutput, m.mOutput + kChannels);
    m.layer_1(image, m.mLayer1Out);
    m.layer_2(m.mLayer1Out, m.mLayer2Out);
    m.layer_3(m.mLayer2Out, m.mLayer3Out);
    m.layer_4(m.mLayer3Out, m.mLayer4Out);
    m.layer_5(m.mLayer4Out, m.mLayer5Out);
    m.layer_6(m.mLayer5Out, m.mLayer6Out);
    m.layer_7(m.mLayer6Out, m.mLayer7Out);
    m.layer_9(m.mLayer7Out, m.mLayer9Out);
    m.layer_10(features.data(), m.mLayer10Out);
    m.layer_11(m.mLayer9Out, m.mLayer10Out, m.mLayer11Out);
    sctest::fillNaN(m.mOutput);
    m.layer_12(m.mLayer11Out, m.mOutput);
    EXPECT_EQ(std::vector<float>(m.mOutput, m.mOutput + kChannels), fused);
}

// A NaN reaching a layer (say through a corrupt feature) comes out as 0, never NaN.
TEST_P(Layers, NonFiniteSumsBecomeZero) {
    float feats[kChannels] = {kNaN, 1.0f, 1.0f, 1.0f, 1.0f};
    model->layer_10(feats, model->mLayer10Out);
    for (float v : model->mLayer10Out) EXPECT_EQ(v, 0.0f);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Layers, ::testing::Values(1u, 7u, 2024u));

// The library's fixed-channel convolution must give its generic loop's bits.
struct ConvShape {
    int inRows, inCols, inCh, stride;
};

class FixedChannelConv : public ::testing::TestWithParam<ConvShape> {};

TEST_P(FixedChannelConv, MatchesGenericLoopBitForBit) {
    const ConvShape s = GetParam();
    const int outRows = (s.inRows - 3) / s.stride + 1, outCols = (s.inCols - 3) / s.stride + 1;
    std::mt19937 rng(s.inRows * 100 + s.inCh);
    const std::vector<float> in = randomVector(rng, size_t(s.inRows) * s.inCols * s.inCh, -1.0f, 1.0f),
                             kernel = randomVector(rng, 9 * s.inCh * 32, -1.0f, 1.0f),
                             bias = randomVector(rng, 32, -1.0f, 1.0f);
    const size_t n = size_t(outRows) * outCols * 32;
    std::vector<float> fast(n, NAN), generic(n, NAN);
    conv3x3Relu(in.data(), s.inCols, s.inCh, s.stride, kernel.data(), bias.data(), outRows, outCols, 32, fast.data());
    conv3x3ReluGeneric(in.data(), s.inCols, s.inCh, s.stride, kernel.data(), bias.data(), outRows, outCols, 32,
                       generic.data());
    EXPECT_EQ(std::memcmp(fast.data(), generic.data(), n * sizeof(float)), 0);
    size_t positives = 0;
    for (float v : fast) positives += v > 0;
    EXPECT_GT(positives, n / 4);  // ReLU leaves a real mix
}

INSTANTIATE_TEST_SUITE_P(NetworkLayers, FixedChannelConv,
                         ::testing::Values(ConvShape{81, 51, 3, 2}, ConvShape{20, 12, 32, 1}, ConvShape{9, 5, 32, 1},
                                           ConvShape{5, 4, 7, 2}));

}  // namespace
