// Families of malformed input. Every value a file could hold in the wrong
// place, every way a whole file can be broken: each must end in the defined
// fallback with at most one line naming the file and key, never an abort.
#include <cstring>
#include <functional>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

constexpr const char* kModeFile = "/system/etc/SensorConfig/underlight_param00000.json";
constexpr const char* kLocationFile = "/system/etc/SensorConfig/underlight_paramlocation.json";
constexpr const char* kWeightFile = "/system/etc/SensorConfig/underlight_param00000_weights.json";

// A value put where the files expect a number, and how each kind of slot reads it.
struct Value {
    const char* json;
    bool intOk;  // read by an integer slot (else 0 and one line)
    int i;
    bool doubleOk;  // read by a coefficient slot
    double d;
    bool floatOk;  // read by a weight slot
};

const Value kValues[] = {
        {"null", true, 0, true, 0.0, true},  // absent: zero, silently
        {"\"abc\"", false, 0, false, 0.0, false},
        {"\"12\"", false, 0, false, 0.0, false},
        {"true", false, 0, false, 0.0, false},
        {"false", false, 0, false, 0.0, false},
        {"{}", false, 0, false, 0.0, false},
        {"[]", false, 0, false, 0.0, false},
        {"[1, 2]", false, 0, false, 0.0, false},
        {"{\"a\": [1]}", false, 0, false, 0.0, false},
        {"[[[[[[[[[[[[1]]]]]]]]]]]]", false, 0, false, 0.0, false},
        {"-7", true, -7, true, -7.0, true},
        {"250.0", true, 250, true, 250.0, true},
        {"2.5", false, 0, true, 2.5, true},
        {"2147483648", false, 0, true, 2147483648.0, true},
        {"-2147483649", false, 0, true, -2147483649.0, true},
        {"1e20", false, 0, true, 1e20, true},
        {"99999999999999999999999", false, 0, true, 1e23, true},
        {"18446744073709551615", false, 0, true, 18446744073709551615.0, true},
        {"1e300", false, 0, true, 1e300, false},
        {"-1e300", false, 0, true, -1e300, false},
};

std::string label(const Value& v) { return std::string(" with ") + v.json; }

// Exactly one line reporting a value read as absent, naming file and key; or none.
void expectBadLine(const std::vector<std::string>& lines, bool expected, const std::string& file,
                   const std::string& key, const std::string& what) {
    if (!expected) {
        EXPECT_TRUE(lines.empty()) << what << ": " << (lines.empty() ? "" : lines[0]);
        return;
    }
    ASSERT_EQ(lines.size(), 1u) << what;
    EXPECT_NE(lines[0].find(file), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find(key), std::string::npos) << lines[0];
}

bool present(const Value& v) { return std::strcmp(v.json, "null") != 0; }

// ---- Location switches --------------------------------------------------------

struct SwitchSlot {
    const char* key;
    std::function<int(const Store&)> observed;  // the member, as the integer it was set from
    int absent;                                 // what an absent switch gives
};

int asSwitch(const char* key, int v) {
    // The boolean switches keep only "is it 1" (the DC switch inverted).
    if (std::strcmp(key, "notmSupportDcFeature") == 0) return v == 1 ? 0 : 1;
    if (std::strcmp(key, "supportAcl3") == 0 || std::strcmp(key, "supportWeightDelta") == 0) return v == 1;
    return v;
}

TEST_F(StoreTest, EverySwitchReadsWrongValuesAsAbsent) {
    const SwitchSlot slots[] = {
            {"notmSupportDcFeature", [](const Store& s) { return static_cast<int>(s.mSupportDcFeature); }, 1},
            {"supportAcl3", [](const Store& s) { return static_cast<int>(s.mSupportAcl3); }, 0},
            {"supportSecondLight", [](const Store& s) { return s.mLightIcNum; }, 0},
            {"supportSecondDisplay", [](const Store& s) { return s.mDisplayIcNum; }, 0},
            {"isNeedCalIcLocationPixel", [](const Store& s) { return s.mIsNeedLocationCalculator; }, 0},
            {"supportWeightDelta", [](const Store&) { return static_cast<int>(useChannelsWeightDelta); }, 0},
    };
    for (const SwitchSlot& slot : slots)
        for (const Value& v : kValues) {
            writeSystem("underlight_paramlocation.json",
                        std::string("{\"paramlocation\": {\"") + slot.key + "\": " + v.json + "}}");
            logs->clear();
            store().parseLightLocation("NULL");
            std::string what = std::string(slot.key) + label(v);
            EXPECT_EQ(slot.observed(store()), v.intOk ? asSwitch(slot.key, v.i) : slot.absent) << what;
            expectBadLine(badValueLines(), !v.intOk && present(v), kLocationFile,
                          std::string("paramlocation.") + slot.key, what);
        }
}

TEST_F(StoreTest, EveryRectangleElementReadsWrongValuesAsZero) {
    for (const char* key : {"sensordisplaylocation", "sensordisplaylocationlightB", "sensordisplaylocationlightC",
                            "compat_1"})
        for (const Value& v : kValues) {
            writeSystem("underlight_paramlocation.json",
                        std::string("{\"paramlocation\": {\"") + key + "\": [11, 12, " + v.json + ", 14]}}");
            logs->clear();
            Store::UnderLightRect compat{};
            store().getCurrentUnderDisplayLightRectCompatible("compat_", 1, &compat);
            const Store::UnderLightRect& rect = std::strcmp(key, "sensordisplaylocation") == 0       ? store().mRect
                                                : std::strcmp(key, "sensordisplaylocationlightB") == 0 ? store().mRectLightB
                                                : std::strcmp(key, "sensordisplaylocationlightC") == 0 ? store().mRectLightC
                                                                                                       : compat;
            std::string what = std::string(key) + label(v);
            EXPECT_EQ(rect.coords[0], 11) << what;
            EXPECT_EQ(rect.coords[2], v.intOk ? v.i : 0) << what;
            EXPECT_EQ(rect.coords[3], 14) << what;
            expectBadLine(badValueLines(), !v.intOk && present(v), kLocationFile, std::string("paramlocation.") + key,
                          what);
        }
}

// ---- Mode files ------------------------------------------------------------------

// One slot of a mode file: where a value goes and how the record must read.
struct ModeSlot {
    std::string name;
    std::function<Json::Value&(Json::Value& mode)> at;
    std::string key;                                      // as the log line names it
    std::function<void(Info& expected, const Value&)> expect;  // patches the clean record
    bool isInt;
    bool scalarOnly = false;  // arrays here have their own rules (tested apart)
};

std::vector<ModeSlot> modeSlots() {
    std::vector<ModeSlot> slots;
    for (int i : {0, 3, 6})
        slots.push_back({"golden[" + std::to_string(i) + "]",
                         [i](Json::Value& m) -> Json::Value& { return m["param_golden_value"][i]; },
                         "param00000.param_golden_value",
                         [i](Info& e, const Value& v) { e.goldenValue[i] = v.intOk ? v.i : 0; }, true});
    slots.push_back({"golden", [](Json::Value& m) -> Json::Value& { return m["param_golden_value"]; },
                     "param00000.param_golden_value",
                     [](Info& e, const Value& v) {
                         // A single value sets all seven only when it is at least 1.
                         for (int s = 0; s < 7; ++s) e.goldenValue[s] = v.intOk && v.i >= 1 ? v.i : 0;
                     },
                     true, true});
    for (int i : {0, 5})
        slots.push_back({"section[" + std::to_string(i) + "]",
                         [i](Json::Value& m) -> Json::Value& { return m["param_section"][i]; },
                         "param00000.param_section",
                         [i](Info& e, const Value& v) { e.paramSection[i] = v.intOk ? v.i : 0; }, true});
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k)
        for (int t : {0, 1, 30, 55})
            for (int s : {0, 3, 6}) {
                std::string key = keys[k];
                slots.push_back({key + "[" + std::to_string(t) + "][" + std::to_string(s) + "]",
                                 [key, t, s](Json::Value& m) -> Json::Value& { return m[key][t][s]; },
                                 "param00000." + key,
                                 [k, t, s](Info& e, const Value& v) {
                                     double(*tables[])[7] = {e.red, e.green, e.blue, e.ir};
                                     tables[k][t][s] = v.doubleOk ? v.d : 0.0;
                                 },
                                 false});
            }
    return slots;
}

Info cleanRecord() {
    Info info{};
    for (int s = 0; s < 7; ++s) info.goldenValue[s] = 100 + s;
    for (int s = 0; s < 6; ++s) info.paramSection[s] = 10 * (s + 1);
    double(*tables[])[7] = {info.red, info.green, info.blue, info.ir};
    for (int k = 0; k < 4; ++k)
        for (int t = 0; t < 56; ++t)
            for (int s = 0; s < 7; ++s) tables[k][t][s] = coefficient(k, t, s);
    return info;
}

void expectSameRecord(const Info& got, const Info& want, const std::string& what) {
    EXPECT_EQ(std::memcmp(got.goldenValue, want.goldenValue, sizeof(want.goldenValue)), 0) << what;
    EXPECT_EQ(std::memcmp(got.paramSection, want.paramSection, sizeof(want.paramSection)), 0) << what;
    for (int t = 0; t < 56; ++t)
        for (int s = 0; s < 7; ++s) {
            ASSERT_EQ(got.red[t][s], want.red[t][s]) << what;
            ASSERT_EQ(got.green[t][s], want.green[t][s]) << what;
            ASSERT_EQ(got.blue[t][s], want.blue[t][s]) << what;
            ASSERT_EQ(got.ir[t][s], want.ir[t][s]) << what;
        }
}

TEST_F(StoreTest, EveryModeValueReadsWrongValuesAsAbsent) {
    const Info clean = cleanRecord();
    for (const ModeSlot& slot : modeSlots())
        for (const Value& v : kValues) {
            if (slot.scalarOnly && v.json[0] == '[') continue;
            Json::Value doc = modeDocument("param00000");
            slot.at(doc["param00000"]) = parse(v.json);
            writeSystem("underlight_param00000.json", doc);
            rebuildStore();
            logs->clear();
            store().underDisplayParamParseOneMode("param00000");
            std::string what = slot.name + label(v);
            ASSERT_EQ(store().mParamModes.count("param00000"), 1u) << what;
            Info want = clean;
            slot.expect(want, v);
            expectSameRecord(*store().mParamModes.at("param00000"), want, what);
            bool ok = slot.isInt ? v.intOk : v.doubleOk;
            expectBadLine(badValueLines(), !ok && present(v), kModeFile, slot.key, what);
        }
}

// Later rows of a table are not measured: any value there reads as a row of
// zeros (or of the numbers it holds), never as a reason to drop the mode.
TEST_F(StoreTest, EveryLaterRowReadsWrongValuesAsZeros) {
    for (const char* key : {"red", "ir"})
        for (int t : {1, 55})
            for (const Value& v : kValues) {
                Json::Value doc = modeDocument("param00000");
                doc["param00000"][key][t] = parse(v.json);
                writeSystem("underlight_param00000.json", doc);
                rebuildStore();
                logs->clear();
                store().underDisplayParamParseOneMode("param00000");
                std::string what = std::string(key) + "[" + std::to_string(t) + "]" + label(v);
                ASSERT_EQ(store().mParamModes.count("param00000"), 1u) << what;
                const Info& got = *store().mParamModes.at("param00000");
                const double* row = std::strcmp(key, "red") == 0 ? got.red[t] : got.ir[t];
                const bool pair = std::strcmp(v.json, "[1, 2]") == 0;
                EXPECT_EQ(row[0], pair ? 1.0 : 0.0) << what;
                EXPECT_EQ(row[1], pair ? 2.0 : 0.0) << what;
                EXPECT_EQ(row[6], 0.0) << what;
                const bool bad = present(v) && !pair && std::strcmp(v.json, "[]") != 0;
                expectBadLine(badValueLines(), bad, kModeFile, std::string("param00000.") + key, what);
            }
}

// Anything but the expected structure above the values drops the mode, with
// no line beyond the start line.
TEST_F(StoreTest, EveryStructuralPlaceDropsTheModeOnWrongValues) {
    const std::vector<std::pair<std::string, std::function<void(Json::Value&, const Json::Value&)>>> places = {
            {"root", [](Json::Value& d, const Json::Value& v) { d = v; }},
            {"mode", [](Json::Value& d, const Json::Value& v) { d["param00000"] = v; }},
            {"red", [](Json::Value& d, const Json::Value& v) { d["param00000"]["red"] = v; }},
            {"green[0]", [](Json::Value& d, const Json::Value& v) { d["param00000"]["green"][0] = v; }},
            {"ir[0]", [](Json::Value& d, const Json::Value& v) { d["param00000"]["ir"][0] = v; }},
    };
    for (const auto& place : places)
        for (const Value& v : kValues) {
            Json::Value doc = modeDocument("param00000");
            place.second(doc, parse(v.json));
            writeSystem("underlight_param00000.json", doc);
            rebuildStore();
            logs->clear();
            store().underDisplayParamParseOneMode("param00000");
            std::string what = place.first + label(v);
            EXPECT_TRUE(store().mParamModes.empty()) << what;
            EXPECT_LE(logs->texts().size(), 1u) << what;
            EXPECT_TRUE(badValueLines().empty()) << what;
        }
}

// ---- Weight files ------------------------------------------------------------------

TEST_F(StoreTest, EveryWeightReadsWrongValuesAsZero) {
    for (const Value& v : kValues) {
        writeSystem("underlight_param00000_weights.json",
                    std::string("{\"param00000\": [[0.5, ") + v.json + ", 2], [3]]}");
        rebuildStore();
        logs->clear();
        store().parseOneModeDeltaWeight("param00000");
        std::string what = std::string("weight") + label(v);
        ASSERT_EQ(store().mDeltaWeights.count("param00000"), 1u) << what;
        const auto& grid = store().mDeltaWeights.at("param00000");
        ASSERT_EQ(grid.size(), 2u);
        ASSERT_EQ(grid[0].size(), 3u);
        EXPECT_EQ(grid[0][0], 0.5f);
        EXPECT_EQ(grid[0][1], v.floatOk ? static_cast<float>(v.d) : 0.0f) << what;
        EXPECT_EQ(grid[1][0], 3.0f);
        expectBadLine(badValueLines(), !v.floatOk && present(v), kWeightFile, "param00000", what);
    }
}

// ---- Version strings -----------------------------------------------------------------

TEST_F(StoreTest, VersionsOfTheWrongTypeReadAsEmpty) {
    for (const Value& v : kValues) {
        writeSystem("NetworkConfig.json", std::string("{\"localNetworkVersion\": ") + v.json + "}");
        logs->clear();
        rebuildStore();
        const bool container = v.json[0] == '[' || v.json[0] == '{';
        Json::Value parsed = parse(v.json);
        EXPECT_EQ(store().mLocalNetworkVersion, container ? "" : parsed.asString()) << v.json;
        expectBadLine(badValueLines(), container, "/system/etc/SensorConfig/NetworkConfig.json", "localNetworkVersion",
                      v.json);
    }
}

// ---- Whole files ---------------------------------------------------------------------

std::string deep(int depth, const char* open, const char* close) {
    std::string s;
    for (int i = 0; i < depth; ++i) s += open;
    s += "1";
    for (int i = 0; i < depth; ++i) s += close;
    return s;
}

// Broken versions of a valid document `doc` (its text).
std::vector<std::pair<std::string, std::string>> brokenFiles(const std::string& doc) {
    std::vector<std::pair<std::string, std::string>> out = {
            {"empty", ""},
            {"blank", " \n\t "},
            {"not_json", "paramlocation = 1"},
            {"binary", std::string("\0\xff\xfe{\x01", 5)},
            {"open_brace", "{"},
            {"third", doc.substr(0, doc.size() / 3)},
            {"all_but_last", doc.substr(0, doc.size() - 1)},
            {"missing_comma", doc.find(',') == std::string::npos
                                      ? "{" + doc
                                      : doc.substr(0, doc.find(',')) + " " + doc.substr(doc.find(',') + 1)},
            {"huge_number", "{\"x\": 1e400}"},
            {"deep_arrays", deep(100000, "[", "]")},
            {"deep_objects", deep(100000, "{\"a\":", "}")},
            {"deep_just_over", deep(257, "[", "]")},
            {"null", "null"},
            {"number", "12"},
            {"string", "\"paramlocation\""},
            {"array", "[1, 2, 3]"},
            {"empty_object", "{}"},
            {"deep_but_allowed", deep(256, "[", "]")},
    };
    return out;
}

TEST_F(StoreTest, BrokenModeFilesLeaveTheModeAbsent) {
    for (const auto& broken : brokenFiles(compact(modeDocument("param00000")))) {
        writeSystem("underlight_param00000.json", broken.second);
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        EXPECT_TRUE(store().mParamModes.empty()) << broken.first;
    }
}

TEST_F(StoreTest, BrokenNetworkCopiesFallBackToTheSystemFile) {
    writeMode("param00000");
    for (const auto& broken : brokenFiles(compact(modeDocument("param00000")))) {
        if (broken.first == "empty_object" || broken.first == "array" || broken.first == "number" ||
            broken.first == "string" || broken.first == "null" || broken.first == "deep_but_allowed")
            continue;  // valid JSON without a version: accepted against an empty local version
        writeData("underlight_param00000.json", broken.second);
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        EXPECT_EQ(store().mParamModes.count("param00000"), 1u) << broken.first;
    }
}

TEST_F(StoreTest, BrokenLocationFilesKeepEveryValue) {
    const std::string valid = R"({"paramlocation": {"supportAcl3": 1, "supportSecondLight": 2,
                                   "sensordisplaylocation": [1, 2, 3, 4]}})";
    for (const auto& broken : brokenFiles(valid)) {
        rebuildStore();
        writeSystem("underlight_paramlocation.json", valid);
        store().parseLightLocation("NULL");
        writeSystem("underlight_paramlocation.json", broken.second);
        logs->clear();
        store().parseLightLocation("NULL");
        EXPECT_TRUE(store().mSupportAcl3) << broken.first;
        EXPECT_EQ(store().mLightIcNum, 2) << broken.first;
        EXPECT_EQ(store().mRect.coords[3], 4) << broken.first;
        // Unparsable: the failure line alone. Valid but without the object: the two summaries.
        const auto texts = logs->texts();
        ASSERT_FALSE(texts.empty()) << broken.first;
        if (texts[0].rfind("UL: parseLightLocation failed: ", 0) == 0)
            EXPECT_EQ(texts.size(), 1u) << broken.first;
        else
            EXPECT_EQ(texts.size(), 2u) << broken.first;
    }
}

// Brackets inside comments and strings are not nesting.
TEST_F(StoreTest, BracketsInCommentsAndStringsDoNotCountAsDepth) {
    Json::Value doc = modeDocument("param00000");
    doc["note"] = std::string(5000, '[') + "\"{";
    writeSystem("underlight_param00000.json", "// ]]]]\n/* " + std::string(5000, '{') + " */" + compact(doc));
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_EQ(store().mParamModes.count("param00000"), 1u);
}

TEST_F(StoreTest, DeepNestingIsReportedAsTheParseFailure) {
    writeSystem("underlight_paramlocation.json", deep(100000, "[", "]"));
    store().parseLightLocation("NULL");
    EXPECT_TRUE(logs->contains("UL: parseLightLocation failed: nesting deeper than 256 levels"));
}

TEST_F(StoreTest, BrokenWeightFilesGiveNoGrid) {
    for (const auto& broken : brokenFiles(R"({"param00000": [[1, 2], [3, 4]]})")) {
        writeSystem("underlight_param00000_weights.json", broken.second);
        rebuildStore();
        store().parseOneModeDeltaWeight("param00000");
        EXPECT_TRUE(store().mDeltaWeights.empty()) << broken.first;
    }
}

TEST_F(StoreTest, BrokenNetworkConfigsGiveAnEmptyVersion) {
    for (const auto& broken : brokenFiles(R"({"localNetworkVersion": "v1"})")) {
        writeSystem("NetworkConfig.json", broken.second);
        rebuildStore();
        EXPECT_EQ(store().mLocalNetworkVersion, "") << broken.first;
    }
}

// The whole walk over a tree in which every file is broken in another way.
TEST_F(StoreTest, FullParseOverABrokenTreeLoadsOnlyTheIntactModes) {
    writeLocation(parse(R"({"supportWeightDelta": 1})"));
    const auto broken = brokenFiles(compact(modeDocument("param00000")));
    const auto names = defaultModeNames();
    for (size_t i = 0; i < names.size(); ++i) {
        if (i < broken.size())
            writeSystem("underlight_" + names[i] + ".json", broken[i].second);
        else
            writeMode(names[i]);
        writeSystem("underlight_" + names[i] + "_weights.json", broken[i % broken.size()].second);
    }
    EXPECT_EQ(store().underDisplayParamParaseAllMode(), 0);
    EXPECT_EQ(store().mParamModes.size(), names.size() - broken.size());
    EXPECT_TRUE(store().mAllModeParsed);
}

}  // namespace
}  // namespace paramtest
