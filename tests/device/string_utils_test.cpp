// The string helpers that cut action names and notification payloads.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "StringUtils.h"

namespace qartest {
namespace {

using namespace stringUtils;

// Results rendered as text so that every helper fits one table.
std::string show(bool b) {
    return b ? "true" : "false";
}
std::string show(const std::vector<std::string>& pieces) {
    std::string out;
    for (const std::string& piece : pieces) out += "[" + piece + "]";
    return out;
}

TEST(StringUtilsTest, EdgeCases) {
    struct Case {
        const char* name;
        std::function<std::string()> call;
        std::string expected;
    };
    const std::vector<Case> cases = {
            {"contains empty in empty", [] { return show(contains("", "")); }, "true"},
            {"contains longer sub", [] { return show(contains("ab", "abc")); }, "false"},
            {"contains marker inside", [] { return show(contains("xTRIVEX_A", "TRIVEX_")); },
             "true"},
            {"contains is case-sensitive", [] { return show(contains("trivex_", "TRIVEX_")); },
             "false"},
            {"equals trailing blank", [] { return show(equals("a", "a ")); }, "false"},
            {"equals embedded NUL",
             [] { return show(equals(std::string("a\0b", 3), std::string("a\0c", 3))); }, "false"},
            {"parseInt prefix", [] { return valueOf(parseInt(" 42abc")); }, "42"},
            {"parseInt negative", [] { return valueOf(parseInt("-7")); }, "-7"},
            {"parseInt plus and blanks", [] { return valueOf(parseInt("\t+060x")); }, "60"},
            {"parseInt no digit", [] { return valueOf(parseInt("abc")); }, "0"},
            {"parseInt sign only", [] { return valueOf(parseInt("-")); }, "0"},
            {"parseInt int max", [] { return valueOf(parseInt("2147483647")); }, "2147483647"},
            {"parseInt int min", [] { return valueOf(parseInt("-2147483648")); }, "-2147483648"},
            {"parseInt just over", [] { return valueOf(parseInt("2147483648")); }, "0"},
            {"parseInt long overflow", [] { return valueOf(parseInt("99999999999999999999")); },
             "0"},
            {"trim whitespace", [] { return trim("\t 12 \r\n", WHITESPACE); }, "12"},
            {"trim all blanks", [] { return trim("   ", WHITESPACE); }, ""},
            {"trim keeps inner blanks", [] { return trim(" a b ", WHITESPACE); }, "a b"},
            {"trimLeft empty set", [] { return trimLeft("xx", ""); }, "xx"},
            {"trimLeft null set", [] { return trimLeft(" x", nullptr); }, " x"},
            {"trimLeft only", [] { return trimLeft("xxaxx", "x"); }, "axx"},
            {"trimRight only", [] { return trimRight("xxaxx", "x"); }, "xxa"},
            {"split collapses runs", [] { return show(split(",,a,,b,", ",")); }, "[a][b]"},
            {"split on a set", [] { return show(split("a-b:c", "-:")); }, "[a][b][c]"},
            {"split empty s", [] { return show(split("", ",")); }, ""},
            {"split empty set", [] { return show(split("abc", "")); }, "[abc]"},
            {"split only delimiters", [] { return show(split(",,,", ",")); }, ""},
            {"split NUL delimiter",
             [] { return show(split(std::string("a\0b", 3), std::string(1, '\0'))); }, "[a][b]"},
    };
    for (const Case& c : cases) EXPECT_EQ(c.call(), c.expected) << c.name;
}

TEST(StringUtilsTest, WhitespaceSet) {
    EXPECT_STREQ(WHITESPACE, " \n\r\t");
}

}  // namespace
}  // namespace qartest
