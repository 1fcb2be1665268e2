#include <array>
#include <functional>

#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

const char* const kTables[] = {"red", "green", "blue", "ir"};

const double (*table(const Info& info, int k))[7] {
    switch (k) {
        case 0: return info.red;
        case 1: return info.green;
        case 2: return info.blue;
        default: return info.ir;
    }
}

TEST_F(StoreTest, CompleteModeFileFillsEveryField) {
    writeMode("param00000");
    store();
    logs->clear();
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(loadedModes(), std::vector<std::string>{"param00000"});
    const Info& info = *store().mParamModes.at("param00000");
    EXPECT_EQ(info.header, 0);
    EXPECT_FALSE(info.flag);
    for (int s = 0; s < 7; ++s) EXPECT_EQ(info.goldenValue[s], 100 + s);
    for (int s = 0; s < 6; ++s) EXPECT_EQ(info.paramSection[s], 10 * (s + 1));
    for (int k = 0; k < 4; ++k)
        for (int t = 0; t < 56; ++t)
            for (int s = 0; s < 7; ++s) ASSERT_EQ(table(info, k)[t][s], coefficient(k, t, s)) << k << " " << t << " " << s;
    EXPECT_EQ(logs->texts(), (std::vector<std::string>{"UL: UnderDisplayParamParseOneMode param00000 start",
                                                       "UL: UnderDisplayParamParseOneMode param00000 end"}));
}

struct GoldenCase {
    const char* name;
    const char* value;  // null: key absent
    std::array<int, 7> expected;
};

class GoldenValues : public StoreTest, public ::testing::WithParamInterface<GoldenCase> {};

TEST_P(GoldenValues, ReadByTheirShape) {
    Json::Value doc = modeDocument("param00000");
    doc["param00000"].removeMember("param_golden_value");
    if (GetParam().value) doc["param00000"]["param_golden_value"] = parse(GetParam().value);
    writeSystem("underlight_param00000.json", doc);
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(store().mParamModes.count("param00000"), 1u);
    const Info& info = *store().mParamModes.at("param00000");
    EXPECT_EQ((std::array<int, 7>{info.goldenValue[0], info.goldenValue[1], info.goldenValue[2], info.goldenValue[3],
                                  info.goldenValue[4], info.goldenValue[5], info.goldenValue[6]}),
              GetParam().expected);
}

// Values the file does not set stay as allocated, which is zero.
INSTANTIATE_TEST_SUITE_P(Cases, GoldenValues,
                         ::testing::Values(GoldenCase{"one_number", "250", {250, 250, 250, 250, 250, 250, 250}},
                                           GoldenCase{"three", "[100, 110, 120]", {100, 100, 100, 100, 100, 100, 100}},
                                           GoldenCase{"seven", "[1, 2, 3, 4, 5, 6, 7]", {1, 2, 3, 4, 5, 6, 7}},
                                           GoldenCase{"eight", "[1, 2, 3, 4, 5, 6, 7, 8]", {1, 1, 1, 1, 1, 1, 1}},
                                           GoldenCase{"empty_array", "[]", {0, 0, 0, 0, 0, 0, 0}},
                                           GoldenCase{"zero", "0", {0, 0, 0, 0, 0, 0, 0}},
                                           GoldenCase{"negative", "-5", {0, 0, 0, 0, 0, 0, 0}},
                                           GoldenCase{"absent", nullptr, {0, 0, 0, 0, 0, 0, 0}}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, GoldenValueReturnsTheLastValueRead) {
    Info info{};
    EXPECT_EQ(store().parseOneModeGoldenValue(&info, parse(R"({"m": {"param_golden_value": [1,2,3,4,5,6,9]}})"), "m"), 9);
    EXPECT_EQ(store().parseOneModeGoldenValue(&info, parse(R"({"m": {"param_golden_value": [4, 8]}})"), "m"), 4);
    EXPECT_EQ(store().parseOneModeGoldenValue(&info, parse(R"({"m": {"param_golden_value": -3}})"), "m"), -3);
    EXPECT_EQ(store().parseOneModeGoldenValue(nullptr, parse(R"({"m": {"param_golden_value": 5}})"), "m"), 0);
}

struct SectionCase {
    const char* name;
    const char* value;
    std::array<int, 6> expected;
};

class Sections : public StoreTest, public ::testing::WithParamInterface<SectionCase> {};

TEST_P(Sections, SixBoundsZeroFilled) {
    Json::Value doc = modeDocument("param00000");
    doc["param00000"].removeMember("param_section");
    if (GetParam().value) doc["param00000"]["param_section"] = parse(GetParam().value);
    writeSystem("underlight_param00000.json", doc);
    store().underDisplayParamParseOneMode("param00000");
    ASSERT_EQ(store().mParamModes.count("param00000"), 1u);
    const Info& info = *store().mParamModes.at("param00000");
    EXPECT_EQ((std::array<int, 6>{info.paramSection[0], info.paramSection[1], info.paramSection[2],
                                  info.paramSection[3], info.paramSection[4], info.paramSection[5]}),
              GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, Sections,
                         ::testing::Values(SectionCase{"three", "[10, 50, 100]", {10, 50, 100, 0, 0, 0}},
                                           SectionCase{"eight", "[1, 2, 3, 4, 5, 6, 7, 8]", {1, 2, 3, 4, 5, 6}},
                                           SectionCase{"number", "40", {0, 0, 0, 0, 0, 0}},
                                           SectionCase{"absent", nullptr, {0, 0, 0, 0, 0, 0}}),
                         [](const auto& info) { return std::string(info.param.name); });

// Shapes of the coefficient tables. `edit` changes one table of a valid file.
struct ShapeCase {
    std::function<void(Json::Value&)> edit;
    bool stored;
};

class TableShapes : public StoreTest, public ::testing::WithParamInterface<ShapeCase> {};

TEST_P(TableShapes, OnlyRowCountAndRowZeroAreChecked) {
    Json::Value doc = modeDocument("param00000");
    GetParam().edit(doc["param00000"]);
    writeSystem("underlight_param00000.json", doc);
    store();
    logs->clear();
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_EQ(store().mParamModes.count("param00000"), GetParam().stored ? 1u : 0u);
    if (!GetParam().stored) {
        EXPECT_EQ(logs->texts(), std::vector<std::string>{"UL: UnderDisplayParamParseOneMode param00000 start"});
    }
}

Json::Value dropLast(const Json::Value& row) {
    Json::Value out(Json::arrayValue);
    for (Json::ArrayIndex i = 0; i + 1 < row.size(); ++i) out.append(row[i]);
    return out;
}

std::vector<ShapeCase> shapeCases() {
    std::vector<ShapeCase> cases;
    for (const char* key : kTables) {
        std::string k = key;
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k].resize(55); }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k].append(m[k][0]); }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k][0].append(1.0); }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k][0] = dropLast(m[k][0]); }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m.removeMember(k); }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k] = 5; }, false});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k][3] = dropLast(m[k][3]); }, true});
        cases.push_back(ShapeCase{[k](Json::Value& m) { m[k][3].append(1.0); }, true});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Cases, TableShapes, ::testing::ValuesIn(shapeCases()));

TEST_F(StoreTest, RowZeroAsAnObjectOfSevenIsNotATable) {
    Json::Value doc = modeDocument("param00000");
    Json::Value row(Json::objectValue);
    for (int i = 0; i < 7; ++i) row[std::string(1, static_cast<char>('a' + i))] = i;
    doc["param00000"]["red"][0] = row;
    writeSystem("underlight_param00000.json", doc);
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_TRUE(store().mParamModes.empty());
}

TEST_F(StoreTest, ShortRowsReadZeroAndLongRowsAreCut) {
    Json::Value doc = modeDocument("param00000");
    auto& m = doc["param00000"];
    m["red"][3] = dropLast(m["red"][3]);
    m["blue"][10] = Json::Value(Json::arrayValue);
    m["ir"][55].append(12345.0);
    writeSystem("underlight_param00000.json", doc);
    store().underDisplayParamParseOneMode("param00000");
    const Info& info = *store().mParamModes.at("param00000");
    EXPECT_EQ(info.red[3][6], 0.0);
    EXPECT_EQ(info.red[3][5], coefficient(0, 3, 5));
    for (int s = 0; s < 7; ++s) EXPECT_EQ(info.blue[10][s], 0.0);
    EXPECT_EQ(info.ir[55][6], coefficient(3, 55, 6));
}

TEST_F(StoreTest, RedSetsTheShapeOfAllFourTables) {
    // Called on its own, the coefficient reader takes rows and columns from
    // "red" (within the record's bounds) for every table.
    Json::Value root = parse(R"({"m": {"red": [[1, 2], [3, 4]], "green": [[5, 6, 7], [8]], "ir": "x"}})");
    Info info{};
    info.green[0][2] = -1.0;
    store().parseOneModeRgbIr(&info, root, "m");
    EXPECT_EQ(info.red[1][1], 4.0);
    EXPECT_EQ(info.green[0][1], 6.0);
    EXPECT_EQ(info.green[0][2], -1.0);  // beyond red's two columns: untouched
    EXPECT_EQ(info.green[1][1], 0.0);
    EXPECT_EQ(info.blue[1][1], 0.0);
    EXPECT_EQ(info.ir[0][0], 0.0);

    Json::Value wide(Json::objectValue);
    for (int t = 0; t < 80; ++t)
        for (int s = 0; s < 9; ++s) wide["m"]["red"][t][s] = 1.0;
    store().parseOneModeRgbIr(&info, wide, "m");  // must stay inside 56 x 7
    EXPECT_EQ(info.red[55][6], 1.0);
    store().parseOneModeRgbIr(nullptr, wide, "m");
}

TEST_F(StoreTest, MissingInvalidOrObjectlessFilesStoreNothing) {
    store().underDisplayParamParseOneMode("param00000");  // no file
    writeSystem("underlight_param00001.json", std::string("{\"param00001\": [}"));
    store().underDisplayParamParseOneMode("param00001");
    EXPECT_TRUE(logs->texts().size() == 1u);  // the constructor's line only
    Json::Value doc = modeDocument("param00000");
    writeSystem("underlight_param01000.json", doc);  // holds another mode's object
    store().underDisplayParamParseOneMode("param01000");
    EXPECT_TRUE(store().mParamModes.empty());
    EXPECT_TRUE(logs->contains("UL: UnderDisplayParamParseOneMode param01000 start"));
}

TEST_F(StoreTest, OtherMembersOfTheRootAreIgnored) {
    Json::Value doc = modeDocument("param00000");
    doc["param00001"] = 5;
    doc["comment"] = "x";
    writeSystem("underlight_param00000.json", doc);
    store().underDisplayParamParseOneMode("param00000");
    EXPECT_EQ(loadedModes(), std::vector<std::string>{"param00000"});
}

}  // namespace
}  // namespace paramtest
