#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

TEST_F(StoreTest, ModePathsUnderSystemAndData) {
    EXPECT_EQ(store().getUnderDisplayParamParseOneModePath("param00000"),
              "/system/etc/SensorConfig/underlight_param00000.json");
    EXPECT_EQ(store().getNetworkUnderDisplayParamParseOneModePath("param00000"),
              "/data/SensorConfig/underlight_param00000.json");
}

TEST_F(StoreTest, ConstructionReadsTheLocalVersionAndNothingElse) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "2"})"));
    writeMode("param00000");
    writeLocation(parse(R"({"supportAcl3": 1})"));
    EXPECT_EQ(store().mLocalNetworkVersion, "2");
    EXPECT_EQ(logs->texts(), (std::vector<std::string>{" UL: constructor start", "mLocalNetworkVersion : 2 "}));
    EXPECT_TRUE(store().mParamModes.empty());
    EXPECT_FALSE(store().mSupportAcl3);
    EXPECT_EQ(store().mCurrentParamMode, "null");
    EXPECT_TRUE(store().mSupportDcFeature);
}

TEST_F(StoreTest, MissingNetworkConfigLeavesTheVersionEmptySilently) {
    EXPECT_EQ(store().mLocalNetworkVersion, "");
    EXPECT_EQ(logs->texts(), std::vector<std::string>{" UL: constructor start"});
}

// A truncated configuration still holds its version in what the parser built
// before it failed; none of that may be used.
TEST_F(StoreTest, TruncatedNetworkConfigGivesAnEmptyVersion) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "7", "other": [1, 2)"));
    EXPECT_EQ(store().mLocalNetworkVersion, "");
    EXPECT_TRUE(logs->contains("mLocalNetworkVersion :  "));
}

TEST_F(StoreTest, VersionIsReReadOnRequest) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "1"})"));
    ASSERT_EQ(store().mLocalNetworkVersion, "1");
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "3"})"));
    store().getLocalNetworkVersion();
    EXPECT_EQ(store().mLocalNetworkVersion, "3");
}

// Which copy of a mode file is read, by the versions on both sides. The
// network copy carries golden values of 7777 so that the choice shows.
struct VersionCase {
    const char* name;
    const char* localConfig;  // NetworkConfig.json text, null: absent
    const char* copyVersion;  // the copy's "networkVersion" member text, null: no member
    bool copyIsValidJson;
    bool networkUsed;
};

class VersionRule : public StoreTest, public ::testing::WithParamInterface<VersionCase> {};

TEST_P(VersionRule, NetworkCopyUsedExactlyOnEqualVersions) {
    const VersionCase& c = GetParam();
    if (c.localConfig) writeSystem("NetworkConfig.json", std::string(c.localConfig));
    writeMode("param00000");
    Json::Value copy = modeDocument("param00000");
    for (int s = 0; s < 7; ++s) copy["param00000"]["param_golden_value"][s] = 7777;
    std::string text = compact(copy);
    if (c.copyVersion) text = "{\"networkVersion\": " + std::string(c.copyVersion) + "," + text.substr(1);
    if (!c.copyIsValidJson) text = text.substr(0, text.size() / 2);
    const std::string copyPath = "/data/SensorConfig/underlight_param00000.json";
    writeData("underlight_param00000.json", text);

    EXPECT_EQ(store().isNetworkFileValid(copyPath), c.networkUsed);
    logs->clear();
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(store().mParamModes.count("param00000"), 1u);
    EXPECT_EQ(store().mParamModes["param00000"]->goldenValue[0], c.networkUsed ? 7777 : 100);
    EXPECT_EQ(logs->contains(copyPath + " is valid."), c.networkUsed);
    bool comparedLine = false;
    for (const std::string& t : logs->texts()) comparedLine |= t.rfind("mLocalNetworkVersion : ", 0) == 0;
    EXPECT_EQ(comparedLine, c.copyIsValidJson);
}

INSTANTIATE_TEST_SUITE_P(
        Cases, VersionRule,
        ::testing::Values(VersionCase{"no_config_no_version", nullptr, nullptr, true, true},
                          VersionCase{"no_config_versioned_copy", nullptr, "\"2\"", true, false},
                          VersionCase{"equal", R"({"localNetworkVersion": "2"})", "\"2\"", true, true},
                          VersionCase{"no_order_2_vs_10", R"({"localNetworkVersion": "2"})", "\"10\"", true, false},
                          VersionCase{"bytes_not_numbers", R"({"localNetworkVersion": "2"})", "\"02\"", true, false},
                          VersionCase{"trailing_blank", R"({"localNetworkVersion": "2"})", "\"2 \"", true, false},
                          VersionCase{"copy_without_version", R"({"localNetworkVersion": "2"})", nullptr, true, false},
                          VersionCase{"number_reads_as_text", R"({"localNetworkVersion": "2"})", "2", true, true},
                          VersionCase{"copy_not_json", R"({"localNetworkVersion": "2"})", "\"2\"", false, false},
                          VersionCase{"config_truncated", R"({"localNetworkVersion": "2")", nullptr, true, true}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, VersionLinesOfAnAcceptedCopy) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "v9"})"));
    writeData("x.json", std::string(R"({"networkVersion": "v9"})"));
    store();
    logs->clear();
    EXPECT_TRUE(store().isNetworkFileValid("/data/SensorConfig/x.json"));
    EXPECT_EQ(logs->texts(ANDROID_LOG_ERROR, "_Z_ZSensorFusion"),
              (std::vector<std::string>{"mLocalNetworkVersion : v9 , network_version : v9",
                                        "/data/SensorConfig/x.json is valid."}));
}

TEST_F(StoreTest, TruncatedCopyIsRefusedEvenIfItsVersionWasRead) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "2"})"));
    writeData("x.json", std::string(R"({"networkVersion": "2", "param00000": {)"));
    EXPECT_FALSE(store().isNetworkFileValid("/data/SensorConfig/x.json"));
}

TEST_F(StoreTest, MatchingLocationCopyIsReadInsteadOfTheSystemFile) {
    writeSystem("NetworkConfig.json", std::string(R"({"localNetworkVersion": "5"})"));
    writeLocation(parse(R"({"supportSecondLight": 1})"));
    writeData("underlight_paramlocation.json",
              std::string(R"({"networkVersion": "5", "paramlocation": {"supportSecondLight": 3}})"));
    store().parseLightLocation("NULL");
    EXPECT_EQ(store().mLightIcNum, 3);
    writeData("underlight_paramlocation.json",
              std::string(R"({"networkVersion": "6", "paramlocation": {"supportSecondLight": 3}})"));
    store().parseLightLocation("NULL");
    EXPECT_EQ(store().mLightIcNum, 1);
}

// A copy that the version rule accepts is read even when it is incomplete:
// there is no second try with the system file.
TEST_F(StoreTest, AcceptedButIncompleteCopyLeavesTheModeAbsent) {
    writeMode("param00000");
    writeData("underlight_param00000.json", std::string(R"({"param00000": {}})"));
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_TRUE(store().mParamModes.empty());
}

TEST(StoreSingleton, CreatedOnceOnFirstUse) {
    sctest::TempDir dir;
    sctest::ScopedConfigRoot root(dir.path());
    ASSERT_EQ(Store::mUnderDisplayLightParam, nullptr);
    Store* s = Store::getInstance();
    EXPECT_EQ(Store::mUnderDisplayLightParam, s);
    EXPECT_EQ(Store::getInstance(), s);
}

}  // namespace
}  // namespace paramtest
