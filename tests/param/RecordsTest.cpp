// One mode's record and the delta-weight grids.
#include <functional>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

// `edit` changes a valid file: does the mode stay, and what is read. Of the
// tables only the row count and row 0 are measured.
struct ShapeCase {
    std::function<void(Json::Value& mode)> edit;
    bool stored;
    std::function<void(const Info&)> check;
};

class TableShapes : public StoreTest, public ::testing::WithParamInterface<ShapeCase> {};

TEST_P(TableShapes, DecideWhetherTheModeIsStored) {
    Json::Value doc = modeDocument("param00000");
    GetParam().edit(doc["param00000"]);
    writeSystem("underlight_param00000.json", compact(doc));
    store();
    logs->clear();
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(store().mParamModes.count("param00000"), GetParam().stored ? 1u : 0u);
    Lines expected{"UL: UnderDisplayParamParseOneMode param00000 start"};
    if (GetParam().stored) {
        expected.push_back("UL: UnderDisplayParamParseOneMode param00000 end");
        GetParam().check(*store().mParamModes.at("param00000"));
    }
    EXPECT_EQ(logs->texts(), expected);
}

Json::Value dropLast(Json::Value row) {
    row.resize(row.size() - 1);
    return row;
}

std::vector<ShapeCase> shapeCases() {
    std::vector<ShapeCase> cases = {{[](Json::Value&) {}, true, [](const Info& i) {  // the complete file
                                         for (int s = 0; s < 7; ++s) EXPECT_EQ(i.goldenValue[s], 100 + s);
                                         for (int s = 0; s < 6; ++s) EXPECT_EQ(i.paramSection[s], 10 * (s + 1));
                                         for (int k = 0; k < 4; ++k)
                                             for (int t = 0; t < 56; ++t)
                                                 for (int s = 0; s < 7; ++s)
                                                     ASSERT_EQ(table(i, k)[t][s], coefficient(k, t, s)) << k << t << s;
                                     }}};
    // Golden values: seven read as they are, any other length gives the first
    // to every section. Sections beyond the array read as 0, as allocated.
    auto ints = [&](const char* key, const char* json, std::vector<int> want) {
        cases.push_back({[=](Json::Value& m) { m[key] = parse(json); }, true, [=](const Info& i) {
                             const int* got = std::string(key) == "param_section" ? i.paramSection : i.goldenValue;
                             for (size_t s = 0; s < want.size(); ++s) EXPECT_EQ(got[s], want[s]) << key << json << s;
                         }});
    };
    ints("param_golden_value", "[100, 110, 120]", {100, 100, 100, 100, 100, 100, 100});
    ints("param_golden_value", "[]", {0, 0, 0, 0, 0, 0, 0});
    ints("param_section", "[10, 50, 100]", {10, 50, 100, 0, 0, 0});
    ints("param_section", "[1, 2, 3, 4, 5, 6, 7, 8]", {1, 2, 3, 4, 5, 6});
    ints("param_section", "40", {0, 0, 0, 0, 0, 0});
    const char* keys[] = {"red", "green", "blue", "ir"};
    for (int k = 0; k < 4; ++k) {
        const std::string key = keys[k];
        auto none = [](const Info&) {};
        cases.push_back({[key](Json::Value& m) { m[key].resize(55); }, false, none});
        cases.push_back({[key](Json::Value& m) { m[key].append(m[key][0]); }, false, none});
        cases.push_back({[key](Json::Value& m) { m[key][0].append(1.0); }, false, none});
        cases.push_back({[key](Json::Value& m) { m[key][0] = dropLast(m[key][0]); }, false, none});
        cases.push_back({[key](Json::Value& m) { m.removeMember(key); }, false, none});
        cases.push_back({[key](Json::Value& m) { m[key][0] = parse(R"({"a":1,"b":2,"c":3,"d":4,"e":5,"f":6,"g":7})"); },
                         false, none});
        cases.push_back({[key](Json::Value& m) { m[key][3] = dropLast(m[key][3]); }, true, [k](const Info& i) {
                             EXPECT_EQ(table(i, k)[3][6], 0.0);
                             EXPECT_EQ(table(i, k)[3][5], coefficient(k, 3, 5));
                         }});
        cases.push_back({[key](Json::Value& m) { m[key][55].append(12345.0); }, true,
                         [k](const Info& i) { EXPECT_EQ(table(i, k)[55][6], coefficient(k, 55, 6)); }});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Cases, TableShapes, ::testing::ValuesIn(shapeCases()));

TEST_F(StoreTest, RedSetsTheShapeOfAllFourTablesWithinTheRecord) {
    Info info{};
    info.green[0][2] = -1.0;
    store().parseOneModeRgbIr(&info, parse(R"({"m": {"red": [[1, 2], [3, 4]], "green": [[5, 6, 7], [8]], "ir": "x"}})"), "m");
    EXPECT_EQ(info.red[1][1], 4.0);
    EXPECT_EQ(info.green[0][1], 6.0);
    EXPECT_EQ(info.green[0][2], -1.0);  // beyond red's two columns: not read
    EXPECT_EQ(info.green[1][1], 0.0);
    EXPECT_EQ(info.ir[0][0], 0.0);
    Json::Value wide(Json::objectValue);
    for (int t = 0; t < 80; ++t)
        for (int s = 0; s < 9; ++s) wide["m"]["red"][t][s] = 1.0;
    store().parseOneModeRgbIr(&info, wide, "m");  // stays inside 56 x 7
    EXPECT_EQ(info.red[55][6], 1.0);
}

// ---- Delta weights ---------------------------------------------------------------

using Grid = std::vector<std::vector<float>>;

struct GridCase {
    const char* name;
    const char* file;
    bool stored;
    Grid expected;
};

class WeightFiles : public StoreTest, public ::testing::WithParamInterface<GridCase> {};

TEST_P(WeightFiles, StoredAsWritten) {
    writeSystem("underlight_param00000_weights.json", GetParam().file);
    store();
    logs->clear();
    store().parseOneModeDeltaWeight("param00000");
    ASSERT_EQ(store().mDeltaWeights.count("param00000"), GetParam().stored ? 1u : 0u);
    if (GetParam().stored)
        EXPECT_EQ(store().mDeltaWeights.at("param00000"), GetParam().expected);
    else
        EXPECT_EQ(logs->texts(), Lines{"UL: parseOneModeDeltaWeight param00000 start"});
}

INSTANTIATE_TEST_SUITE_P(
        Cases, WeightFiles,
        ::testing::Values(GridCase{"ragged", R"({"param00000": [[1, 2, 3], [4, 5, 6, 7, 8]]})", true, {{1, 2, 3}, {4, 5, 6, 7, 8}}},
                          GridCase{"row_not_array", R"({"param00000": [[1], 7, {"a": 1}, [-2.5e-3]]})", true,
                                   {{1}, {}, {}, {-2.5e-3f}}},
                          GridCase{"empty", R"({"param00000": []})", true, {}},
                          GridCase{"other_mode_only", R"({"param00001": [[1]]})", false, {}},
                          GridCase{"not_array", R"({"param00000": 3})", false, {}}),
        [](const auto& info) { return std::string(info.param.name); });

struct KeyCase {
    int light, display;
    const char* key;
};

class WeightKeys : public StoreTest, public ::testing::WithParamInterface<KeyCase> {};

// Grids come from ACL 0, display mode 0, DC off of the IC pair, numbers as
// given. A miss is remembered and shadows the file for the store's lifetime.
TEST_P(WeightKeys, MissRemembersAnEmptyGrid) {
    const KeyCase& c = GetParam();
    store();
    logs->clear();
    EXPECT_TRUE(store().getOneModeDeltaWeight(c.light, c.display).empty());
    EXPECT_EQ(logs->texts(), Lines{"UL: getOneModeDeltaWeight lightIC = " + std::to_string(c.light) +
                                   ", displayIC = " + std::to_string(c.display) + " is null"});
    writeSystem(std::string("underlight_") + c.key + "_weights.json", "{\"" + std::string(c.key) + "\": [[1]]}");
    store().parseOneModeDeltaWeight(c.key);
    EXPECT_TRUE(store().getOneModeDeltaWeight(c.light, c.display).empty());
    EXPECT_TRUE(logs->contains(std::string("UL: parseOneModeDeltaWeight skip repeated mode = ") + c.key));
}

INSTANTIATE_TEST_SUITE_P(Cases, WeightKeys,
                         ::testing::Values(KeyCase{1, 0, "param00100"}, KeyCase{12, 0, "param001200"},
                                           KeyCase{0, -1, "param000-10"}));

}  // namespace
}  // namespace paramtest
