#include "tests/param/ParamFixture.h"

namespace paramtest {
namespace {

using Grid = std::vector<std::vector<float>>;

struct GridCase {
    const char* name;
    const char* file;       // weight file text for mode param00000
    bool stored;
    Grid expected;
};

class WeightGrids : public StoreTest, public ::testing::WithParamInterface<GridCase> {};

TEST_P(WeightGrids, StoredAsWritten) {
    writeSystem("underlight_param00000_weights.json", std::string(GetParam().file));
    store();
    logs->clear();
    store().parseOneModeDeltaWeight("param00000");
    ASSERT_EQ(store().mDeltaWeights.count("param00000"), GetParam().stored ? 1u : 0u);
    if (GetParam().stored) {
        EXPECT_EQ(store().mDeltaWeights.at("param00000"), GetParam().expected);
        EXPECT_TRUE(logs->contains("UL: parseOneModeDeltaWeight param00000 end"));
    }
}

INSTANTIATE_TEST_SUITE_P(
        Cases, WeightGrids,
        ::testing::Values(GridCase{"ragged", R"({"param00000": [[1, 2, 3], [4, 5, 6, 7, 8]]})", true,
                                   {{1, 2, 3}, {4, 5, 6, 7, 8}}},
                          GridCase{"fractions", R"({"param00000": [[0.25, -1.5e-3]]})", true, {{0.25f, -1.5e-3f}}},
                          GridCase{"row_not_array", R"({"param00000": [[1], 7, {"a": 1}, [2]]})", true,
                                   {{1}, {}, {}, {2}}},
                          GridCase{"empty", R"({"param00000": []})", true, {}},
                          GridCase{"other_mode_only", R"({"param00001": [[1]]})", false, {}},
                          GridCase{"not_array", R"({"param00000": {"0": [1]}})", false, {}}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(StoreTest, WeightMemberNotAnArrayLogsOnlyTheStartLine) {
    writeSystem("underlight_param00000_weights.json", std::string(R"({"param00000": 3})"));
    store();
    logs->clear();
    store().parseOneModeDeltaWeight("param00000");
    EXPECT_EQ(logs->texts(), std::vector<std::string>{"UL: parseOneModeDeltaWeight param00000 start"});
}

TEST_F(StoreTest, MissingOrInvalidWeightFileIsSilent) {
    store();
    logs->clear();
    store().parseOneModeDeltaWeight("param00000");
    writeSystem("underlight_param00001_weights.json", std::string("{\"param00001\": [[1,]"));
    store().parseOneModeDeltaWeight("param00001");
    EXPECT_TRUE(logs->texts().empty());
    EXPECT_TRUE(store().mDeltaWeights.empty());
}

TEST_F(StoreTest, FirstGridStaysOnRepeat) {
    writeSystem("underlight_param00000_weights.json", std::string(R"({"param00000": [[1]]})"));
    store().parseOneModeDeltaWeight("param00000");
    writeSystem("underlight_param00000_weights.json", std::string(R"({"param00000": [[2]]})"));
    logs->clear();
    store().parseOneModeDeltaWeight("param00000");
    EXPECT_EQ(store().mDeltaWeights.at("param00000"), (Grid{{1}}));
    EXPECT_EQ(logs->texts(), (std::vector<std::string>{"UL: parseOneModeDeltaWeight param00000 start",
                                                       "UL: parseOneModeDeltaWeight skip repeated mode = param00000"}));
}

struct KeyCase {
    int light, display;
    const char* key;
};

class WeightKeys : public StoreTest, public ::testing::WithParamInterface<KeyCase> {};

// The grid always comes from ACL 0, display mode 0, DC off of the IC pair;
// the IC numbers are used as they are.
TEST_P(WeightKeys, MissRemembersAnEmptyGrid) {
    const KeyCase& c = GetParam();
    store();
    logs->clear();
    EXPECT_TRUE(store().getOneModeDeltaWeight(c.light, c.display).empty());
    EXPECT_EQ(logs->texts(), std::vector<std::string>{"UL: getOneModeDeltaWeight lightIC = " + std::to_string(c.light) +
                                                      ", displayIC = " + std::to_string(c.display) + " is null"});
    EXPECT_EQ(store().mDeltaWeights.count(c.key), 1u);
    // The remembered miss now shadows the file for the store's lifetime.
    writeSystem(std::string("underlight_") + c.key + "_weights.json", "{\"" + std::string(c.key) + "\": [[1]]}");
    store().parseOneModeDeltaWeight(c.key);
    EXPECT_TRUE(store().getOneModeDeltaWeight(c.light, c.display).empty());
    EXPECT_TRUE(logs->contains(std::string("UL: parseOneModeDeltaWeight skip repeated mode = ") + c.key));
}

INSTANTIATE_TEST_SUITE_P(Cases, WeightKeys,
                         ::testing::Values(KeyCase{1, 0, "param00100"}, KeyCase{12, 0, "param001200"},
                                           KeyCase{0, -1, "param000-10"}, KeyCase{3, 4, "param00340"}));

TEST_F(StoreTest, HitReturnsTheStoredGridWithoutLogging) {
    writeSystem("underlight_param00210_weights.json", std::string(R"({"param00210": [[0.5, 1]]})"));
    store().parseOneModeDeltaWeight("param00210");
    logs->clear();
    Grid& grid = store().getOneModeDeltaWeight(2, 1);
    EXPECT_EQ(grid, (Grid{{0.5f, 1.0f}}));
    EXPECT_EQ(&grid, &store().mDeltaWeights.at("param00210"));
    EXPECT_TRUE(logs->texts().empty());
}

}  // namespace
}  // namespace paramtest
