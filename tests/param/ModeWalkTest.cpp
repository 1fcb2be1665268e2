#include <chrono>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

std::vector<std::string> startLines(const sctest::LogCapture& logs, const char* prefix) {
    std::vector<std::string> names;
    const std::string p = prefix;
    for (const std::string& t : logs.texts())
        if (t.rfind(p, 0) == 0 && t.size() > 6 && t.compare(t.size() - 6, 6, " start") == 0)
            names.push_back(t.substr(p.size(), t.size() - p.size() - 6));
    return names;
}

std::vector<std::string> sorted(std::vector<std::string> v) {
    std::sort(v.begin(), v.end());
    return v;
}

TEST_F(StoreTest, DefaultSwitchesWalkTwentyFourModesInOrder) {
    writeLocation(parse("{}"));
    // Files for every name that any walk could reach: only the allowed ones load.
    for (const std::string& m : defaultModeNames()) writeMode(m);
    for (const char* extra : {"param20000", "param30000", "param00100", "param00010"}) writeMode(extra);
    store();
    logs->clear();
    EXPECT_EQ(store().underDisplayParamParaseAllMode(), 0);
    EXPECT_EQ(startLines(*logs, "UL: UnderDisplayParamParseOneMode "), defaultModeNames());
    EXPECT_EQ(loadedModes(), sorted(defaultModeNames()));
    EXPECT_TRUE(store().mAllModeParsed);
    std::vector<std::string> errors = logs->texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion");
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.front(), "UL:  UnderDisplayParamParaseAllMode start");
    EXPECT_EQ(errors.back(), "UL: UnderDisplayParamParaseAllMode end");
}

struct WalkCase {
    const char* name;
    const char* paramlocation;
    std::vector<std::string> expected;  // in walk order
};

std::vector<std::string> names(int acls, bool dc, int lights, int displays) {
    std::vector<std::string> out;
    for (int acl : {0, 1, 3}) {
        if (acl == 3 && acls < 3) break;
        for (int mode = 0; mode < 6; ++mode)
            for (int l = 0; l <= lights; ++l)
                for (int d = 0; d <= displays; ++d)
                    for (int c = 0; c <= (dc ? 1 : 0); ++c)
                        out.push_back("param" + std::to_string(acl) + std::to_string(mode) + std::to_string(l) +
                                      std::to_string(d) + std::to_string(c));
    }
    return out;
}

class Walk : public StoreTest, public ::testing::WithParamInterface<WalkCase> {};

TEST_P(Walk, VisitsExactlyTheAllowedNames) {
    writeLocation(parse(GetParam().paramlocation));
    for (const std::string& m : GetParam().expected) writeMode(m);
    for (const std::string& m : names(3, true, 1, 1)) writeMode(m);  // decoys the walk must not reach
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(startLines(*logs, "UL: UnderDisplayParamParseOneMode "), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, Walk,
        ::testing::Values(WalkCase{"acl3", R"({"supportAcl3": 1})", names(3, true, 0, 0)},
                          WalkCase{"no_dc", R"({"notmSupportDcFeature": 1})", names(1, false, 0, 0)},
                          WalkCase{"second_light", R"({"supportSecondLight": 1})", names(1, true, 1, 0)},
                          WalkCase{"both_second", R"({"supportSecondLight": 1, "supportSecondDisplay": 1,
                                                      "supportAcl3": 1, "notmSupportDcFeature": 1})",
                                   names(3, false, 1, 1)},
                          WalkCase{"negative_light", R"({"supportSecondLight": -1})", {}},
                          WalkCase{"negative_display", R"({"supportSecondDisplay": -3})", {}}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, TwoDigitIcNumbersMakeLongerNames) {
    writeLocation(parse(R"({"supportSecondLight": 10, "notmSupportDcFeature": 1})"));
    writeMode("param001000");
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(loadedModes(), std::vector<std::string>{"param001000"});
}

TEST_F(StoreTest, CorruptIcCountIsWalkedOnlyUpToTwoDigits) {
    writeLocation(parse(R"({"supportSecondLight": 2000000000, "notmSupportDcFeature": 1})"));
    writeMode("param009900");
    writeMode("param0010000");
    auto start = std::chrono::steady_clock::now();
    store().underDisplayParamParaseAllMode();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(loadedModes(), std::vector<std::string>{"param009900"});
    EXPECT_TRUE(logs->contains(
            "UL: supportSecondLight = 2000000000, supportSecondDisplay = 0: IC indices above 99 are not parsed"));
}

TEST_F(StoreTest, SecondParseSkipsLoadedModesAndAddsMissingOnes) {
    writeLocation(parse("{}"));
    writeMode("param00000");
    writeMode("param10001");
    store().underDisplayParamParaseAllMode();
    const Info* first = store().mParamModes.at("param00000");
    // Changed and new files: the changed one is not re-read, the new one is added.
    Json::Value changed = modeDocument("param00000");
    changed["param00000"]["param_golden_value"] = 999;
    writeSystem("underlight_param00000.json", changed);
    writeMode("param05001");
    logs->clear();
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(loadedModes(), (std::vector<std::string>{"param00000", "param05001", "param10001"}));
    EXPECT_EQ(store().mParamModes.at("param00000"), first);
    EXPECT_EQ(first->goldenValue[0], 100);
    EXPECT_EQ(logs->texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion"),
              (std::vector<std::string>{"UL:  UnderDisplayParamParaseAllMode start",
                                        "UL: UnderDisplayParamParseOneMode skip repeated mode = param00000",
                                        "UL: UnderDisplayParamParseOneMode skip repeated mode = param10001",
                                        "UL: UnderDisplayParamParaseAllMode end"}));
}

TEST_F(StoreTest, WeightFilesAreReadOnlyWhenTheSwitchIsOn) {
    writeMode("param00000");
    writeSystem("underlight_param00000_weights.json", parse(R"({"param00000": [[1, 2]]})"));
    writeSystem("underlight_param01001_weights.json", parse(R"({"param01001": [[3]]})"));
    writeLocation(parse("{}"));
    store().underDisplayParamParaseAllMode();
    EXPECT_TRUE(store().mDeltaWeights.empty());
    writeLocation(parse(R"({"supportWeightDelta": 1})"));
    store().underDisplayParamParaseAllMode();
    EXPECT_EQ(store().mDeltaWeights.size(), 2u);
    EXPECT_EQ(store().mDeltaWeights.at("param01001"), std::vector<std::vector<float>>{{3.0f}});
}

}  // namespace
}  // namespace paramtest
