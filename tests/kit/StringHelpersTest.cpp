#include "StringHelpers.h"

#include <gtest/gtest.h>

// The order of every file list.
TEST(StringHelpersTest, CaseInsensitiveOrder) {
    struct Case {
        const char* a;
        const char* b;
        int expected;
    };
    const Case cases[] = {
        {"abc", "ABC", 0},
        {"ab", "ABC", -1},  // a shorter equal prefix sorts first
        {"b", "ABC", 1},
        {"[", "A", -1},            // "A" folds to 97 before comparing with 91
        {"\xE9t\xE9", "zeta", 1},  // bytes above 127 are not folded
        {"", "", 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(cistrcmp(c.a, c.b), c.expected) << c.a << " / " << c.b;
    }
}
