#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "models/lux_cnn/LuxCNN.h"
#include "models/lux_cnn/LuxCNNTables.h"
#include "models/lux_cnn/LuxCNNWeights.h"
#include "tests/lux_cnn/GoldenFile.h"
#include "tests/lux_cnn/TestPatterns.h"
#include "tests/support/LogCapture.h"
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

const float kNaNf = std::numeric_limits<float>::quiet_NaN();

void expectClose(const float* got, const std::vector<float>& want, size_t n, const char* what) {
    ASSERT_EQ(want.size(), n) << what;
    size_t bad = 0;
    for (size_t i = 0; i < n && bad < 5; ++i) {
        const double tol = std::max(1e-5, 1e-6 * std::fabs(want[i]));
        if (!(std::fabs(got[i] - want[i]) <= tol)) {
            ADD_FAILURE() << what << "[" << i << "] = " << got[i] << ", expected " << want[i];
            ++bad;
        }
    }
}

std::unique_ptr<LuxCNN> quietModel() { return std::unique_ptr<LuxCNN>(new LuxCNN()); }

// ---- Layers with seeded weights against the float64 reference.

class Layers : public ::testing::Test {
protected:
    void SetUp() override {
        golden = luxtest::readGolden(sctest::sourceDir() + "/tests/lux_cnn/lux_cnn_layers_golden.safetensors");
        ASSERT_EQ(golden.size(), 8u);
        net = luxtest::testNet(7);
        model = quietModel();
        useTestWeights(*model);
        std::memcpy(model->input, net.input.data(), sizeof model->input);
    }
    void useTestWeights(LuxCNN& m) {
        m.conv0Kernel = net.table[0].data();
        m.conv0Bias = net.table[1].data();
        m.conv1Kernel = net.table[2].data();
        m.conv1Bias = net.table[3].data();
        m.conv2Kernel = net.table[4].data();
        m.conv2Bias = net.table[5].data();
        m.dense1Matrix = net.table[6].data();
        m.dense1Bias = net.table[7].data();
        m.dense2Matrix = net.table[8].data();
        m.dense2Bias = net.table[9].data();
    }
    static std::vector<float> relu(std::vector<float> v) {
        for (float& x : v) x = std::max(x, 0.0f);
        return v;
    }
    template <typename T>
    static void poison(T& buffer) {
        std::fill_n(reinterpret_cast<float*>(&buffer), sizeof buffer / sizeof(float), kNaNf);
    }
    std::map<std::string, std::vector<float>> golden;
    luxtest::TestNet net;
    std::unique_ptr<LuxCNN> model;
};

TEST_F(Layers, EachLayerMatchesTheReference) {
    LuxCNN& m = *model;
    poison(m.conv0Out);
    m.layer_0(m.input, m.conv0Out);
    expectClose(&m.conv0Out[0][0][0], golden["conv0"], 50 * 50 * 32, "layer_0");
    m.layer_1(m.conv0Out);
    expectClose(&m.conv0Out[0][0][0], relu(golden["conv0"]), 50 * 50 * 32, "layer_1");
    poison(m.pool0Out);
    m.layer_2(m.conv0Out, m.pool0Out);
    expectClose(&m.pool0Out[0][0][0], golden["pool0"], 25 * 25 * 32, "layer_2");
    poison(m.conv1Out);
    m.layer_3(m.pool0Out, m.conv1Out);
    expectClose(&m.conv1Out[0][0][0], golden["conv1"], 23 * 23 * 32, "layer_3");
    m.layer_4(m.conv1Out);
    poison(m.pool1Out);
    m.layer_5(m.conv1Out, m.pool1Out);
    expectClose(&m.pool1Out[0][0][0], golden["pool1"], 11 * 11 * 32, "layer_5");
    poison(m.conv2Out);
    m.layer_6(m.pool1Out, m.conv2Out);
    expectClose(&m.conv2Out[0][0][0], golden["conv2"], 9 * 9 * 32, "layer_6");
    m.layer_7(m.conv2Out);
    poison(m.pool2Out);
    m.layer_8(m.conv2Out, m.pool2Out);
    expectClose(&m.pool2Out[0][0][0], golden["pool2"], 4 * 4 * 32, "layer_8");
    poison(m.flat);
    m.layer_9(m.pool2Out, m.flat);
    expectClose(m.flat, golden["pool2"], 512, "layer_9");
    poison(m.hidden);
    m.layer_10(m.flat, m.hidden);
    expectClose(m.hidden, golden["hidden"], 32, "layer_10");
    poison(m.output);
    m.layer_11(m.hidden, m.output);
    expectClose(m.output, golden["output"], 4, "layer_11");
}

TEST_F(Layers, BandsOutsideTheTableKeepTheCurrentSet) {
    for (int band : {3, 17, -1}) {
        SCOPED_TRACE(band);
        poison(model->output);
        const float first = model->real_model_predict(model->input, band, 0);
        EXPECT_EQ(model->conv0Kernel, net.table[0].data());
        EXPECT_EQ(model->dense2Bias, net.table[9].data());
        expectClose(model->output, golden["output"], 4, "output");
        EXPECT_EQ(first, model->output[0]);
    }
}

// ---- Weight selection.

TEST(LuxCNNWeights, ModeAndBandPickTheirSet) {
    namespace w = lux_cnn_weights;
    const float* expected[3][3] = {
        {&w::mode0_band0_conv0_kernel[0][0][0][0], &w::mode0_band1_conv0_kernel[0][0][0][0],
         &w::mode0_band2_conv0_kernel[0][0][0][0]},
        {&w::mode1_band0_conv0_kernel[0][0][0][0], &w::mode1_band1_conv0_kernel[0][0][0][0],
         &w::mode1_band2_conv0_kernel[0][0][0][0]},
        {&w::mode2_band0_conv0_kernel[0][0][0][0], &w::mode2_band1_conv0_kernel[0][0][0][0],
         &w::mode2_band2_conv0_kernel[0][0][0][0]}};
    auto model = quietModel();
    std::unique_ptr<luxtest::Patch[]> zeros = luxtest::pattern("black", 0);
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
    auto model = quietModel();
    static float input[101][101][4];
    sctest::LogCapture log;
    model->real_model_predict(input, 5, 1);
    EXPECT_EQ(model->conv0Kernel, &lux_cnn_weights::mode1_band0_conv0_kernel[0][0][0][0]);
    EXPECT_EQ(log.texts(),
              std::vector<std::string>{"Algo_Lux_Cnn_Model: band 5 before any weight set was chosen, using band 0\n"});
}

// ---- The driver with the compiled-in data, against the reference.

class Predict : public ::testing::TestWithParam<int> {};

TEST_P(Predict, MatchesReference) {
    const PredictCase& c = kPredict[GetParam()];
    SCOPED_TRACE(std::string(c.kind) + " lcm " + std::to_string(c.lcm) + " mode " + std::to_string(c.mode));
    auto pixels = luxtest::pattern(c.kind, c.seed);
    auto model = quietModel();
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

TEST(LuxCNNPredict, BandEdgesAndBrightnessChannel) {
    struct Edge {
        int lcm, band;
        float level;  // brightness channel of the network input
    };
    const float* table = lux_cnn_tables::luminance;
    const Edge edges[] = {{3104, 0, 28.9896f / 28.9896f},
                          {3105, 1, table[3105] / static_cast<float>(122.4517)},
                          {6104, 1, 122.4517f / static_cast<float>(122.4517)},
                          {6105, 2, table[6105] / static_cast<float>(780.4849)},
                          {14063, 2, 1.0f},
                          {14064, 0, 0.0f},
                          {-7, 0, 0.0f}};
    namespace w = lux_cnn_weights;
    const float* band0[] = {&w::mode0_band0_conv0_kernel[0][0][0][0], &w::mode0_band1_conv0_kernel[0][0][0][0],
                            &w::mode0_band2_conv0_kernel[0][0][0][0]};
    auto model = quietModel();
    auto pixels = luxtest::pattern("noise", 3);
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    for (const Edge& e : edges) {
        SCOPED_TRACE(e.lcm);
        model->model_predict(pixels[0], e.lcm, 0);
        EXPECT_EQ(model->conv0Kernel, band0[e.band]);
        EXPECT_EQ(model->input[0][0][3], e.level);
        EXPECT_EQ(model->input[100][100][3], e.level);
        EXPECT_EQ(model->input[7][9][1], static_cast<float>(pixels[0][7][9][1] / 255.0));
    }
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
}

TEST(LuxCNNPredict, PixelDumpNeedsASumOfTwoInSomeChannel) {
    auto model = quietModel();
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

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

TEST(LuxCNNData, GeneratedFromTheFilesInTheRepository) {
    const std::string dir = sctest::sourceDir() + "/models/lux_cnn/data/";
    const std::string tables = slurp(dir + lux_cnn_tables::kSourceName);
    const std::string weights = slurp(dir + lux_cnn_weights::kSourceName);
    ASSERT_FALSE(tables.empty());
    ASSERT_FALSE(weights.empty());
    EXPECT_EQ(modelgen::sha256Hex(std::vector<uint8_t>(tables.begin(), tables.end())), lux_cnn_tables::kSourceSha256);
    EXPECT_EQ(modelgen::sha256Hex(std::vector<uint8_t>(weights.begin(), weights.end())),
              lux_cnn_weights::kSourceSha256);
    // The name says where the weights come from: trained on simulated frames.
    EXPECT_NE(std::string(lux_cnn_weights::kSourceName).find("trained_sim"), std::string::npos);
}

TEST(LuxCNNData, LuminanceTableHitsThePanelAnchorsAndRises) {
    const float* t = lux_cnn_tables::luminance;
    EXPECT_EQ(t[0], 0.0f);
    EXPECT_EQ(t[1], 0.0001f);
    EXPECT_EQ(t[4], 2.0f);
    EXPECT_EQ(t[3104], 28.9896f);
    EXPECT_EQ(t[6104], 122.4517f);
    EXPECT_EQ(t[14063], 780.4849f);
    for (int i = 1; i < LuxCNN::kLuminanceCodes; ++i) ASSERT_LT(t[i - 1], t[i]) << "code " << i;
}

TEST(LuxCNNData, WeightMapsAreNormalisedSpotsNearTheMiddle) {
    const float(*maps[3])[101] = {lux_cnn_tables::mode0_weight_map, lux_cnn_tables::mode1_weight_map,
                                  lux_cnn_tables::mode2_weight_map};
    for (int m = 0; m < 3; ++m) {
        double sum = 0.0;
        int peakRow = 0, peakCol = 0;
        for (int r = 0; r < 101; ++r)
            for (int c = 0; c < 101; ++c) {
                sum += maps[m][r][c];
                if (maps[m][r][c] > maps[m][peakRow][peakCol]) peakRow = r, peakCol = c;
            }
        EXPECT_NEAR(sum, 1.0, 1e-5) << "mode " << m;
        EXPECT_NEAR(peakRow, 50, 1) << "mode " << m;
        EXPECT_NEAR(peakCol, 50, 1) << "mode " << m;
    }
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
