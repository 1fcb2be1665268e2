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

TEST_P(SplitStringCases, Pieces) {
    std::vector<std::string> pieces;
    SplitString(GetParam().text, GetParam().separator, pieces);
    EXPECT_EQ(pieces, GetParam().pieces);
}

INSTANTIATE_TEST_SUITE_P(
        Table, SplitStringCases,
        ::testing::Values(SplitCase{"a,b,,c", ",", {"a", "b", "", "c"}}, SplitCase{"a,", ",", {"a", ""}},
                          SplitCase{",a", ",", {"", "a"}}, SplitCase{"", ",", {""}},
                          SplitCase{"abc", ",", {"abc"}},
                          // The search resumes one character after the start of a match.
                          SplitCase{"a::b", "::", {"a", ":b"}}, SplitCase{"a::::b", "::", {"a", "", "", ":b"}},
                          SplitCase{"x--", "--", {"x", "-"}}, SplitCase{"1 2  3", " ", {"1", "2", "", "3"}}));

TEST(SplitString, AppendsAfterExistingPieces) {
    std::vector<std::string> pieces{"keep"};
    SplitString("a,b", ",", pieces);
    SplitString("c", ",", pieces);
    EXPECT_EQ(pieces, (std::vector<std::string>{"keep", "a", "b", "c"}));
}

TEST(SplitStringDeathTest, EmptySeparatorEndsTheProcess) {
    std::vector<std::string> pieces;
    EXPECT_DEATH(SplitString("ab", "", pieces),
                 "out_of_range was thrown in -fno-exceptions mode with message \"basic_string\"");
}

}  // namespace
