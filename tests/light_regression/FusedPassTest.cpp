// The forward passes fuse the activations into the convolutions and skip the
// cells the poolings drop: they must give the bits of the public layers run
// in order.
#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "models/light_regression/LightRegression.h"
#include "models/lux_cnn/LuxCNN.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> randomImage(std::mt19937& rng, size_t n) {
    std::uniform_real_distribution<float> d(0.0f, 1.0f);
    std::vector<float> v(n);
    for (float& x : v) x = d(rng);
    return v;
}

TEST(FusedForwardPass, EqualsTheLayersRunInOrder) {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    std::mt19937 rng(5);
    {
        using namespace light_regression;
        std::unique_ptr<LightRegression> m(new LightRegression());
        std::vector<float> img = randomImage(rng, kImageRows * kImageCols * kColours);
        float features[kChannels] = {0.8f, 0.65f, 0.68f, 0.28f, 0.89f};
        auto* image = reinterpret_cast<LightRegression::FloatImage*>(img.data());
        m->real_model_predict(image, features, 2, 1);
        float fast[kChannels];
        std::memcpy(fast, m->mOutput, sizeof fast);
        m->layer_1(image, m->mLayer1Out);
        m->layer_2(m->mLayer1Out, m->mLayer2Out);
        m->layer_3(m->mLayer2Out, m->mLayer3Out);
        m->layer_4(m->mLayer3Out, m->mLayer4Out);
        m->layer_5(m->mLayer4Out, m->mLayer5Out);
        m->layer_6(m->mLayer5Out, m->mLayer6Out);
        m->layer_7(m->mLayer6Out, m->mLayer7Out);
        m->layer_9(m->mLayer7Out, m->mLayer9Out);
        m->layer_10(features, m->mLayer10Out);
        m->layer_11(m->mLayer9Out, m->mLayer10Out, m->mLayer11Out);
        std::fill(std::begin(m->mOutput), std::end(m->mOutput), kNaN);
        m->layer_12(m->mLayer11Out, m->mOutput);
        EXPECT_EQ(std::memcmp(fast, m->mOutput, sizeof fast), 0);
    }
    {
        std::unique_ptr<LuxCNN> m(new LuxCNN());
        std::vector<float> in = randomImage(rng, 101 * 101 * 4);
        std::memcpy(m->input, in.data(), sizeof m->input);
        m->real_model_predict(m->input, 1, 2);
        float fast[LuxCNN::kOutputs];
        std::memcpy(fast, m->output, sizeof fast);
        m->layer_0(m->input, m->conv0Out);
        m->layer_1(m->conv0Out);
        m->layer_2(m->conv0Out, m->pool0Out);
        m->layer_3(m->pool0Out, m->conv1Out);
        m->layer_4(m->conv1Out);
        m->layer_5(m->conv1Out, m->pool1Out);
        m->layer_6(m->pool1Out, m->conv2Out);
        m->layer_7(m->conv2Out);
        m->layer_8(m->conv2Out, m->pool2Out);
        m->layer_9(m->pool2Out, m->flat);
        m->layer_10(m->flat, m->hidden);
        std::fill(std::begin(m->output), std::end(m->output), kNaN);
        m->layer_11(m->hidden, m->output);
        EXPECT_EQ(std::memcmp(fast, m->output, sizeof fast), 0);
    }
}

}  // namespace
