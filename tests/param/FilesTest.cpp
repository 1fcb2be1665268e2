// Which files are read: versions, the location file and its switches, the walk.
#include "tests/support/AllocationCounter.h"
#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

TEST_F(StoreTest, ConstructionReadsOnlyTheLocalVersion) {
    writeSystem("NetworkConfig.json", R"({"localNetworkVersion": "2"})");
    writeMode("param00000");
    EXPECT_EQ(store().mLocalNetworkVersion, "2");
    EXPECT_EQ(logs->texts(), (Lines{" UL: constructor start", "mLocalNetworkVersion : 2 "}));
    EXPECT_TRUE(store().mParamModes.empty());
}

struct VersionCase {
    const char* name;
    const char* config;   // NetworkConfig.json, null: absent
    const char* version;  // the copy's "networkVersion" as JSON, null: no member
    bool copyValid, used;
};

class VersionRule : public StoreTest, public ::testing::WithParamInterface<VersionCase> {};

// The network copy of a mode carries golden values of 7777, so the choice shows.
TEST_P(VersionRule, CopyUsedExactlyOnEqualVersions) {
    const VersionCase& c = GetParam();
    if (c.config) writeSystem("NetworkConfig.json", c.config);
    writeMode("param00000");
    Json::Value copy = modeDocument("param00000");
    copy["param00000"]["param_golden_value"] = 7777;
    std::string text = compact(copy);
    if (c.version) text = "{\"networkVersion\": " + std::string(c.version) + "," + text.substr(1);
    if (!c.copyValid) text.resize(text.size() / 2);
    writeData("underlight_param00000.json", text);
    store();
    logs->clear();
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(loadedModes(), Lines{"param00000"});
    EXPECT_EQ(store().mParamModes["param00000"]->goldenValue[0], c.used ? 7777 : 100);
    EXPECT_EQ(logs->contains("/data/SensorConfig/underlight_param00000.json is valid."), c.used);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, VersionRule,
        ::testing::Values(VersionCase{"no_config_no_version", nullptr, nullptr, true, true},
                          VersionCase{"equal", R"({"localNetworkVersion": "2"})", "\"2\"", true, true},
                          VersionCase{"no_order_2_vs_10", R"({"localNetworkVersion": "2"})", "\"10\"", true, false},
                          VersionCase{"bytes_not_numbers", R"({"localNetworkVersion": "2"})", "\"02\"", true, false},
                          VersionCase{"copy_without_version", R"({"localNetworkVersion": "2"})", nullptr, true, false},
                          VersionCase{"number_reads_as_text", R"({"localNetworkVersion": "2"})", "2", true, true},
                          VersionCase{"copy_not_json", R"({"localNetworkVersion": "2"})", "\"2\"", false, false},
                          VersionCase{"config_truncated", R"({"localNetworkVersion": "2")", nullptr, true, true}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, LocationCopyIsChosenByVersionToo) {
    writeSystem("NetworkConfig.json", R"({"localNetworkVersion": "5"})");
    writeLocation(R"({"supportSecondLight": 1})");
    for (const char* v : {"5", "6"}) {
        writeData("underlight_paramlocation.json",
                  std::string("{\"networkVersion\": \"") + v + "\", \"paramlocation\": {\"supportSecondLight\": 3}}");
        store().parseLightLocation("NULL");
        EXPECT_EQ(store().mLightIcNum, v[0] == '5' ? 3 : 1);
    }
}

// Switch values are read in BadInputTest; here the one switch made of key names.
TEST_F(StoreTest, RegionKeysAskForTheCompatibleRectangle) {
    const std::pair<const char*, int> cases[] = {{"{}", 0},
                                                 {R"({"a_domestic": 0, "b_overseas": 0})", 1},  // logged once
                                                 {R"({"domestic": 0})", 1},
                                                 {R"({"x_Overseas": 0})", 0}};
    for (const auto& c : cases) {
        writeLocation(c.first);
        logs->clear();
        store().parseLightLocation("NULL");
        EXPECT_EQ(store().mIsNeedCompatible, c.second) << c.first;
        EXPECT_EQ(logs->texts(ANDROID_LOG_DEBUG, "_Z_ZSensorFusion"),
                  c.second ? Lines{"UL: isNeedCompatible =  1"} : Lines{})
                << c.first;
    }
}

// Rectangles: four integers, a short array zero-filled, a long one cut.
TEST_F(StoreTest, RectanglesAndSummaryLines) {
    writeLocation(R"({"sensordisplaylocation": [1, 2, 3, 4], "sensordisplaylocationlightB": [10, 20],
                      "sensordisplaylocationlightC": [9, 8, 7, 6, 5], "k_2": [-1, 0, 0, 7], "notmSupportDcFeature": 1,
                      "supportSecondLight": 2, "supportSecondDisplay": 1, "isNeedCalIcLocationPixel": 1,
                      "supportWeightDelta": 1, "x_domestic": 0})");
    store();
    logs->clear();
    Store::UnderLightRect a{}, b{}, c{}, compat{};
    store().getCurrentUnderDisplayLightRectCompatible("k_", 2, &compat);
    store().getCurrentUnderDisplayLightRect(&a);
    store().getCurrentUnderDisplayRectLightB(&b);
    store().getCurrentUnderDisplayRectLightC(&c);
    EXPECT_EQ(store().mCompatibleKey, "k_2");
    EXPECT_EQ((std::array<int, 16>{a.coords[0], a.coords[1], a.coords[2], a.coords[3], b.coords[0], b.coords[1],
                                   b.coords[2], b.coords[3], c.coords[0], c.coords[1], c.coords[2], c.coords[3],
                                   compat.coords[0], compat.coords[1], compat.coords[2], compat.coords[3]}),
              (std::array<int, 16>{1, 2, 3, 4, 10, 20, 0, 0, 9, 8, 7, 6, -1, 0, 0, 7}));
    EXPECT_EQ(logs->texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion"),
              (Lines{"UL: parseLightLocation mRect[1, 2, 3, 4] mRectLightB[10, 20, 0, 0] mRectLightC[9, 8, 7, 6] "
                     "mRectDpiCompatible[-1, 0, 0, 7]",
                     "UL: parseLightLocation mSupportDcFeature = 0, mLightIcNum = 2, mDisplayIcNum = 1, "
                     "mIsNeedLocationCalculator = 1, mIsNeedCompatible = 1, mSupportDeltaWeights = 1"}));
}

// ---- The walk ---------------------------------------------------------------

Lines walked(const sctest::LogCapture& logs) {
    Lines names;
    const std::string p = "UL: UnderDisplayParamParseOneMode ", s = " start";
    for (const std::string& t : logs.texts())
        if (t.rfind(p, 0) == 0 && t.size() > p.size() + s.size() && t.compare(t.size() - s.size(), s.size(), s) == 0)
            names.push_back(t.substr(p.size(), t.size() - p.size() - s.size()));
    return names;
}

struct WalkCase {
    const char* name;
    const char* paramlocation;
    Lines expected;  // in walk order
};

class Walk : public StoreTest, public ::testing::WithParamInterface<WalkCase> {};

TEST_P(Walk, VisitsExactlyTheAllowedNamesInOrder) {
    writeLocation(GetParam().paramlocation);
    for (const std::string& m : GetParam().expected) writeMode(m);
    for (const std::string& m : walkNames(true, true, 1, 1)) writeMode(m);  // decoys
    writeMode("param20000");
    store();
    logs->clear();
    EXPECT_EQ(store().underDisplayParamParaseAllMode(), 0);
    EXPECT_EQ(walked(*logs), GetParam().expected);
    EXPECT_TRUE(store().mAllModeParsed);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, Walk,
        ::testing::Values(WalkCase{"defaults_24", "{}", walkNames(false, true, 0, 0)},
                          WalkCase{"no_dc", R"({"notmSupportDcFeature": 1})", walkNames(false, false, 0, 0)},
                          WalkCase{"two_digit_ic", R"({"supportSecondLight": 10, "notmSupportDcFeature": 1})",
                                   walkNames(false, false, 10, 0)},
                          WalkCase{"all", R"({"supportSecondLight": 1, "supportSecondDisplay": 1, "supportAcl3": 1})",
                                   walkNames(true, true, 1, 1)},
                          WalkCase{"negative_light", R"({"supportSecondLight": -1})", {}},
                          WalkCase{"negative_display", R"({"supportSecondDisplay": -3})", {}}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, CorruptIcCountIsWalkedOnlyUpToTwoDigits) {
    writeLocation(R"({"supportSecondLight": 2000000000, "notmSupportDcFeature": 1})");
    writeMode("param009900");
    writeMode("param0010000");
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(loadedModes(), Lines{"param009900"});
    EXPECT_TRUE(logs->contains(
            "UL: supportSecondLight = 2000000000, supportSecondDisplay = 0: IC indices above 99 are not parsed"));
}

TEST_F(StoreTest, SecondParseRereadsSwitchesAndAddsOnlyMissingModes) {
    writeLocation("{}");
    writeMode("param00000");
    writeMode("param10001");
    store().underDisplayParamParaseAllMode();
    const Info* first = store().mParamModes.at("param00000");
    Json::Value changed = modeDocument("param00000");
    changed["param00000"]["param_golden_value"] = 999;
    writeSystem("underlight_param00000.json", compact(changed));
    writeMode("param05001");
    writeSystem("underlight_param05001_weights.json", R"({"param05001": [[3]]})");
    writeLocation(R"({"supportWeightDelta": 1})");
    logs->clear();
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(loadedModes(), (Lines{"param00000", "param05001", "param10001"}));
    EXPECT_EQ(store().mParamModes.at("param00000"), first);
    EXPECT_EQ(first->goldenValue[0], 100);
    EXPECT_EQ(store().mDeltaWeights.at("param05001"), std::vector<std::vector<float>>{{3.0f}});
    EXPECT_EQ(logs->texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion"),
              (Lines{"UL:  UnderDisplayParamParaseAllMode start",
                     "UL: UnderDisplayParamParseOneMode skip repeated mode = param00000",
                     "UL: UnderDisplayParamParseOneMode skip repeated mode = param10001",
                     "UL: UnderDisplayParamParaseAllMode end"}));
}

// The sample tree shipped in examples/ loads whole, and the per-sample path
// on it allocates nothing once its grid is known (logs silenced).
TEST_F(StoreTest, SampleTreeLoadsWholeAndPredictsWithoutAllocating) {
    sctest::ScopedConfigRoot sample(sctest::sourceDir() + "/examples/SensorConfig");
    EXPECT_EQ(store().mLocalNetworkVersion, "2026.11.1");
    store().underDisplayParamParaseAllMode();
    Lines all = walkNames(false, true, 0, 0);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(loadedModes(), all);
    EXPECT_TRUE(logs->contains("/data/SensorConfig/underlight_param00000.json is valid."));
    EXPECT_EQ(store().mDeltaWeights.at("param00000").size(), 10u);
    EXPECT_TRUE(badValueLines().empty());
    // A mid-grey 43 x 112 capture at mid brightness: modest positive deltas.
    icScopeWidth = 43;
    icScopeHeight = 112;
    brightness = 2000;
    android::Vector<int> pixels;
    for (int i = 0; i < 43 * 112 * 3; ++i) pixels.push_back(128);
    logs.reset();
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    Store::ChannelsDelta d{-1, -1, -1, -1};
    const long before = sctest::allocationCount();
    for (int dc : {1, 0}) {
        displayDcState = dc;
        store().calcRecitifyParamDeltaByBrRGBWeight(pixels, 0, 0, &d);
    }
    EXPECT_EQ(sctest::allocationCount() - before, 0);
    for (double v : {d.deltaR, d.deltaG, d.deltaB, d.deltaC}) {
        EXPECT_GT(v, 0.0);
        EXPECT_LT(v, 10.0);
    }
}

}  // namespace
}  // namespace paramtest
