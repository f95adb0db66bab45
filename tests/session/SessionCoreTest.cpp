// The session window's pure logic: host paths, the order of the panes, the local directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "HostPath.h"
#include "ListingSort.h"
#include "LocalListing.h"
#include "StringHelpers.h"
#include "TempDir.h"

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

TEST(HostPathTest, UpAndDown) {
    const std::pair<const char*, const char*> parents[] = {
        {"/pub", "/"}, {"/", "/"}, {"/pub/incoming", "/pub"}, {"", "/"}, {"relative", "/"}};
    for (const auto& [path, parent] : parents) {
        EXPECT_EQ(HostPath::Parent(path), parent) << path;
    }
    EXPECT_EQ(HostPath::Child("/", "pub"), "/pub");
    EXPECT_EQ(HostPath::Child("/pub", "my dir"), "/pub/my dir");
    EXPECT_EQ(HostPath::WithSlash("/pub"), "/pub/");
    EXPECT_EQ(HostPath::WithSlash("/"), "/");
}

std::vector<EntryStringItem> Items(const Strings& names) {
    std::vector<EntryStringItem> items;
    for (std::size_t i = 0; i < names.size(); ++i) {
        items.push_back({names[i], 0, std::to_string(i), 0});
    }
    return items;
}

// The order is the one of the pairwise sort that defines it, with the case-insensitive order of
// every file list: an item moves before its neighbour only when it compares smaller, so equal
// names keep their order.
TEST(ListingSortTest, CaseIgnoredShorterPrefixFirstAndEqualNamesKeepTheirOrder) {
    std::mt19937 generator(7);
    const char letters[] = "aAbB_[z.Z9";
    Strings random;
    for (int i = 0; i < 600; ++i) {
        std::string name;
        for (int length = 1 + static_cast<int>(generator() % 4); length > 0; --length) {
            name += letters[generator() % (sizeof letters - 1)];
        }
        random.push_back(name);
    }
    auto expected = Items(random);
    for (std::size_t i = 0; i + 1 < expected.size(); ++i) {
        for (std::size_t j = 0; j + 1 < expected.size() - i; ++j) {
            if (cistrcmp(expected[j].text.c_str(), expected[j + 1].text.c_str()) > 0) {
                std::swap(expected[j], expected[j + 1]);
            }
        }
    }
    auto sorted = Items(random);
    ListingSort::SortList(sorted);
    EXPECT_EQ(sorted, expected);  // paths carry the original positions
}

TEST(LocalListingTest, ResolvesChangesOfDirectory) {
    TempDir folder;
    fs::create_directories(folder / "a" / "b");
    const std::string a = fs::canonical(folder / "a").string() + "/";
    struct Case {
        std::string from;
        std::optional<std::string> to;
        std::string expected;
    };
    const Case cases[] = {
        {a, "b", a + "b/"},
        {a + "b/", "..", a},
        {a, "missing", a},
        {a, "/", "/"},
        {a, "/no/such/place", "/no/such/place/"},  // taken as typed
        {a, std::nullopt, a},
        {"/", "..", "/"},
    };
    for (Case c : cases) {
        EXPECT_EQ(LocalListing::Resolve(c.from, c.to ? &*c.to : nullptr), c.expected)
            << c.to.value_or("(none)");
    }
}

}  // namespace
