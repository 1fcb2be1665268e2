#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include "param/Rectify.h"
#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

namespace rectify = android::sensorconfig::rectify;
using Delta = Store::ChannelsDelta;
using Pixels = Store::PixelsInfo;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kTag = "_Z_ZSensorFusion";

// ---- Lookup names ----------------------------------------------------------

struct NameCase {
    int acl, mode, light, display, dc;
    bool acl3, dcFeature;
    const char* name;
};

class LookupNames : public StoreTest, public ::testing::WithParamInterface<NameCase> {};

TEST_P(LookupNames, ClampedDigits) {
    const NameCase& c = GetParam();
    store().mSupportAcl3 = c.acl3;
    store().mSupportDcFeature = c.dcFeature;
    logs->clear();
    EXPECT_EQ(store().getParamMode4UnderDisplayLight(c.acl, c.mode, c.light, c.display, c.dc), c.name);
    const bool xdr = c.mode == 3 || c.mode == 5;
    EXPECT_EQ(logs->texts(), xdr ? Lines{std::string("UL:  xdr use current_parammode ") + c.name} : Lines{});
}

INSTANTIATE_TEST_SUITE_P(
        Cases, LookupNames,
        ::testing::Values(NameCase{0, 0, 0, 0, 0, false, true, "param00000"}, NameCase{1, 4, 0, 1, 1, false, true, "param14011"},
                          NameCase{2, 1, 0, 0, 0, false, true, "param11000"}, NameCase{-1, 1, 0, 0, 0, false, true, "param11000"},
                          NameCase{3, 2, 0, 0, 0, false, true, "param12000"}, NameCase{3, 2, 0, 0, 0, true, true, "param32000"},
                          NameCase{1, 5, 0, 0, 1, false, true, "param05000"}, NameCase{3, 3, 1, 0, 1, true, true, "param03100"},
                          NameCase{1, 12, 0, 0, 0, false, true, "param10000"}, NameCase{1, -1, 10, -2, 0, false, true, "param10000"},
                          NameCase{0, 0, 9, 9, 7, false, true, "param00991"}, NameCase{0, 0, 0, 0, 1, false, false, "param00000"}));

// The last found name is remembered; a missing mode logs both lines each time.
TEST_F(StoreTest, LookupRemembersTheLastFoundMode) {
    writeMode("param14011");
    store().underDisplayParamParseOneMode("param14011");
    for (int i = 0; i < 2; ++i) {
        logs->clear();
        EXPECT_EQ(store().getCurrentUnderDisplayLightParamMode(2, 12, 0, 0, 1), nullptr);
        EXPECT_EQ(logs->texts(), (Lines{"UL: getCurrentUnderDisplayLightParamMode = param10001",
                                        "UL: RGBParam is null! ACL = 2, displaymode = 12, light_ic = 0, "
                                        "display_ic = 0, dcmode = 1"}));
    }
    EXPECT_EQ(store().mCurrentParamMode, "null");
    logs->clear();
    EXPECT_EQ(store().getCurrentUnderDisplayLightParamMode(1, 4, 0, 1, 1), store().mParamModes.at("param14011"));
    EXPECT_EQ(store().getCurrentUnderDisplayLightParamMode(4, 4, 0, 1, 7), store().mParamModes.at("param14011"));
    EXPECT_EQ(store().mCurrentParamMode, "param14011");
    EXPECT_EQ(logs->texts(ANDROID_LOG_DEBUG, kTag), Lines{"UL: getCurrentUnderDisplayLightParamMode = param14011"});
}

// ---- One evaluation against the independent reference ----------------------

Json::Value loadGolden() {
    std::ifstream in(sctest::sourceDir() + "/tests/param/data/rectify_golden.json");
    std::stringstream text;
    text << in.rdbuf();
    return parse(text.str());
}

std::unique_ptr<Info> infoFrom(const Json::Value& v) {
    std::unique_ptr<Info> info(new Info{});
    for (int s = 0; s < 7; ++s) info->goldenValue[s] = v["goldenValue"][s].asInt();
    for (int s = 0; s < 6; ++s) info->paramSection[s] = v["paramSection"][s].asInt();
    double (*tables[])[7] = {info->red, info->green, info->blue, info->ir};
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k)
        for (int t = 0; t < 56; ++t)
            for (int s = 0; s < 7; ++s) tables[k][t][s] = v[keys[k]][t][s].asDouble();
    return info;
}

void expectNear(double actual, double reference, const std::string& what) {
    double tol = std::max(1e-5, 1e-6 * std::fabs(reference));
    EXPECT_NEAR(actual, reference, tol) << what;
}

TEST_F(StoreTest, EvaluationMatchesTheReference) {
    Json::Value golden = loadGolden();
    std::vector<std::unique_ptr<Info>> infos;
    for (const Json::Value& v : golden["infos"]) infos.push_back(infoFrom(v));
    int evaluated = 0;
    for (const Json::Value& c : golden["cases"]) {
        Pixels px{c["r"].asInt(), c["g"].asInt(), c["b"].asInt()};
        Delta d{kNaN, kNaN, kNaN, kNaN};
        int g = -12345;
        store().calcRecitifyParamDeltaByBrRGB(infos[c["info"].asInt()].get(), c["br"].asInt(), &px, &d, g);
        std::string what = compact(c);
        if (!c["evaluated"].asBool()) {
            EXPECT_TRUE(std::isnan(d.deltaR) && std::isnan(d.deltaC)) << what;
            EXPECT_EQ(g, -12345) << what;
            continue;
        }
        ++evaluated;
        EXPECT_EQ(g, c["golden"].asInt()) << what;
        double got[4] = {d.deltaR, d.deltaG, d.deltaB, d.deltaC};
        for (int k = 0; k < 4; ++k) {
            expectNear(got[k], c["delta"][k].asDouble(), what);
            EXPECT_FALSE(std::signbit(got[k])) << what;  // clamped sums are +0.0
        }
    }
    EXPECT_GT(evaluated, 40);
}

// Negative sums, negative zero and NaN (inf - inf) all give +0.0.
TEST_F(StoreTest, NegativeAndNaNSumsClampToPositiveZero) {
    const double inf = std::numeric_limits<double>::infinity();
    Info info{};
    info.red[0][0] = -1.0;
    info.green[0][0] = -0.0;
    info.blue[0][0] = inf;
    info.blue[1][0] = -inf;
    info.ir[0][0] = 2.5;
    Pixels px{1, 0, 0};
    Delta d{kNaN, kNaN, kNaN, kNaN};
    int g = 0;
    store().calcRecitifyParamDeltaByBrRGB(nullptr, 0, &px, &d, g);  // no mode: nothing written
    EXPECT_TRUE(std::isnan(d.deltaR));
    store().calcRecitifyParamDeltaByBrRGB(&info, 0, &px, &d, g);
    for (double v : {d.deltaR, d.deltaG, d.deltaB}) EXPECT_TRUE(v == 0.0 && !std::signbit(v));
    EXPECT_EQ(d.deltaC, 2.5);
}

// ---- Same bits as the term-by-term evaluation --------------------------------

// Coefficients scaled to each term's size. With `only` set, that term alone
// and positive, so that a last-bit difference in its powers is lost neither
// in the sum nor in the clamp.
void randomInfo(std::mt19937_64& rng, Info* info, int only = -1) {
    std::uniform_real_distribution<double> coef(-1.0, 1.0);
    std::uniform_int_distribution<int> bound(0, 14063);
    for (int s = 0; s < 6; ++s) info->paramSection[s] = bound(rng);
    std::sort(info->paramSection, info->paramSection + 6);
    for (int s = 0; s < 7; ++s) info->goldenValue[s] = 1 + bound(rng) % 2000;
    for (auto* table : {info->red, info->green, info->blue, info->ir})
        for (int t = 0; t < 56; ++t) {
            double scale = std::pow(10.0, -2.0 * (rectify::sRecitifyExponent[t][0] + rectify::sRecitifyExponent[t][1] +
                                                  rectify::sRecitifyExponent[t][2]) -
                                                  3.0 * rectify::sRecitifyExponent[t][3]);
            for (int s = 0; s < 7; ++s)
                table[t][s] = only < 0 ? coef(rng) * scale : t == only ? std::fabs(coef(rng)) : 0.0;
        }
}

int randomChannel(std::mt19937_64& rng) {
    // Mostly the usual 8-bit range, sometimes far beyond it (products no longer exact).
    switch (rng() % 8) {
        case 0: return 0;
        case 1: return static_cast<int>(rng() % 2000000000) - 1000000000;
        case 2: return static_cast<int>(rng() % 100000000);
        default: return static_cast<int>(rng() % 256);
    }
}

uint64_t bits(double v) {
    uint64_t b;
    std::memcpy(&b, &v, sizeof(b));
    return b;
}

TEST_F(StoreTest, EvaluationIsBitIdenticalToTermByTerm) {
    std::mt19937_64 rng(7);
    std::unique_ptr<Info> info(new Info{});
    for (int round = 0; round < 200; ++round) {
        randomInfo(rng, info.get(), round % 4 == 0 ? static_cast<int>(rng() % 56) : -1);
        for (int n = 0; n < 100; ++n) {
            Pixels px{randomChannel(rng), randomChannel(rng), randomChannel(rng)};
            if (px.r == 0 && px.g == 0 && px.b == 0) px.g = 1;
            int br = rng() % 4 == 0 ? static_cast<int>(rng() % 100000) : static_cast<int>(rng() % 14064);
            Delta d{kNaN, kNaN, kNaN, kNaN};
            int g = 0;
            store().calcRecitifyParamDeltaByBrRGB(info.get(), br, &px, &d, g);
            double ref[4];
            rectify::sumsByTerm(*info, rectify::sectionOf(*info, br), px.r, px.g, px.b, br, ref);
            double got[4] = {d.deltaR, d.deltaG, d.deltaB, d.deltaC};
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ(bits(got[k]), bits(rectify::clampBelowZero(ref[k])))
                        << "r=" << px.r << " g=" << px.g << " b=" << px.b << " br=" << br << " output " << k;
        }
    }
}

class WeightedForm : public StoreTest {
protected:
    // Installs a mode for the current globals and a grid for IC pair (0, 0).
    Info* install(std::unique_ptr<Info> info, const std::vector<std::vector<float>>& grid) {
        Info* raw = info.release();
        store().mParamModes["param00000"] = raw;
        store().mDeltaWeights["param00000"] = grid;
        return raw;
    }
    Delta run(const android::Vector<int>& pixels) {
        Delta d{kNaN, kNaN, kNaN, kNaN};
        store().calcRecitifyParamDeltaByBrRGBWeight(pixels, 0, 0, &d);
        return d;
    }
    static android::Vector<int> vec(const std::vector<int>& v) {
        android::Vector<int> out;
        for (int x : v) out.push_back(x);
        return out;
    }
};

TEST_F(WeightedForm, MatchesTheReference) {
    Json::Value golden = loadGolden();
    icScopeWidth = golden["width"].asInt();
    icScopeHeight = golden["height"].asInt();
    std::vector<int> px;
    for (const Json::Value& v : golden["pixels"]) px.push_back(v.asInt());
    android::Vector<int> pixels = vec(px);
    for (const Json::Value& c : golden["weighted"]) {
        rebuildStore();
        std::vector<std::vector<float>> grid;
        for (const Json::Value& row : c["grid"]) {
            grid.emplace_back();
            for (const Json::Value& w : row) grid.back().push_back(w.asFloat());
        }
        install(infoFrom(golden["infos"][c["info"].asInt()]), grid);
        for (int i = 0; i < 3; ++i) pixelsEyeRatio[i] = c["ratio"][i].asDouble();
        brightness = c["br"].asInt();
        Delta d = run(pixels);
        double got[4] = {d.deltaR, d.deltaG, d.deltaB, d.deltaC};
        for (int k = 0; k < 4; ++k) expectNear(got[k], c["delta"][k].asDouble(), compact(c));
    }
}

TEST_F(WeightedForm, WrongBufferSizeLeavesDeltaUntouched) {
    std::unique_ptr<Info> info(new Info{});
    install(std::move(info), {{1}});
    icScopeWidth = 10;
    icScopeHeight = 6;
    for (int size : {10 * 6 * 3 + 1, 10 * 6 * 3 - 1, 0}) {
        logs->clear();
        Delta d = run(vec(std::vector<int>(size, 1)));
        EXPECT_TRUE(std::isnan(d.deltaR));
        EXPECT_EQ(logs->texts(ANDROID_LOG_ERROR, kTag),
                  std::vector<std::string>{"pixels info error size = " + std::to_string(size) +
                                           ", icScopeWidth = 10, icScopeHeight = 10"});
    }
    // An empty or negative scope cannot be indexed, whatever the buffer holds.
    for (auto wh : {std::array<int, 2>{0, 6}, {-2, -3}}) {
        icScopeWidth = wh[0];
        icScopeHeight = wh[1];
        Delta d = run(vec(std::vector<int>(18, 1)));
        EXPECT_TRUE(std::isnan(d.deltaR));
    }
}

TEST_F(WeightedForm, NoGridGivesZerosAndRemembersTheMiss) {
    icScopeWidth = 2;
    icScopeHeight = 1;
    writeMode("param00000");
    store().underDisplayParamParseOneMode("param00000");
    brightness = 321;
    logs->clear();
    Delta d = run(vec({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(d.deltaR, 0.0);
    EXPECT_EQ(d.deltaC, 0.0);
    EXPECT_EQ(logs->texts(), (std::vector<std::string>{
                                     "UL: getCurrentUnderDisplayLightParamMode = param00000",
                                     "UL: getOneModeDeltaWeight lightIC = 0, displayIC = 0 is null",
                                     "UL: calc weight br = 321, lightid = 0, displayid = 0, rgbc delta = 0.000000, "
                                     "0.000000, 0.000000, 0.000000"}));
    EXPECT_EQ(store().mDeltaWeights.count("param00000"), 1u);
    // A grid but no mode for the state: zeros after the null-mode line.
    store().mDeltaWeights["param00000"] = {{1, 1}};
    ACL = displayColorMode = 1;
    logs->clear();
    d = run(vec({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(d.deltaR, 0.0);
    EXPECT_TRUE(logs->contains("UL: RGBParam is null! ACL = 1, displaymode = 1, light_ic = 0, display_ic = 0, dcmode = 0"));
}

TEST_F(WeightedForm, BitIdenticalToTermByTermOverRandomCaptures) {
    std::mt19937_64 rng(11);
    for (int round = 0; round < 40; ++round) {
        rebuildStore();
        std::unique_ptr<Info> info(new Info{});
        randomInfo(rng, info.get(), round % 4 == 0 ? static_cast<int>(rng() % 56) : -1);
        const int rows = 1 + rng() % 12, cols = 1 + rng() % 12;
        std::vector<std::vector<float>> grid(rows, std::vector<float>(cols));
        for (auto& row : grid)
            for (float& w : row) w = rng() % 3 == 0 ? 0.0f : static_cast<float>(static_cast<int>(rng() % 2001) - 200) / 1000.0f;
        if (rng() % 2) grid[rows - 1].resize(cols / 2);  // a short last row
        Info* raw = install(std::move(info), grid);
        icScopeWidth = 1 + rng() % 60;
        icScopeHeight = 1 + rng() % 120;
        std::vector<int> px(static_cast<size_t>(icScopeWidth) * icScopeHeight * 3);
        for (int& v : px) v = rng() % 5 == 0 ? 0 : randomChannel(rng);
        for (int i = 0; i < 3; ++i) pixelsEyeRatio[i] = std::uniform_real_distribution<double>(0.5, 1.5)(rng);
        brightness = rng() % 14064;
        Delta d = run(vec(px));
        double ref[4];
        rectify::weightedSums(raw, brightness, grid, px.data(), icScopeWidth, icScopeHeight, pixelsEyeRatio,
                              rectify::ByTerm(), ref);
        double got[4] = {d.deltaR, d.deltaG, d.deltaB, d.deltaC};
        for (int k = 0; k < 4; ++k) ASSERT_EQ(bits(got[k]), bits(ref[k])) << "round " << round << " output " << k;
    }
}

}  // namespace
}  // namespace paramtest

