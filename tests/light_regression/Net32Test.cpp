// The vectorised 32-channel kernels against the plain float loops, for every
// layer shape of both networks and every instruction set this processor runs:
// seeded random inputs and weights, outputs pre-filled with NaN. Without a
// fused multiply-add (SSE2) the sums must be bit-identical, which proves the
// summation order; with one, equal to float rounding.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "models/simd/Net32.h"
#include "models/simd/Net32Reference.h"
#include "tests/support/Tensors.h"

namespace {

using net32::Act;
using net32::Isa;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Inputs with the odd values a real tensor has: exact and negative zeros,
// tiny and large magnitudes among the uniform ones.
std::vector<float> randomTensor(std::mt19937& rng, size_t n, float scale) {
    std::uniform_real_distribution<float> d(-scale, scale);
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i) {
        switch (rng() % 16) {
            case 0: v[i] = 0.0f; break;
            case 1: v[i] = -0.0f; break;
            case 2: v[i] = d(rng) * 1e-6f; break;
            case 3: v[i] = d(rng) * 8.0f; break;
            default: v[i] = d(rng);
        }
    }
    return v;
}

namespace ref = net32::reference;

// Within float rounding of the loop; bit for bit where no multiply-add fuses.
void expectMatches(const std::vector<float>& got, const std::vector<float>& want, bool exact, const std::string& what) {
    ASSERT_EQ(got.size(), want.size());
    if (exact) {
        EXPECT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof(float)), 0) << what;
        return;
    }
    sctest::expectNear(got.data(), want, got.size(), what);
}

// Without a fused multiply-add the sums must be bit-identical.
bool exactFor(Isa isa) {
    if (isa == Isa::kBest) isa = net32::bestIsa();
    return isa != Isa::kAvx2 && isa != Isa::kAvx512 && isa != Isa::kNeon;
}

// Every target we ship runs vector kernels, never the portable loops.
TEST(Net32Dispatch, UsesVectorsOnThisProcessor) {
    EXPECT_NE(net32::bestIsa(), Isa::kScalar);
    EXPECT_TRUE(net32::isaAvailable(net32::bestIsa()));
}

// Calls f(integral_constant<Isa, I>) for each instruction set this processor
// runs, kBest included.
template <typename F>
void forEachIsa(F&& f) {
    auto run = [&](auto isa) {
        if (net32::isaAvailable(decltype(isa)::value)) f(isa);
    };
    run(std::integral_constant<Isa, Isa::kSse2>{});
    run(std::integral_constant<Isa, Isa::kAvx2>{});
    run(std::integral_constant<Isa, Isa::kAvx512>{});
    run(std::integral_constant<Isa, Isa::kBest>{});
}

std::string label(const char* what, Isa isa, int shape) {
    return std::string(what) + " " + net32::isaName(isa) + " " + std::to_string(shape);
}

// One convolution shape of the networks; Cols < OutCols computes only the
// columns a pooling keeps, `rows` < the output rows only the rows it reads.
template <int InCols, int InCh, int Stride, int OutCols, int Cols, Act A>
void checkConv(std::mt19937& rng, int inRows, int rows) {
    const int outRows = (inRows - 3) / Stride + 1;
    const auto in = randomTensor(rng, size_t(inRows) * InCols * InCh, 1.0f);
    const auto k = randomTensor(rng, size_t(9) * InCh * 32, 1.0f / std::sqrt(9.0f * InCh));
    const auto b = randomTensor(rng, 32, 0.5f);
    const size_t n = size_t(outRows) * OutCols * 32;
    std::vector<float> want(n, kNaN);
    ref::conv3x3(in.data(), InCols, InCh, Stride, k.data(), b.data(), outRows, OutCols, A, want.data());
    size_t positive = 0;
    for (float v : want) positive += v > 0.0f;
    EXPECT_GT(positive, n / 4);
    EXPECT_LT(positive, n - n / 4);  // the activation has work to do
    forEachIsa([&](auto isa) {
        std::vector<float> got(n, kNaN);
        net32::conv3x3<InCols, InCh, Stride, OutCols, Cols, A, isa()>(in.data(), k.data(), b.data(), got.data(),
                                                                      rows);
        const std::string what = label("conv", isa(), InCols * 100 + Cols);
        // Cells outside the computed rows and columns stay untouched.
        for (int r = 0; r < outRows; ++r)
            for (int col = 0; col < OutCols; ++col)
                if (r >= rows || col >= Cols)
                    for (int o = 0; o < 32; ++o) {
                        float& g = got[(size_t(r) * OutCols + col) * 32 + o];
                        ASSERT_TRUE(std::isnan(g)) << what << " wrote skipped cell " << r << "," << col;
                        g = want[(size_t(r) * OutCols + col) * 32 + o];
                    }
        expectMatches(got, want, exactFor(isa()), what);
    });
}

TEST(Net32Conv, MatchesThePlainLoopOnEveryShape) {
    std::mt19937 rng(1000);
    checkConv<51, 3, 2, 25, 25, Act::kReluNanToZero>(rng, 81, 40);
    checkConv<51, 3, 2, 25, 24, Act::kReluNanToZero>(rng, 81, 40);  // pooled
    checkConv<12, 32, 1, 10, 10, Act::kReluNanToZero>(rng, 20, 18);
    checkConv<5, 32, 1, 3, 3, Act::kReluNanToZero>(rng, 9, 7);
    checkConv<5, 32, 1, 3, 2, Act::kReluNanToZero>(rng, 9, 6);  // pooled
    checkConv<101, 4, 2, 50, 50, Act::kNone>(rng, 101, 50);
    checkConv<101, 4, 2, 50, 50, Act::kRelu>(rng, 101, 50);
    checkConv<25, 32, 1, 23, 23, Act::kNone>(rng, 25, 23);
    checkConv<25, 32, 1, 23, 22, Act::kRelu>(rng, 25, 22);  // pooled
    checkConv<11, 32, 1, 9, 9, Act::kNone>(rng, 11, 9);
    checkConv<11, 32, 1, 9, 8, Act::kRelu>(rng, 11, 8);  // pooled
}

template <int InCols, int OutRows, int OutCols>
void checkPool(std::mt19937& rng, int inRows) {
    const auto in = randomTensor(rng, size_t(inRows) * InCols * 32, 1.0f);
    std::vector<float> want(static_cast<size_t>(OutRows) * OutCols * 32, kNaN);
    ref::maxPool2x2(in.data(), InCols, OutRows, OutCols, want.data());
    forEachIsa([&](auto isa) {
        std::vector<float> got(want.size(), kNaN);
        net32::maxPool2x2<InCols, OutRows, OutCols, isa()>(in.data(), got.data());
        expectMatches(got, want, true, label("pool", isa(), InCols));
    });
}

TEST(Net32Pool, BitIdenticalToThePlainLoopOnEveryShape) {
    std::mt19937 rng(7);
    checkPool<25, 20, 12>(rng, 40);  // odd last column dropped
    checkPool<10, 9, 5>(rng, 18);
    checkPool<3, 3, 1>(rng, 7);      // odd row and column dropped
    checkPool<50, 25, 25>(rng, 50);
    checkPool<23, 11, 11>(rng, 23);
    checkPool<9, 4, 4>(rng, 9);
}

// Convolution with the pooling two rows behind: the pooled tensor of the two
// loops run apart, and no convolution cell outside those the pooling reads.
template <int InRows, int InCols, int InCh, int Stride, int PoolRows, int PoolCols, Act A>
void checkConvPool(std::mt19937& rng) {
    constexpr int kConvRows = (InRows - 3) / Stride + 1, kConvCols = (InCols - 3) / Stride + 1;
    const auto in = randomTensor(rng, size_t(InRows) * InCols * InCh, 1.0f);
    const auto k = randomTensor(rng, size_t(9) * InCh * 32, 1.0f / std::sqrt(9.0f * InCh));
    const auto b = randomTensor(rng, 32, 0.5f);
    std::vector<float> conv(static_cast<size_t>(kConvRows) * kConvCols * 32),
            want(static_cast<size_t>(PoolRows) * PoolCols * 32, kNaN);
    ref::conv3x3(in.data(), InCols, InCh, Stride, k.data(), b.data(), kConvRows, kConvCols, A, conv.data());
    ref::maxPool2x2(conv.data(), kConvCols, PoolRows, PoolCols, want.data());
    forEachIsa([&](auto isa) {
        std::vector<float> gotConv(conv.size(), kNaN), got(want.size(), kNaN);
        net32::conv3x3Pool<InCols, InCh, Stride, kConvCols, PoolRows, PoolCols, A, isa()>(
                in.data(), k.data(), b.data(), gotConv.data(), got.data());
        const std::string what = label("conv+pool", isa(), InCols);
        expectMatches(got, want, exactFor(isa()), what);
        for (int r = 0; r < kConvRows; ++r)
            for (int col = 0; col < kConvCols; ++col)
                EXPECT_EQ(std::isnan(gotConv[(size_t(r) * kConvCols + col) * 32]),
                          r >= 2 * PoolRows || col >= 2 * PoolCols)
                        << what << " cell " << r << "," << col;
    });
}

TEST(Net32ConvPool, EqualsTheTwoLoopsOnEveryShape) {
    std::mt19937 rng(3);
    checkConvPool<81, 51, 3, 2, 20, 12, Act::kReluNanToZero>(rng);
    checkConvPool<20, 12, 32, 1, 9, 5, Act::kReluNanToZero>(rng);
    checkConvPool<9, 5, 32, 1, 3, 1, Act::kReluNanToZero>(rng);
    checkConvPool<101, 101, 4, 2, 25, 25, Act::kRelu>(rng);
    checkConvPool<25, 25, 32, 1, 11, 11, Act::kRelu>(rng);
    checkConvPool<11, 11, 32, 1, 4, 4, Act::kRelu>(rng);
}

// Colour scaling: the bits of the scalar division for every component,
// including ints that float cannot hold, and a count that leaves a tail.
TEST(Net32Scale, EqualsTheScalarDivision) {
    std::vector<int> in;
    for (int v = -3; v < 300; ++v) in.push_back(v);
    for (int v : {16777217, 16777219, 123456789, INT_MAX, INT_MIN, INT_MIN + 1, -16777217}) in.push_back(v);
    const int n = static_cast<int>(in.size());  // 310: not a multiple of any vector width
    std::vector<float> wantInt(n), wantFloat(n);
    for (int i = 0; i < n; ++i) {
        wantInt[i] = static_cast<float>(in[i] / 255.0);
        // The pixel form: the fourth of each four is the luminance.
        wantFloat[i] = i % 4 == 3 ? 0.625f : static_cast<float>(static_cast<float>(in[i]) / 255.0);
    }
    forEachIsa([&](auto isa) {
        std::vector<float> a(n, kNaN), b(n, kNaN);
        net32::scale255<false, false, isa()>(in.data(), a.data(), n);
        net32::scale255<true, true, isa()>(in.data(), b.data(), n, 0.625f);
        expectMatches(a, wantInt, true, label("scale", isa(), n));
        expectMatches(b, wantFloat, true, label("scale as float", isa(), n));
    });
}

template <int In, Act A>
void checkDense(std::mt19937& rng) {
    const auto in = randomTensor(rng, In, 1.0f), w = randomTensor(rng, size_t(In) * 32, 1.0f / std::sqrt(float(In))),
               b = randomTensor(rng, 32, 0.5f);
    std::vector<float> want(32, kNaN);
    ref::dense(in.data(), In, w.data(), b.data(), 32, A, want.data());
    forEachIsa([&](auto isa) {
        std::vector<float> got(32, kNaN);
        net32::dense32<In, A, isa()>(in.data(), w.data(), b.data(), got.data());
        expectMatches(got, want, exactFor(isa()), label("dense", isa(), In));
    });
}

TEST(Net32Dense, MatchesThePlainLoopOnEveryShape) {
    std::mt19937 rng(11);
    checkDense<96, Act::kReluNanToZero>(rng);
    checkDense<5, Act::kReluNanToZero>(rng);
    checkDense<512, Act::kRelu>(rng);
}

}  // namespace
