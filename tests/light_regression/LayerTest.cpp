// Each layer against a float64 loop written from the layer table, on seeded
// random inputs and weights, with outputs pre-filled with NaN so that a cell
// the layer forgets to write shows up.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "models/light_regression/LightRegression.h"

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
    size_t bad = 0;
    for (size_t i = 0; i < want.size(); ++i) {
        const double tol = std::max(1e-5, 1e-6 * std::fabs(want[i]));
        if (!(std::fabs(got[i] - want[i]) <= tol) && bad++ < 5)
            ADD_FAILURE() << "element " << i << ": " << got[i] << " vs " << want[i];
    }
    EXPECT_EQ(bad, 0u);
}

class Layers : public ::testing::TestWithParam<unsigned> {
protected:
    void SetUp() override {
        rng.seed(GetParam());
        model.reset(new LightRegression());
        for (int s = 0; s < kWeightSlots; ++s) weights[s] = randomVector(rng, kSlotSizes[s], -0.5f, 0.5f);
        model->mLayer1Kernel = weights[kLayer1Kernel].data();
        model->mLayer1Bias = weights[kLayer1Bias].data();
        model->mLayer3Kernel = weights[kLayer3Kernel].data();
        model->mLayer3Bias = weights[kLayer3Bias].data();
        model->mLayer5Kernel = weights[kLayer5Kernel].data();
        model->mLayer5Bias = weights[kLayer5Bias].data();
        model->mLayer9Kernel = weights[kLayer9Kernel].data();
        model->mLayer9Bias = weights[kLayer9Bias].data();
        model->mLayer10Kernel = weights[kLayer10Kernel].data();
        model->mLayer10Bias = weights[kLayer10Bias].data();
        model->mLayer12Kernel = weights[kLayer12Kernel].data();
        model->mLayer12Bias = weights[kLayer12Bias].data();
    }
    template <typename A>
    static void fillNaN(A& a) {
        float* p = reinterpret_cast<float*>(&a);
        for (size_t i = 0; i < sizeof(A) / sizeof(float); ++i) p[i] = kNaN;
    }

    std::mt19937 rng;
    std::unique_ptr<LightRegression> model;
    std::vector<float> weights[kWeightSlots];
};

TEST_P(Layers, StrideTwoConvolution) {
    auto in = randomVector(rng, kImageRows * kImageCols * kColours, 0.0f, 1.0f);
    fillNaN(model->mLayer1Out);
    model->layer_1(reinterpret_cast<const float(*)[kImageCols][kColours]>(in.data()), model->mLayer1Out);
    expectNear(&model->mLayer1Out[0][0][0], convRef(in, kImageCols, kColours, 2, weights[kLayer1Kernel],
                                                    weights[kLayer1Bias], kL1Rows, kL1Cols, kFilters));
}

TEST_P(Layers, StrideOneConvolutions) {
    auto in3 = randomVector(rng, kL2Rows * kL2Cols * kFilters, -1.0f, 1.0f);
    fillNaN(model->mLayer3Out);
    model->layer_3(reinterpret_cast<const float(*)[kL2Cols][kFilters]>(in3.data()), model->mLayer3Out);
    expectNear(&model->mLayer3Out[0][0][0], convRef(in3, kL2Cols, kFilters, 1, weights[kLayer3Kernel],
                                                    weights[kLayer3Bias], kL3Rows, kL3Cols, kFilters));

    auto in5 = randomVector(rng, kL4Rows * kL4Cols * kFilters, -1.0f, 1.0f);
    fillNaN(model->mLayer5Out);
    model->layer_5(reinterpret_cast<const float(*)[kL4Cols][kFilters]>(in5.data()), model->mLayer5Out);
    expectNear(&model->mLayer5Out[0][0][0], convRef(in5, kL4Cols, kFilters, 1, weights[kLayer5Kernel],
                                                    weights[kLayer5Bias], kL5Rows, kL5Cols, kFilters));
}

// Odd sizes drop the last row or column: 25 -> 12 columns, 7 -> 3 rows, 3 -> 1.
TEST_P(Layers, PoolingDropsOddEdges) {
    auto in2 = randomVector(rng, kL1Rows * kL1Cols * kFilters, -1.0f, 1.0f);
    fillNaN(model->mLayer2Out);
    model->layer_2(reinterpret_cast<const float(*)[kL1Cols][kFilters]>(in2.data()), model->mLayer2Out);
    expectNear(&model->mLayer2Out[0][0][0], poolRef(in2, kL1Cols, kL2Rows, kL2Cols, kFilters));

    auto in4 = randomVector(rng, kL3Rows * kL3Cols * kFilters, -1.0f, 1.0f);
    fillNaN(model->mLayer4Out);
    model->layer_4(reinterpret_cast<const float(*)[kL3Cols][kFilters]>(in4.data()), model->mLayer4Out);
    expectNear(&model->mLayer4Out[0][0][0], poolRef(in4, kL3Cols, kL4Rows, kL4Cols, kFilters));

    auto in6 = randomVector(rng, kL5Rows * kL5Cols * kFilters, -1.0f, 1.0f);
    fillNaN(model->mLayer6Out);
    model->layer_6(reinterpret_cast<const float(*)[kL5Cols][kFilters]>(in6.data()), model->mLayer6Out);
    expectNear(&model->mLayer6Out[0][0][0], poolRef(in6, kL5Cols, kL6Rows, kL6Cols, kFilters));
}

TEST_P(Layers, DenseBranchesAndJoin) {
    auto flat = randomVector(rng, kFlat, 0.0f, 2.0f);
    auto feats = randomVector(rng, kChannels, 0.0f, 2.0f);
    fillNaN(model->mLayer9Out);
    fillNaN(model->mLayer10Out);
    fillNaN(model->mLayer11Out);
    fillNaN(model->mOutput);
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

// A NaN reaching a layer (say through a corrupt feature) comes out as 0, never NaN.
TEST_P(Layers, NonFiniteSumsBecomeZero) {
    float feats[kChannels] = {kNaN, 1.0f, 1.0f, 1.0f, 1.0f};
    model->layer_10(feats, model->mLayer10Out);
    for (float v : model->mLayer10Out) EXPECT_EQ(v, 0.0f);
}

INSTANTIATE_TEST_SUITE_P(Seeds, Layers, ::testing::Values(1u, 7u, 2024u));

}  // namespace
