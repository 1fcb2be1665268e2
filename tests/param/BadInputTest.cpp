// Families of malformed input: every kind of wrong value at every kind of
// slot, every way a whole file can be broken. Each ends in the defined
// fallback with at most one line naming file and key, never in an abort.
#include <cstdio>
#include <cstring>
#include <functional>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

// A value put where a file expects a number, and how each kind of slot reads it.
struct Value {
    const char* json;
    bool intOk;  // integral and in int range
    double number;
    bool doubleOk, floatOk;  // finite as double / as float
};

const Value kValues[] = {
        {"null", true, 0, true, true},  // absent: zero, silently
        {"\"12\"", false, 0, false, false},
        {"true", false, 0, false, false},
        {"[]", false, 0, false, false},
        {"[1, 2]", false, 0, false, false},
        {"{\"a\": [1]}", false, 0, false, false},
        {"1", true, 1, true, true},
        {"-7", true, -7, true, true},
        {"250.0", true, 250, true, true},
        {"2.5", false, 2.5, true, true},
        {"2147483648", false, 2147483648.0, true, true},
        {"-2147483649", false, -2147483649.0, true, true},
        {"99999999999999999999999", false, 1e23, true, true},
        {"18446744073709551615", false, 18446744073709551615.0, true, true},
        {"1e300", false, 1e300, true, false},
        {"-1e300", false, -1e300, true, false},
};

enum class Kind { Int, Double, Float };

// One slot: a file whose text holds "@" where the value goes, the operation
// that reads it, and where the store keeps the result.
struct Slot {
    std::string file, text;
    Kind kind;
    std::string key;  // as the log line names it
    std::function<void(Store&)> run;
    std::function<double(Store&)> read;
    std::function<double(double)> map;  // value read -> value kept
    bool scalarOnly;  // arrays in this place have rules of their own
};

std::vector<Slot> slots() {
    using Read = std::function<double(Store&)>;
    using Map = std::function<double(double)>;
    const Map same = [](double v) { return v; }, isOne = [](double v) { return v == 1 ? 1.0 : 0.0; };
    const std::string loc = "underlight_paramlocation.json";
    auto parseLocation = [](Store& s) { s.parseLightLocation("NULL"); };
    auto location = [&](const std::string& key, const std::string& value, Read read, Map map) {
        return Slot{loc, "{\"paramlocation\": {\"" + key + "\": " + value + "}}", Kind::Int, "paramlocation." + key,
                    parseLocation, read, map, false};
    };
    auto record = [](Store& s) -> const Info& { return *s.mParamModes.at("param00000"); };
    // `path` leads from the mode's member `key` to the value.
    auto mode = [&](Kind kind, const std::string& key, std::vector<int> path, Read read, Map map, bool scalarOnly) {
        Json::Value doc = modeDocument("param00000");
        Json::Value* at = &doc["param00000"][key];
        for (int i : path) at = &(*at)[i];
        *at = 4242.25;
        std::string text = compact(doc);
        return Slot{"underlight_param00000.json", text.replace(text.find("4242.25"), 7, "@"), kind, "param00000." + key,
                    [](Store& s) { s.underDisplayParamParseOneMode("param00000"); }, read, map, scalarOnly};
    };
    std::vector<Slot> out = {
            location("notmSupportDcFeature", "@", [](Store& s) { return double(s.mSupportDcFeature); },
                     [](double v) { return v == 1 ? 0.0 : 1.0; }),
            location("supportAcl3", "@", [](Store& s) { return double(s.mSupportAcl3); }, isOne),
            location("supportSecondLight", "@", [](Store& s) { return double(s.mLightIcNum); }, same),
            location("supportSecondDisplay", "@", [](Store& s) { return double(s.mDisplayIcNum); }, same),
            location("isNeedCalIcLocationPixel", "@", [](Store& s) { return double(s.mIsNeedLocationCalculator); }, same),
            location("supportWeightDelta", "@", [](Store&) { return double(useChannelsWeightDelta); }, isOne),
            location("sensordisplaylocation", "[1, @, 3]", [](Store& s) { return double(s.mRect.coords[1]); }, same),
            location("sensordisplaylocationlightC", "[@]", [](Store& s) { return double(s.mRectLightC.coords[0]); }, same),
            {loc, R"({"paramlocation": {"k_1": [0, 0, 0, @]}})", Kind::Int, "paramlocation.k_1",
             [](Store& s) { Store::UnderLightRect r; s.getCurrentUnderDisplayLightRectCompatible("k_", 1, &r); },
             [](Store& s) { return double(s.mRectDpiCompatible.coords[3]); }, same, false},
            mode(Kind::Int, "param_golden_value", {}, [=](Store& s) { return double(record(s).goldenValue[6]); },
                 [](double v) { return v >= 1 ? v : 0.0; }, true),
            mode(Kind::Int, "param_golden_value", {6}, [=](Store& s) { return double(record(s).goldenValue[6]); }, same, false),
            mode(Kind::Int, "param_section", {2}, [=](Store& s) { return double(record(s).paramSection[2]); }, same, false),
            {"underlight_param00000_weights.json", R"({"param00000": [[0.5, @, 2], [3]]})", Kind::Float, "param00000",
             [](Store& s) { s.parseOneModeDeltaWeight("param00000"); },
             [](Store& s) { return double(s.mDeltaWeights.at("param00000")[0][1]); }, same, false},
    };
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k)
        for (int t : {0, 55})
            for (int s : {0, 6})
                out.push_back(mode(Kind::Double, keys[k], {t, s}, [=](Store& st) { return table(record(st), k)[t][s]; },
                                   same, false));
    return out;
}

TEST_F(StoreTest, EverySlotReadsWrongValuesAsAbsent) {
    const std::vector<Slot> all = slots();
    for (size_t i = 0; i < all.size(); ++i)
        for (const Value& v : kValues) {
            const Slot& slot = all[i];
            if (slot.scalarOnly && v.json[0] == '[') continue;
            const std::string what = "slot " + std::to_string(i) + " " + slot.key + " with " + v.json;
            std::string text = slot.text;
            writeSystem(slot.file, text.replace(text.find('@'), 1, v.json));
            rebuildStore();
            logs->clear();
            slot.run(store());
            const bool ok = slot.kind == Kind::Int ? v.intOk : slot.kind == Kind::Double ? v.doubleOk : v.floatOk;
            const double number = slot.kind == Kind::Float ? double(float(v.number)) : v.number;
            EXPECT_EQ(slot.read(store()), slot.map(ok ? number : 0.0)) << what;
            const Lines bad = badValueLines();
            if (!ok && std::strcmp(v.json, "null") != 0) {
                ASSERT_EQ(bad.size(), 1u) << what;
                EXPECT_NE(bad[0].find("/system/etc/SensorConfig/" + slot.file + ": " + slot.key + " is not "), std::string::npos)
                        << bad[0];
            } else {
                EXPECT_TRUE(bad.empty()) << what << ": " << bad[0];
            }
        }
}

TEST_F(StoreTest, VersionsOfTheWrongTypeReadAsEmpty) {
    for (const Value& v : kValues) {
        writeSystem("NetworkConfig.json", std::string("{\"localNetworkVersion\": ") + v.json + "}");
        rebuildStore();
        const bool container = v.json[0] == '[' || v.json[0] == '{';
        EXPECT_EQ(store().mLocalNetworkVersion, container ? "" : parse(v.json).asString()) << v.json;
    }
}

// Anything but the expected structure above the values drops the mode, with
// no line beyond the start line. Rows after row 0 are not measured: a wrong
// value there (the last place) is a row of zeros.
TEST_F(StoreTest, WrongStructureDropsTheModeOrReadsAsZeros) {
    const std::vector<std::function<Json::Value&(Json::Value&)>> places = {
            [](Json::Value& d) -> Json::Value& { return d; },
            [](Json::Value& d) -> Json::Value& { return d["param00000"]; },
            [](Json::Value& d) -> Json::Value& { return d["param00000"]["red"]; },
            [](Json::Value& d) -> Json::Value& { return d["param00000"]["ir"][0]; },
            [](Json::Value& d) -> Json::Value& { return d["param00000"]["ir"][55]; },
    };
    for (size_t p = 0; p < places.size(); ++p)
        for (const Value& v : kValues) {
            Json::Value doc = modeDocument("param00000");
            places[p](doc) = parse(v.json);
            writeSystem("underlight_param00000.json", compact(doc));
            rebuildStore();
            logs->clear();
            store().underDisplayParamParseOneMode("param00000");
            if (p + 1 < places.size()) {
                EXPECT_TRUE(store().mParamModes.empty()) << p << " " << v.json;
                EXPECT_LE(logs->texts().size(), 1u) << p << " " << v.json;
                continue;
            }
            const double* row = store().mParamModes.at("param00000")->ir[55];
            EXPECT_EQ(row[1], std::strcmp(v.json, "[1, 2]") == 0 ? 2.0 : 0.0) << v.json;
            EXPECT_EQ(row[6], 0.0) << v.json;
        }
}

// ---- Whole files ---------------------------------------------------------------

std::string deep(int depth, const char* open, const char* close) {
    std::string s;
    for (int i = 0; i < depth; ++i) s += open;
    s += "1";
    for (int i = 0; i < depth; ++i) s += close;
    return s;
}

// Broken versions of the valid document text `doc`; the last ones are valid
// JSON of the wrong shape.
std::vector<std::pair<std::string, std::string>> brokenFiles(const std::string& doc) {
    const size_t comma = doc.find(',');
    return {{"missing", ""},  // written as no file at all
            {"empty", " \n"},
            {"not_json", "paramlocation = 1"},
            {"binary", std::string("\0\xff\xfe{\x01", 5)},
            {"all_but_last", doc.substr(0, doc.size() - 1)},
            {"missing_comma", comma == std::string::npos ? "{" + doc : doc.substr(0, comma) + " " + doc.substr(comma + 1)},
            {"number_beyond_double", "{\"x\": 1e400}"},
            {"deep_arrays", deep(100000, "[", "]")},
            {"deep_objects", deep(100000, "{\"a\":", "}")},
            {"deep_just_over", deep(257, "[", "]")},
            {"null", "null"},
            {"array", "[1, 2, 3]"},
            {"empty_object", "{}"},
            {"deep_but_allowed", deep(256, "[", "]")}};
}

bool validJson(const std::string& name) {
    return name == "null" || name == "array" || name == "empty_object" || name == "deep_but_allowed";
}

// "missing" comes first in brokenFiles: no file has been written yet.
TEST_F(StoreTest, BrokenLocationFileKeepsEveryValue) {
    for (const auto& broken : brokenFiles(R"({"paramlocation": {"supportAcl3": 1, "sensordisplaylocation": [1, 2, 3, 4]}})")) {
        const std::string& name = broken.first;
        if (name != "missing") writeSystem("underlight_paramlocation.json", broken.second);
        rebuildStore();
        logs->clear();
        store().mSupportAcl3 = true;
        store().mRect.coords[3] = 4;
        store().parseLightLocation("NULL");
        EXPECT_TRUE(store().mSupportAcl3) << name;
        EXPECT_EQ(store().mRect.coords[3], 4) << name;
        // Unparsable: the failure line alone; valid without the object: the two summaries.
        const Lines texts = logs->texts();
        ASSERT_EQ(texts.size(), validJson(name) ? 2u : 1u) << name;
        if (!validJson(name)) {
            EXPECT_EQ(texts[0].rfind("UL: parseLightLocation failed: ", 0), 0u) << texts[0];
        }
        if (name.rfind("deep", 0) == 0 && !validJson(name)) {
            EXPECT_EQ(texts[0], "UL: parseLightLocation failed: nesting deeper than 256 levels");
        }
    }
}

TEST_F(StoreTest, BrokenNetworkCopyFallsBackToTheSystemFile) {
    writeMode("param00000");
    for (const auto& broken : brokenFiles(compact(modeDocument("param00000")))) {
        if (broken.first != "missing") writeData("underlight_param00000.json", broken.second);
        rebuildStore();
        store().underDisplayParamParseOneMode("param00000");
        // Valid JSON without a version matches the empty local version and is used.
        EXPECT_EQ(store().mParamModes.size(), validJson(broken.first) ? 0u : 1u) << broken.first;
    }
}

TEST_F(StoreTest, BrokenWeightFileGivesNoGrid) {
    for (const auto& broken : brokenFiles(R"({"param00000": [[1, 2], [3, 4]]})")) {
        if (broken.first != "missing") writeSystem("underlight_param00000_weights.json", broken.second);
        rebuildStore();
        store().parseOneModeDeltaWeight("param00000");
        EXPECT_TRUE(store().mDeltaWeights.empty()) << broken.first;
    }
}

TEST_F(StoreTest, BracketsInCommentsAndStringsAreNotNesting) {
    Json::Value doc = modeDocument("param00000");
    doc["note"] = std::string(5000, '[') + "\"{";
    writeSystem("underlight_param00000.json", "// ]]]]\n/* " + std::string(5000, '{') + " */" + compact(doc));
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_EQ(loadedModes(), Lines{"param00000"});
}

}  // namespace
}  // namespace paramtest
