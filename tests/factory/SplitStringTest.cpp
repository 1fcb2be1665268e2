#include <gtest/gtest.h>

#include "factory/SplitString.h"

using android::sensor::SplitString;

namespace {

struct SplitCase {
    const char* text;
    const char* separator;
    std::vector<std::string> pieces;
};

class SplitStringCases : public ::testing::TestWithParam<SplitCase> {};

// Pieces are appended after whatever the vector already holds.
TEST_P(SplitStringCases, AppendsPieces) {
    std::vector<std::string> pieces{"keep"};
    SplitString(GetParam().text, GetParam().separator, pieces);
    std::vector<std::string> want{"keep"};
    want.insert(want.end(), GetParam().pieces.begin(), GetParam().pieces.end());
    EXPECT_EQ(pieces, want);
}

INSTANTIATE_TEST_SUITE_P(
        Table, SplitStringCases,
        ::testing::Values(SplitCase{"a,b,,c", ",", {"a", "b", "", "c"}}, SplitCase{"a,", ",", {"a", ""}},
                          SplitCase{",a", ",", {"", "a"}}, SplitCase{"", ",", {""}},
                          SplitCase{"abc", ",", {"abc"}},
                          // The search resumes one character after the start of a match.
                          SplitCase{"a::b", "::", {"a", ":b"}}, SplitCase{"a::::b", "::", {"a", "", "", ":b"}},
                          SplitCase{"x--", "--", {"x", "-"}}, SplitCase{"1 2  3", " ", {"1", "2", "", "3"}}));

TEST(SplitStringDeathTest, EmptySeparatorEndsTheProcess) {
    std::vector<std::string> pieces;
    EXPECT_DEATH(SplitString("ab", "", pieces),
                 "out_of_range was thrown in -fno-exceptions mode with message \"basic_string\"");
}

}  // namespace
