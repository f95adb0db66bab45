// The session window's pure logic: host paths, the order of the panes, the local directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "HostPath.h"
#include "ListingSort.h"
#include "LocalListing.h"
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

// The case-insensitive order of every file list, where equal names keep the order listed.
TEST(ListingSortTest, CaseIgnoredShorterPrefixFirstAndEqualNamesKeepTheirOrder) {
    std::vector<EntryStringItem> items;
    for (const char* name : {"b", "Ab", "a", "[x", "A", "ab", "_", "9"}) {
        items.push_back({name, 0, std::to_string(items.size()), 0});
    }
    ListingSort::SortList(items);
    Strings order;
    for (const EntryStringItem& item : items) {
        order.push_back(item.text + "@" + item.path);
    }
    EXPECT_EQ(order, (Strings{"9@7", "[x@3", "_@6", "a@2", "A@4", "Ab@1", "ab@5", "b@0"}));

    // Long enough lists that an unstable sort would show.
    std::vector<EntryStringItem> many;
    for (int i = 0; i < 200; ++i) {
        many.push_back({i % 3 ? "same" : "SAME", 0, std::to_string(1000 + i), 0});
    }
    ListingSort::SortList(many);
    EXPECT_TRUE(std::is_sorted(many.begin(), many.end(), [](const auto& a, const auto& b) {
        return a.path < b.path;
    })) << "equal names keep their order";
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
