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
    size_t bad = 0;
    for (size_t i = 0; i < got.size(); ++i) {
        const double tol = std::max(1e-5, 1e-6 * std::fabs(want[i]));
        if (!(std::fabs(double(got[i]) - want[i]) <= tol) && bad++ < 3)
            ADD_FAILURE() << what << " [" << i << "]: " << got[i] << " vs " << want[i];
    }
}

bool fusesMultiplyAdd(Isa isa) { return isa == Isa::kAvx2 || isa == Isa::kAvx512 || isa == Isa::kNeon; }

// One convolution shape of the networks, instantiated for each instruction
// set; `cols` < outCols computes only the columns a pooling keeps.
struct ConvCase {
    const char* name;
    int inRows, inCols, inCh, stride, outRows, outCols, rows, cols;
    Act act;
    void (*run[4])(const float*, const float*, const float*, float*, int);
};

template <int InCols, int InCh, int Stride, int OutCols, int Cols, Act A>
ConvCase convCase(const char* name, int inRows, int rows) {
    return {name, inRows, InCols, InCh, Stride, (inRows - 3) / Stride + 1, OutCols, rows, Cols, A,
            {net32::conv3x3<InCols, InCh, Stride, OutCols, Cols, A, Isa::kSse2>,
             net32::conv3x3<InCols, InCh, Stride, OutCols, Cols, A, Isa::kAvx2>,
             net32::conv3x3<InCols, InCh, Stride, OutCols, Cols, A, Isa::kAvx512>,
             net32::conv3x3<InCols, InCh, Stride, OutCols, Cols, A, Isa::kBest>}};
}

constexpr Isa kIsas[4] = {Isa::kSse2, Isa::kAvx2, Isa::kAvx512, Isa::kBest};

const std::vector<ConvCase>& convCases() {
    static const std::vector<ConvCase> cases = {
            convCase<51, 3, 2, 25, 25, Act::kReluNanToZero>("regression1", 81, 40),
            convCase<51, 3, 2, 25, 24, Act::kReluNanToZero>("regression1Pooled", 81, 40),
            convCase<12, 32, 1, 10, 10, Act::kReluNanToZero>("regression3", 20, 18),
            convCase<5, 32, 1, 3, 3, Act::kReluNanToZero>("regression5", 9, 7),
            convCase<5, 32, 1, 3, 2, Act::kReluNanToZero>("regression5Pooled", 9, 6),
            convCase<101, 4, 2, 50, 50, Act::kNone>("lux0", 101, 50),
            convCase<101, 4, 2, 50, 50, Act::kRelu>("lux0Relu", 101, 50),
            convCase<25, 32, 1, 23, 23, Act::kNone>("lux3", 25, 23),
            convCase<25, 32, 1, 23, 22, Act::kRelu>("lux3Pooled", 25, 22),
            convCase<11, 32, 1, 9, 9, Act::kNone>("lux6", 11, 9),
            convCase<11, 32, 1, 9, 8, Act::kRelu>("lux6Pooled", 11, 8),
    };
    return cases;
}

std::string convCaseName(const ::testing::TestParamInfo<std::tuple<int, int>>& info) {
    static const char* const kNames[4] = {"sse2", "avx2", "avx512", "best"};
    return std::string(convCases()[std::get<0>(info.param)].name) + "_" + kNames[std::get<1>(info.param)];
}

class Net32Conv : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(Net32Conv, MatchesThePlainLoop) {
    const ConvCase& c = convCases()[std::get<0>(GetParam())];
    const int isa = std::get<1>(GetParam());
    if (!net32::isaAvailable(kIsas[isa])) GTEST_SKIP() << "processor lacks " << net32::isaName(kIsas[isa]);
    std::mt19937 rng(1000 + std::get<0>(GetParam()));
    const float kScale = 1.0f / std::sqrt(9.0f * c.inCh);
    const auto in = randomTensor(rng, size_t(c.inRows) * c.inCols * c.inCh, 1.0f);
    const auto k = randomTensor(rng, size_t(9) * c.inCh * 32, kScale);
    const auto b = randomTensor(rng, 32, 0.5f);
    const size_t n = size_t(c.outRows) * c.outCols * 32;
    std::vector<float> want(n, kNaN), got(n, kNaN);
    ref::conv3x3(in.data(), c.inCols, c.inCh, c.stride, k.data(), b.data(), c.outRows, c.outCols, c.act, want.data());
    c.run[isa](in.data(), k.data(), b.data(), got.data(), c.rows);
    // Cells outside the computed rows and columns stay untouched.
    for (int r = 0; r < c.outRows; ++r)
        for (int col = 0; col < c.outCols; ++col)
            if (r >= c.rows || col >= c.cols)
                for (int o = 0; o < 32; ++o) {
                    float& g = got[(size_t(r) * c.outCols + col) * 32 + o];
                    ASSERT_TRUE(std::isnan(g)) << "wrote skipped cell " << r << "," << col;
                    g = want[(size_t(r) * c.outCols + col) * 32 + o];
                }
    const bool fused = fusesMultiplyAdd(kIsas[isa] == Isa::kBest ? net32::bestIsa() : kIsas[isa]);
    expectMatches(got, want, !fused, c.name);
    size_t positive = 0;
    for (float v : want) positive += v > 0.0f;
    EXPECT_GT(positive, n / 4);
    EXPECT_LT(positive, n - n / 4);  // the activation has work to do
}

INSTANTIATE_TEST_SUITE_P(Layers, Net32Conv,
                         ::testing::Combine(::testing::Range(0, int(convCases().size())), ::testing::Range(0, 4)),
                         convCaseName);

TEST(Net32Dispatch, PicksTheWidestVectorsOfThisProcessor) {
#if defined(__aarch64__)
    EXPECT_EQ(net32::bestIsa(), Isa::kNeon);
#elif defined(__x86_64__)
    EXPECT_EQ(net32::bestIsa(), __builtin_cpu_supports("avx512f") ? Isa::kAvx512
                                : (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) ? Isa::kAvx2
                                                                                                      : Isa::kSse2);
#endif
    EXPECT_TRUE(net32::isaAvailable(net32::bestIsa()));
}

template <int InCols, int OutRows, int OutCols>
void checkPool(std::mt19937& rng, int inRows) {
    const auto in = randomTensor(rng, size_t(inRows) * InCols * 32, 1.0f);
    std::vector<float> want(static_cast<size_t>(OutRows) * OutCols * 32, kNaN);
    ref::maxPool2x2(in.data(), InCols, OutRows, OutCols, want.data());
    const std::vector<float> keep = want;
    for (Isa isa : kIsas) {
        if (!net32::isaAvailable(isa)) continue;
        std::vector<float> got(want.size(), kNaN);
        switch (isa) {
            case Isa::kSse2: net32::maxPool2x2<InCols, OutRows, OutCols, Isa::kSse2>(in.data(), got.data()); break;
            case Isa::kAvx2: net32::maxPool2x2<InCols, OutRows, OutCols, Isa::kAvx2>(in.data(), got.data()); break;
            case Isa::kAvx512:
                net32::maxPool2x2<InCols, OutRows, OutCols, Isa::kAvx512>(in.data(), got.data());
                break;
            default: net32::maxPool2x2<InCols, OutRows, OutCols>(in.data(), got.data());
        }
        expectMatches(got, keep, true, std::string("pool ") + net32::isaName(isa) + " " + std::to_string(InCols));
    }
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
    for (Isa isa : kIsas) {
        if (!net32::isaAvailable(isa)) continue;
        std::vector<float> gotConv(conv.size(), kNaN), got(want.size(), kNaN);
        float *c = gotConv.data(), *p = got.data();
        switch (isa) {
            case Isa::kSse2:
                net32::conv3x3Pool<InCols, InCh, Stride, kConvCols, PoolRows, PoolCols, A, Isa::kSse2>(
                        in.data(), k.data(), b.data(), c, p);
                break;
            case Isa::kAvx2:
                net32::conv3x3Pool<InCols, InCh, Stride, kConvCols, PoolRows, PoolCols, A, Isa::kAvx2>(
                        in.data(), k.data(), b.data(), c, p);
                break;
            case Isa::kAvx512:
                net32::conv3x3Pool<InCols, InCh, Stride, kConvCols, PoolRows, PoolCols, A, Isa::kAvx512>(
                        in.data(), k.data(), b.data(), c, p);
                break;
            default:
                net32::conv3x3Pool<InCols, InCh, Stride, kConvCols, PoolRows, PoolCols, A>(in.data(), k.data(),
                                                                                           b.data(), c, p);
        }
        const std::string what = std::string("conv+pool ") + net32::isaName(isa) + " " + std::to_string(InCols);
        expectMatches(got, want, !fusesMultiplyAdd(isa == Isa::kBest ? net32::bestIsa() : isa), what);
        for (int r = 0; r < kConvRows; ++r)
            for (int col = 0; col < kConvCols; ++col)
                EXPECT_EQ(std::isnan(gotConv[(size_t(r) * kConvCols + col) * 32]),
                          r >= 2 * PoolRows || col >= 2 * PoolCols)
                        << what << " cell " << r << "," << col;
    }
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
    for (Isa isa : kIsas) {
        if (!net32::isaAvailable(isa)) continue;
        std::vector<float> a(n, kNaN), b(n, kNaN);
        switch (isa) {
            case Isa::kSse2:
                net32::scale255<false, false, Isa::kSse2>(in.data(), a.data(), n);
                net32::scale255<true, true, Isa::kSse2>(in.data(), b.data(), n, 0.625f);
                break;
            case Isa::kAvx2:
                net32::scale255<false, false, Isa::kAvx2>(in.data(), a.data(), n);
                net32::scale255<true, true, Isa::kAvx2>(in.data(), b.data(), n, 0.625f);
                break;
            case Isa::kAvx512:
                net32::scale255<false, false, Isa::kAvx512>(in.data(), a.data(), n);
                net32::scale255<true, true, Isa::kAvx512>(in.data(), b.data(), n, 0.625f);
                break;
            default:
                net32::scale255<false>(in.data(), a.data(), n);
                net32::scale255<true, true>(in.data(), b.data(), n, 0.625f);
        }
        expectMatches(a, wantInt, true, std::string("scale ") + net32::isaName(isa));
        expectMatches(b, wantFloat, true, std::string("scale as float ") + net32::isaName(isa));
    }
}

template <int In, Act A>
void checkDense(std::mt19937& rng) {
    const auto in = randomTensor(rng, In, 1.0f), w = randomTensor(rng, size_t(In) * 32, 1.0f / std::sqrt(float(In))),
               b = randomTensor(rng, 32, 0.5f);
    std::vector<float> want(32, kNaN);
    ref::dense(in.data(), In, w.data(), b.data(), 32, A, want.data());
    for (Isa isa : kIsas) {
        if (!net32::isaAvailable(isa)) continue;
        std::vector<float> got(32, kNaN);
        switch (isa) {
            case Isa::kSse2: net32::dense32<In, A, Isa::kSse2>(in.data(), w.data(), b.data(), got.data()); break;
            case Isa::kAvx2: net32::dense32<In, A, Isa::kAvx2>(in.data(), w.data(), b.data(), got.data()); break;
            case Isa::kAvx512: net32::dense32<In, A, Isa::kAvx512>(in.data(), w.data(), b.data(), got.data()); break;
            default: net32::dense32<In, A>(in.data(), w.data(), b.data(), got.data());
        }
        expectMatches(got, want, !fusesMultiplyAdd(isa == Isa::kBest ? net32::bestIsa() : isa), std::string("dense ") + net32::isaName(isa) + " " + std::to_string(In));
    }
}

TEST(Net32Dense, MatchesThePlainLoopOnEveryShape) {
    std::mt19937 rng(11);
    checkDense<96, Act::kReluNanToZero>(rng);
    checkDense<5, Act::kReluNanToZero>(rng);
    checkDense<512, Act::kRelu>(rng);
}

}  // namespace
