#include "StringHelpers.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(StringHelpersTest, CaseInsensitiveOrder) {
    EXPECT_EQ(cistrcmp("abc", "ABC"), 0);
    EXPECT_EQ(cistrcmp("ab", "ABC"), -1);  // a shorter equal prefix sorts first
    EXPECT_EQ(cistrcmp("ABC", "ab"), 1);
    EXPECT_EQ(cistrcmp("b", "ABC"), 1);
    EXPECT_EQ(cistrcmp("[", "a"), -1);  // 91 < 97
    EXPECT_EQ(cistrcmp("[", "A"), -1);  // "A" folds to 97 before comparing
    EXPECT_EQ(cistrcmp("_", "a"), -1);
    EXPECT_EQ(cistrcmp("\xE9t\xE9", "zeta"), 1);  // bytes above 127 are not folded
    EXPECT_EQ(cistrcmp("", ""), 0);
    EXPECT_EQ(cistrncmp("abcX", "ABCy", 3), 0);
    EXPECT_EQ(cistrncmp("abcX", "ABCy", 4), -1);  // 'X' folds to 'x' < 'y'
}

TEST(StringHelpersTest, CaseInsensitiveSearch) {
    const char* haystack = "Hello World";
    EXPECT_EQ(cistrstr(haystack, "WORLD"), haystack + 6);
    EXPECT_EQ(cistrstr(haystack, "worlds"), nullptr);
    EXPECT_EQ(cistrstr(haystack, ""), haystack);
    EXPECT_EQ(cistrstr("", ""), nullptr);
    EXPECT_EQ(cistrstr("ab", "abc"), nullptr);
}

TEST(StringHelpersTest, CopiesUpperCaseAndColours) {
    EXPECT_EQ(dup(nullptr), std::nullopt);
    EXPECT_EQ(dup(""), std::string());
    EXPECT_EQ(MyUpper('|'), '\\');
    EXPECT_EQ(MyUpper('{'), '[');
    EXPECT_EQ(MyUpper('}'), ']');
    EXPECT_EQ(MyUpper('q'), 'Q');
    char text[] = "ab{c}|1";
    EXPECT_EQ(UpString(text), 7);
    EXPECT_STREQ(text, "AB{C}|1");  // the punctuation mapping applies to MyUpper alone
    EXPECT_EQ(UpColor(250, 10), 255);
    EXPECT_EQ(UpColor(100, 10), 110);
    EXPECT_EQ(DownColor(5, 10), 0);
    EXPECT_EQ(DownColor(200, 10), 190);
}
