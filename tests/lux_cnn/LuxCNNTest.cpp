#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "models/lux_cnn/LuxCNN.h"
#include "models/lux_cnn/LuxCNNTables.h"
#include "models/lux_cnn/LuxCNNWeights.h"
#include "tests/light_regression/GoldenFile.h"
#include "tests/lux_cnn/TestPatterns.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Tensors.h"
#include "tests/support/TestEnv.h"
#include "tools/modelgen/Sha256.h"

namespace {

struct PredictCase {
    const char* kind;
    unsigned seed;
    int lcm;
    int mode;
    double out[4];
};
#include "tests/lux_cnn/LuxCNNGolden.inc"

namespace w = lux_cnn_weights;

// ---- Layers with seeded weights against the float64 reference.

class Layers : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(golden.tensors.size(), 8u);
        LuxCNN& m = *model;
        const float** slots[10] = {&m.conv0Kernel, &m.conv0Bias, &m.conv1Kernel,  &m.conv1Bias,  &m.conv2Kernel,
                                   &m.conv2Bias,   &m.dense1Matrix, &m.dense1Bias, &m.dense2Matrix, &m.dense2Bias};
        for (int k = 0; k < 10; ++k) *slots[k] = net.table[k].data();
        std::memcpy(m.input, net.input.data(), sizeof m.input);
    }
    static std::vector<float> relu(std::vector<float> v) {
        for (float& x : v) x = std::max(x, 0.0f);
        return v;
    }
    const lrtest::GoldenFile golden{sctest::sourceDir() + "/tests/lux_cnn/lux_cnn_layers_golden.safetensors"};
    const luxtest::TestNet net = luxtest::testNet(7);
    std::unique_ptr<LuxCNN> model{new LuxCNN()};
};

TEST_F(Layers, EachLayerMatchesTheReference) {
    LuxCNN& m = *model;
    sctest::fillNaN(m.conv0Out);
    m.layer_0(m.input, m.conv0Out);
    sctest::expectNear(&m.conv0Out[0][0][0], golden["conv0"], 50 * 50 * 32, "layer_0");
    m.layer_1(m.conv0Out);
    sctest::expectNear(&m.conv0Out[0][0][0], relu(golden["conv0"]), 50 * 50 * 32, "layer_1");
    sctest::fillNaN(m.pool0Out);
    m.layer_2(m.conv0Out, m.pool0Out);
    sctest::expectNear(&m.pool0Out[0][0][0], golden["pool0"], 25 * 25 * 32, "layer_2");
    sctest::fillNaN(m.conv1Out);
    m.layer_3(m.pool0Out, m.conv1Out);
    sctest::expectNear(&m.conv1Out[0][0][0], golden["conv1"], 23 * 23 * 32, "layer_3");
    m.layer_4(m.conv1Out);
    sctest::fillNaN(m.pool1Out);
    m.layer_5(m.conv1Out, m.pool1Out);
    sctest::expectNear(&m.pool1Out[0][0][0], golden["pool1"], 11 * 11 * 32, "layer_5");
    sctest::fillNaN(m.conv2Out);
    m.layer_6(m.pool1Out, m.conv2Out);
    sctest::expectNear(&m.conv2Out[0][0][0], golden["conv2"], 9 * 9 * 32, "layer_6");
    m.layer_7(m.conv2Out);
    sctest::fillNaN(m.pool2Out);
    m.layer_8(m.conv2Out, m.pool2Out);
    sctest::expectNear(&m.pool2Out[0][0][0], golden["pool2"], 4 * 4 * 32, "layer_8");
    sctest::fillNaN(m.flat);
    m.layer_9(m.pool2Out, m.flat);
    sctest::expectNear(m.flat, golden["pool2"], 512, "layer_9");
    sctest::fillNaN(m.hidden);
    m.layer_10(m.flat, m.hidden);
    sctest::expectNear(m.hidden, golden["hidden"], 32, "layer_10");
    sctest::fillNaN(m.output);
    m.layer_11(m.hidden, m.output);
    sctest::expectNear(m.output, golden["output"], 4, "layer_11");

    // The forward pass fuses activations and skips the cells the poolings
    // drop: it must give the bits of the layers run in order. Bands outside
    // the table keep the current (test) set.
    const std::vector<float> layered(m.output, m.output + LuxCNN::kOutputs);
    for (int band : {3, 17, -1}) {
        sctest::fillNaN(m.output);
        EXPECT_EQ(m.real_model_predict(m.input, band, 0), layered[0]);
        EXPECT_EQ(std::vector<float>(m.output, m.output + LuxCNN::kOutputs), layered) << band;
    }
}

// ---- Weight selection.

TEST(LuxCNNWeights, ModeAndBandPickTheirSet) {
    const float* expected[3][3] = {
        {&w::mode0_band0_conv0_kernel[0][0][0][0], &w::mode0_band1_conv0_kernel[0][0][0][0],
         &w::mode0_band2_conv0_kernel[0][0][0][0]},
        {&w::mode1_band0_conv0_kernel[0][0][0][0], &w::mode1_band1_conv0_kernel[0][0][0][0],
         &w::mode1_band2_conv0_kernel[0][0][0][0]},
        {&w::mode2_band0_conv0_kernel[0][0][0][0], &w::mode2_band1_conv0_kernel[0][0][0][0],
         &w::mode2_band2_conv0_kernel[0][0][0][0]}};
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    static float input[101][101][4];
    for (int mode : {0, 1, 2, 7, -3}) {
        for (int band = 0; band < 3; ++band) {
            model->real_model_predict(input, band, mode);
            const int m = (mode == 1 || mode == 2) ? mode : 0;
            EXPECT_EQ(model->conv0Kernel, expected[m][band]) << "mode " << mode << " band " << band;
        }
    }
    EXPECT_EQ(model->dense2Bias, w::mode0_band2_dense2_bias);
    EXPECT_EQ(model->dense1Matrix, &w::mode0_band2_dense1_matrix[0][0]);
}

TEST(LuxCNNWeights, FirstCallWithoutBandFallsBackToBandZero) {
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    static float input[101][101][4];
    sctest::LogCapture log;
    model->real_model_predict(input, 5, 1);
    EXPECT_EQ(model->conv0Kernel, &w::mode1_band0_conv0_kernel[0][0][0][0]);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{"Algo_Lux_Cnn_Model: band 5 before any weight set was chosen, using band 0\n"});
}

// ---- The driver with the compiled-in data against the reference: band
// edges, the brightness channel, the pixel dump and the result lines.

class Predict : public ::testing::TestWithParam<int> {};

TEST_P(Predict, MatchesReference) {
    const PredictCase& c = kPredict[GetParam()];
    SCOPED_TRACE(std::string(c.kind) + " lcm " + std::to_string(c.lcm) + " mode " + std::to_string(c.mode));
    auto pixels = luxtest::pattern(c.kind, c.seed);
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    sctest::LogCapture log;
    const float* out = model->model_predict(pixels[0], c.lcm, c.mode);
    ASSERT_EQ(out, model->prediction);
    // The band divisor scales the network's outputs; compare relative to it.
    const double scale = c.lcm < 3105 ? 28.9896 : c.lcm < 6105 ? 122.4517 : 780.4849;
    for (int k = 0; k < 4; ++k) {
        EXPECT_NEAR(out[k], c.out[k], std::max(1e-5 * scale, 1e-5 * std::fabs(c.out[k]))) << "output " << k;
        EXPECT_GE(out[k], 0.0f);
    }

    // Every line at info priority under the library's tag.
    const std::vector<std::string> lines = log.texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion");
    EXPECT_EQ(lines.size(), log.texts().size());
    const bool black = std::string(c.kind) == "black";
    ASSERT_EQ(lines.size(), black ? 2u : 32u);
    char text[200];
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: model_predict_pixel = %d,%d,%d; lcm = %d, mode = %d\n",
                  pixels[0][0][0][0], pixels[0][0][0][1], pixels[0][0][0][2], c.lcm, c.mode);
    EXPECT_EQ(lines[lines.size() - 2], text);
    std::snprintf(text, sizeof text, "Algo_Lux_Cnn_Model: model_predict: r = %f, g = %f, b = %f, c = %f", out[0],
                  out[1], out[2], out[3]);
    EXPECT_EQ(lines.back(), text);
    if (!black) {
        // Row dumps of the top-left 30 x 30 pixels.
        for (int i = 0; i < 30; ++i) {
            std::ostringstream row;
            for (int j = 0; j < 30; ++j)
                row << "[" << i << "][" << j << "] = " << pixels[0][i][j][0] << "," << pixels[0][i][j][1] << ","
                    << pixels[0][i][j][2] << "; ";
            EXPECT_EQ(lines[i], "Algo_Lux_Cnn_Model: pexelInfo " + row.str());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Golden, Predict, ::testing::Range(0, int(sizeof kPredict / sizeof kPredict[0])));

TEST(LuxCNNPredict, PixelDumpNeedsASumOfTwoInSomeChannel) {
    std::unique_ptr<LuxCNN> model(new LuxCNN());
    auto pixels = luxtest::pattern("black", 0);
    pixels[0][60][60][1] = 1;  // green sums to 1: still black
    sctest::LogCapture log;
    model->model_predict(pixels[0], 100, 0);
    EXPECT_EQ(log.texts().size(), 2u);
    log.clear();
    pixels[0][61][60][1] = 1;
    model->model_predict(pixels[0], 100, 0);
    EXPECT_EQ(log.texts().size(), 32u);
}

// ---- Compiled-in data.

TEST(LuxCNNData, GeneratedFromTheFilesInTheRepository) {
    for (const auto& [name, sha] : {std::pair{lux_cnn_tables::kSourceName, lux_cnn_tables::kSourceSha256},
                                    std::pair{w::kSourceName, w::kSourceSha256}}) {
        std::ifstream in(sctest::sourceDir() + "/models/lux_cnn/data/" + name, std::ios::binary);
        ASSERT_TRUE(in) << name;
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        EXPECT_EQ(modelgen::sha256Hex(bytes), sha) << name;
    }
    // The name says where the weights come from: trained on simulated frames.
    EXPECT_NE(std::string(w::kSourceName).find("trained_sim"), std::string::npos);
}

TEST(LuxCNNData, LuminanceTableHitsThePanelAnchorsAndRises) {
    const float* t = lux_cnn_tables::luminance;
    for (auto [code, nits] : {std::pair{0, 0.0f}, {1, 0.0001f}, {4, 2.0f}, {3104, 28.9896f}, {6104, 122.4517f},
                              {14063, 780.4849f}})
        EXPECT_EQ(t[code], nits) << code;
    for (int i = 1; i < LuxCNN::kLuminanceCodes; ++i) ASSERT_LT(t[i - 1], t[i]) << "code " << i;
}

TEST(LuxCNNStubs, ReturnWithoutTouchingTheirArguments) {
    int cell[1][1][1] = {{{1234}}};
    LuxCNN0x8x().model_predict(cell, 1, 2);
    LuxCNNB().model_predict(cell, 1, 2);
    LuxCNNForth().model_predict(cell, 1, 2);
    LuxCNNSecond().model_predict(cell, 1, 2);
    LuxCNNThird().model_predict(nullptr, -1, -1);
    EXPECT_EQ(cell[0][0][0], 1234);
}

}  // namespace
