#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

struct SwitchCase {
    const char* name;
    const char* paramlocation;
    bool dc, acl3;
    int lightIcs, displayIcs, locate;
    bool weights;
};

class LocationSwitches : public StoreTest, public ::testing::WithParamInterface<SwitchCase> {};

TEST_P(LocationSwitches, ReadAsTheirRules) {
    const SwitchCase& c = GetParam();
    writeLocation(parse(c.paramlocation));
    useChannelsWeightDelta = !c.weights;  // must be overwritten either way
    store().parseLightLocation("NULL");
    EXPECT_EQ(store().mSupportDcFeature, c.dc);
    EXPECT_EQ(store().mSupportAcl3, c.acl3);
    EXPECT_EQ(store().mLightIcNum, c.lightIcs);
    EXPECT_EQ(store().mDisplayIcNum, c.displayIcs);
    EXPECT_EQ(store().mIsNeedLocationCalculator, c.locate);
    EXPECT_EQ(useChannelsWeightDelta, c.weights);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, LocationSwitches,
        ::testing::Values(
                SwitchCase{"no_switch", "{}", true, false, 0, 0, 0, false},
                SwitchCase{"dc_off_0", R"({"notmSupportDcFeature": 0})", true, false, 0, 0, 0, false},
                SwitchCase{"dc_off_1", R"({"notmSupportDcFeature": 1})", false, false, 0, 0, 0, false},
                SwitchCase{"dc_off_2", R"({"notmSupportDcFeature": 2})", true, false, 0, 0, 0, false},
                SwitchCase{"dc_off_string", R"({"notmSupportDcFeature": "1"})", true, false, 0, 0, 0, false},
                SwitchCase{"dc_off_bool", R"({"notmSupportDcFeature": true})", true, false, 0, 0, 0, false},
                SwitchCase{"acl3_1", R"({"supportAcl3": 1})", true, true, 0, 0, 0, false},
                SwitchCase{"acl3_2", R"({"supportAcl3": 2})", true, false, 0, 0, 0, false},
                SwitchCase{"ics", R"({"supportSecondLight": 1, "supportSecondDisplay": 2})", true, false, 1, 2, 0,
                           false},
                SwitchCase{"ics_negative", R"({"supportSecondLight": -1})", true, false, -1, 0, 0, false},
                SwitchCase{"locate", R"({"isNeedCalIcLocationPixel": 5})", true, false, 0, 0, 5, false},
                SwitchCase{"weights_1", R"({"supportWeightDelta": 1})", true, false, 0, 0, 0, true},
                SwitchCase{"weights_1_0", R"({"supportWeightDelta": 1.0})", true, false, 0, 0, 0, true},
                SwitchCase{"weights_2", R"({"supportWeightDelta": 2})", true, false, 0, 0, 0, false}),
        [](const auto& info) { return std::string(info.param.name); });

struct RectCase {
    const char* name;
    const char* value;
    std::array<int, 4> expected;
};

class LocationRects : public StoreTest, public ::testing::WithParamInterface<RectCase> {};

TEST_P(LocationRects, FourIntegersZeroFilled) {
    const RectCase& c = GetParam();
    // The same value under each of the four rectangle keys.
    writeLocation(parse(std::string("{\"sensordisplaylocation\": ") + c.value + ", \"sensordisplaylocationlightB\": " +
                        c.value + ", \"sensordisplaylocationlightC\": " + c.value + ", \"sensordisplaylocation_4\": " +
                        c.value + "}"));
    Store::UnderLightRect rect{}, b{}, cc{}, compat{};
    store().getCurrentUnderDisplayLightRectCompatible("sensordisplaylocation_", 4, &compat);
    store().getCurrentUnderDisplayLightRect(&rect);
    store().getCurrentUnderDisplayRectLightB(&b);
    store().getCurrentUnderDisplayRectLightC(&cc);
    for (const Store::UnderLightRect& r : {rect, b, cc, compat, store().mRectDpiCompatible})
        EXPECT_EQ((std::array<int, 4>{r.coords[0], r.coords[1], r.coords[2], r.coords[3]}), c.expected);
    EXPECT_EQ(store().mCompatibleKey, "sensordisplaylocation_4");
}

INSTANTIATE_TEST_SUITE_P(Cases, LocationRects,
                         ::testing::Values(RectCase{"full", "[1, -2, 3, 4]", {1, -2, 3, 4}},
                                           RectCase{"short", "[10, 20]", {10, 20, 0, 0}},
                                           RectCase{"empty", "[]", {0, 0, 0, 0}},
                                           RectCase{"long", "[1, 2, 3, 4, 5, 6]", {1, 2, 3, 4}},
                                           RectCase{"not_array", "\"1,2,3,4\"", {0, 0, 0, 0}},
                                           RectCase{"object", R"({"a": 1})", {0, 0, 0, 0}},
                                           RectCase{"bad_element", "[1, \"x\", 3, 4]", {1, 0, 3, 4}}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, SummaryLinesCarryEveryMember) {
    writeLocation(parse(R"({"sensordisplaylocation": [1, 2, 3, 4], "sensordisplaylocationlightC": [9, 8, 7, 6],
                            "notmSupportDcFeature": 1, "supportSecondLight": 2, "supportSecondDisplay": 1,
                            "isNeedCalIcLocationPixel": 1, "supportWeightDelta": 1, "x_domestic": 0})"));
    store();
    logs->clear();
    store().parseLightLocation("NULL");
    EXPECT_EQ(logs->texts(ANDROID_LOG_INFO, "_Z_ZSensorFusion"),
              (std::vector<std::string>{
                      "UL: parseLightLocation mRect[1, 2, 3, 4] mRectLightB[0, 0, 0, 0] mRectLightC[9, 8, 7, 6] "
                      "mRectDpiCompatible[0, 0, 0, 0]",
                      "UL: parseLightLocation mSupportDcFeature = 0, mLightIcNum = 2, mDisplayIcNum = 1, "
                      "mIsNeedLocationCalculator = 1, mIsNeedCompatible = 1, mSupportDeltaWeights = 1"}));
}

struct CompatibleCase {
    const char* name;
    std::vector<std::string> members;
    bool compatible;
};

class Compatibility : public StoreTest, public ::testing::WithParamInterface<CompatibleCase> {};

TEST_P(Compatibility, AnyMemberNamingARegion) {
    Json::Value loc(Json::objectValue);
    for (const std::string& m : GetParam().members) loc[m] = 0;
    writeLocation(loc);
    store().parseLightLocation("NULL");
    EXPECT_EQ(store().mIsNeedCompatible, GetParam().compatible ? 1 : 0);
    int lines = 0;
    for (const std::string& t : logs->texts(ANDROID_LOG_DEBUG, "_Z_ZSensorFusion")) lines += t == "UL: isNeedCompatible =  1";
    EXPECT_EQ(lines, GetParam().compatible ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, Compatibility,
        ::testing::Values(CompatibleCase{"none", {"sensordisplaylocation", "supportAcl3"}, false},
                          CompatibleCase{"overseas", {"sensordisplaylocation_overseas"}, true},
                          CompatibleCase{"both_logged_once", {"a_domestic", "b_overseas", "c_domestic"}, true},
                          CompatibleCase{"exactly_eight", {"domestic"}, true},
                          CompatibleCase{"case_matters", {"sensor_Overseas"}, false}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, FailedReadKeepsEveryValue) {
    writeLocation(parse(R"({"supportAcl3": 1, "supportSecondLight": 2, "sensordisplaylocation": [5, 6, 7, 8]})"));
    store().parseLightLocation("NULL");
    ASSERT_TRUE(store().mSupportAcl3);
    for (const std::string& text : {std::string("{\"paramlocation\": {"), std::string("")}) {
        writeSystem("underlight_paramlocation.json", text);
        logs->clear();
        store().parseLightLocation("NULL");
        EXPECT_TRUE(store().mSupportAcl3);
        EXPECT_EQ(store().mLightIcNum, 2);
        EXPECT_EQ(store().mRect.coords[3], 8);
        ASSERT_EQ(logs->texts().size(), 1u);
        EXPECT_EQ(logs->lines()[0].priority, ANDROID_LOG_INFO);
        EXPECT_EQ(logs->texts()[0].rfind("UL: parseLightLocation failed: ", 0), 0u) << logs->texts()[0];
        EXPECT_GT(logs->texts()[0].size(), std::string("UL: parseLightLocation failed: ").size());
    }
}

TEST_F(StoreTest, MissingLocationFileLogsTheFailure) {
    store().parseLightLocation("NULL");
    EXPECT_TRUE(logs->contains("UL: parseLightLocation failed: * Line 1, Column 1\n"
                               "  Syntax error: value, object or array expected.\n"));
}

TEST_F(StoreTest, DocumentWithoutLocationObjectKeepsValuesAndStillSummarises) {
    writeLocation(parse(R"({"supportAcl3": 1})"));
    store().parseLightLocation("NULL");
    for (const char* text : {R"({"other": 1})", R"({"paramlocation": [1, 2]})", "[1, 2]"}) {
        writeSystem("underlight_paramlocation.json", std::string(text));
        logs->clear();
        store().parseLightLocation("NULL");
        EXPECT_TRUE(store().mSupportAcl3) << text;
        EXPECT_EQ(logs->texts().size(), 2u) << text;
    }
}

TEST_F(StoreTest, ReReadOverwritesSwitchesButKeepsParsedModes) {
    writeLocation(parse(R"({"supportSecondLight": 0})"));
    writeMode("param00000");
    store().underDisplayParamParaseAllMode();
    ASSERT_EQ(store().mParamModes.size(), 1u);
    writeLocation(parse(R"({"notmSupportDcFeature": 1, "supportWeightDelta": 1})"));
    Store::UnderLightRect r{};
    store().getCurrentUnderDisplayLightRectCompatible("k", 0, &r);
    EXPECT_FALSE(store().mSupportDcFeature);
    EXPECT_TRUE(useChannelsWeightDelta);
    EXPECT_EQ(store().mParamModes.size(), 1u);
}

}  // namespace
}  // namespace paramtest
