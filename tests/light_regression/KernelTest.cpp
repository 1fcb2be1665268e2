// The fixed-channel convolution must give the generic loop's bits exactly.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "models/light_regression/Kernels.h"

using namespace light_regression;

namespace {

struct ConvShape {
    int inRows, inCols, inCh, stride;
};

class FixedChannelConv : public ::testing::TestWithParam<ConvShape> {};

TEST_P(FixedChannelConv, MatchesGenericLoopBitForBit) {
    const ConvShape s = GetParam();
    const int outRows = (s.inRows - 3) / s.stride + 1, outCols = (s.inCols - 3) / s.stride + 1;
    std::mt19937 rng(s.inRows * 100 + s.inCh);
    std::normal_distribution<float> d(0.0f, 1.0f);
    auto fill = [&](size_t n) {
        std::vector<float> v(n);
        for (float& x : v) x = d(rng);
        return v;
    };
    const std::vector<float> in = fill(size_t(s.inRows) * s.inCols * s.inCh), kernel = fill(9 * s.inCh * 32),
                             bias = fill(32);
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
