// The network and the driver against the numpy reference's golden vectors
// (which also pin the weight and table selection of every mode), the
// compiled-in data against its files.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "models/light_regression/LightRegression.h"
#include "tests/light_regression/GoldenFile.h"
#include "tests/light_regression/TestModel.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TestEnv.h"
#include "tools/modelgen/Sha256.h"

using namespace light_regression;

namespace {

const lrtest::GoldenFile& golden() {
    static const lrtest::GoldenFile g(lrtest::goldenPath());
    return g;
}

lrtest::ImagePtr goldenImage(int index) {
    static const char* const kNames[] = {"black", "white", "random", "gradient"};
    const std::vector<float>& v = golden()[std::string("image/") + kNames[index]];
    auto img = lrtest::makeImage();
    int* p = &(*img)[0][0][0];
    for (size_t i = 0; i < v.size(); ++i) p[i] = static_cast<int>(v[i]);
    return img;
}

class Model : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(golden().ok()) << lrtest::goldenPath(); }
    void TearDown() override { lrtest::restoreUnitTable(*model); }
    std::unique_ptr<LightRegression> model{new LightRegression()};
    sctest::LogCapture logs;
};

struct SetCase {
    const char* group;
    int mode, level;
};

class NetworkGolden : public Model, public ::testing::WithParamInterface<SetCase> {};

TEST_P(NetworkGolden, EveryWeightSetMatchesReference) {
    const std::string key = std::string("network/") + GetParam().group + "_level" + std::to_string(GetParam().level);
    std::vector<float> image = golden()["unit_image"], feats = golden()[key + "/features"];
    const std::vector<float>& want = golden()[key + "/output"];
    ASSERT_EQ(image.size(), size_t(kImageRows * kImageCols * kColours));
    ASSERT_EQ(want.size(), 5u);
    const float first = model->real_model_predict(reinterpret_cast<LightRegression::FloatImage*>(image.data()),
                                                  feats.data(), GetParam().level, GetParam().mode);
    EXPECT_EQ(first, model->mOutput[0]);
    for (int k = 0; k < 5; ++k) EXPECT_NEAR(model->mOutput[k], want[k], lrtest::tolerance(want[k])) << k;
    EXPECT_EQ(model->mLayer1Kernel, weightSet(GetParam().mode, GetParam().level)[kLayer1Kernel]);
}

INSTANTIATE_TEST_SUITE_P(
        AllSets, NetworkGolden,
        ::testing::Values(SetCase{"mode1", 1, 1}, SetCase{"mode1", 1, 2}, SetCase{"mode1", 1, 3}, SetCase{"mode1", 1, 4},
                          SetCase{"mode2", 2, 1}, SetCase{"mode2", 2, 2}, SetCase{"mode2", 2, 3}, SetCase{"mode2", 2, 4},
                          SetCase{"other", 0, 1}, SetCase{"other", 3, 2}, SetCase{"other", 4, 3},
                          SetCase{"other", -7, 4}, SetCase{"other", 5, 5}),
        [](const auto& info) {
            return std::string(info.param.group) + "_mode" + std::to_string(info.param.mode < 0 ? 99 : info.param.mode) +
                   "_level" + std::to_string(info.param.level);
        });

class PredictGolden : public Model, public ::testing::WithParamInterface<int> {};

TEST_P(PredictGolden, DriverMatchesReference) {
    const std::string key = "predict/" + std::to_string(GetParam());
    std::vector<float> args = golden()[key + "/args"], unit = golden()[key + "/unit"];
    ASSERT_EQ(args.size(), 13u);
    ASSERT_EQ(unit.size(), 30u);
    float nblk[5], blk[5];
    std::copy(args.begin(), args.begin() + 5, nblk);
    std::copy(args.begin() + 5, args.begin() + 10, blk);
    const int lcm = int(args[10]), mode = int(args[11]);
    auto image = goldenImage(int(args[12]));
    model->initCalibration(reinterpret_cast<float(*)[2][5]>(unit.data()));

    // The corrections follow fixed float/double steps: bit for bit.
    float diff[5] = {1, 1, 1, 1, 1}, gain[5] = {1, 1, 1, 1, 1}, ratio[5];
    model->getCalibration(*image, mode, diff, gain, ratio);
    const std::vector<float>& wantDiff = golden()[key + "/diff"];
    const std::vector<float>& wantGain = golden()[key + "/gain"];
    for (int k = 0; k < 5; ++k) {
        EXPECT_EQ(diff[k], wantDiff[k]) << "color_k_diff " << k;
        EXPECT_EQ(gain[k], wantGain[k]) << "color_k_nblk " << k;
        EXPECT_EQ(ratio[k], 1.0f);
    }

    const float nblkBefore[5] = {nblk[0], nblk[1], nblk[2], nblk[3], nblk[4]};
    float* out = model->model_predict(*image, nblk, blk, lcm, mode);
    EXPECT_EQ(out, model->mOutput);
    const std::vector<float>& want = golden()[key + "/output"];
    for (int k = 0; k < 5; ++k) {
        EXPECT_NEAR(out[k], want[k], lrtest::tolerance(want[k])) << k;
        EXPECT_GE(out[k], 0.0f);
        EXPECT_EQ(nblk[k], nblkBefore[k]);  // inputs are read, never written
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, PredictGolden, ::testing::Range(0, 12));

TEST(ModelData, CompiledInDataIsTheCheckedInFiles) {
    struct {
        const char* name;
        const char* sha;
    } files[] = {{weightsSourceName(), weightsSourceSha256()}, {tablesSourceName(), tablesSourceSha256()}};
    for (const auto& f : files) {
        std::ifstream in(sctest::sourceDir() + "/models/light_regression/data/" + f.name, std::ios::binary);
        ASSERT_TRUE(in) << f.name;
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        EXPECT_EQ(modelgen::sha256Hex(bytes), f.sha) << f.name;
    }
    // The name says where the weights come from: trained on simulated frames.
    EXPECT_NE(std::string(weightsSourceName()).find("trained_sim"), std::string::npos);
}

// A level the group lacks keeps whatever the previous call selected.
TEST_F(Model, OutOfRangeLevelKeepsPreviousSet) {
    std::vector<float> image = golden()["unit_image"];
    float feats[5] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
    auto* img = reinterpret_cast<LightRegression::FloatImage*>(image.data());
    // Before any selection the model runs on the other modes' level 1.
    EXPECT_EQ(model->mLayer12Bias, weightSet(0, 1)[kLayer12Bias]);
    model->real_model_predict(img, feats, 0, 1);
    EXPECT_EQ(model->mLayer12Bias, weightSet(0, 1)[kLayer12Bias]);

    model->real_model_predict(img, feats, 3, 2);
    const float* const* mode2level3 = weightSet(2, 3);
    for (auto [mode, level] : {std::pair{1, 5}, {0, 0}, {2, -1}, {4, 6}}) {
        model->real_model_predict(img, feats, level, mode);
        EXPECT_EQ(model->mLayer1Kernel, mode2level3[kLayer1Kernel]) << mode << "/" << level;
        EXPECT_EQ(model->mLayer12Bias, mode2level3[kLayer12Bias]);
    }
}

}  // namespace
