// The session window's pure logic: host paths, the order of the panes, the local directory.
#include <gtest/gtest.h>
#include <sys/stat.h>

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

TEST(HostPathTest, UpAndDown) {
    EXPECT_EQ(HostPath::Parent("/pub"), "/");
    EXPECT_EQ(HostPath::Parent("/"), "/");
    EXPECT_EQ(HostPath::Parent("/pub/incoming"), "/pub");
    EXPECT_EQ(HostPath::Parent(""), "/");
    EXPECT_EQ(HostPath::Parent("relative"), "/");
    EXPECT_EQ(HostPath::Child("/", "pub"), "/pub");
    EXPECT_EQ(HostPath::Child("/pub", "my dir"), "/pub/my dir");
    EXPECT_EQ(HostPath::WithSlash("/pub"), "/pub/");
    EXPECT_EQ(HostPath::WithSlash("/"), "/");
}

std::vector<EntryStringItem> Items(const std::vector<std::string>& names) {
    std::vector<EntryStringItem> items;
    for (std::size_t i = 0; i < names.size(); ++i) {
        items.push_back({names[i], 0, std::to_string(i), 0});
    }
    return items;
}

// The pairwise sort that defines the order: an item moves before its neighbour when it
// compares smaller, so equal names keep their order.
void BubbleSort(std::vector<EntryStringItem>& items) {
    int n = static_cast<int>(items.size());
    for (int i = 0; i < n - 1; ++i) {
        for (int j = 0; j < n - i - 1; ++j) {
            if (cistrcmp(items[j].text.c_str(), items[j + 1].text.c_str()) > 0) {
                std::swap(items[j], items[j + 1]);
            }
        }
    }
}

TEST(ListingSortTest, SameOrderAsThePairwiseSort) {
    std::mt19937 generator(7);
    const char letters[] = "aAbB_[z.Z9";
    std::vector<std::string> names;
    for (int i = 0; i < 600; ++i) {
        std::string name;
        for (int length = 1 + static_cast<int>(generator() % 4); length > 0; --length) {
            name += letters[generator() % (sizeof letters - 1)];
        }
        names.push_back(name);
    }
    auto expected = Items(names);
    BubbleSort(expected);
    auto sorted = Items(names);
    ListingSort::SortList(sorted);
    EXPECT_EQ(sorted, expected);  // paths carry the original positions: equal names kept order
}

TEST(ListingSortTest, CaseIgnoredPrefixFirst) {
    auto items = Items({"readme", "B", "a", "README", "ab", "[x", "A"});
    ListingSort::SortList(items);
    std::vector<std::string> names;
    for (const auto& item : items) {
        names.push_back(item.text);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"[x", "a", "A", "ab", "B", "readme", "README"}));
}

TEST(ListingSortTest, VerboseSortReportsEveryPass) {
    std::vector<std::string> texts;
    auto items = Items(std::vector<std::string>(1000, "same"));
    ListingSort::SortList(items, [&](const std::string& text) { texts.push_back(text); });
    ASSERT_EQ(texts.size(), 1000u);
    EXPECT_EQ(texts.front(), "Sorting...[0/1000]");
    EXPECT_EQ(texts[998], "Sorting...[998/1000]");
    EXPECT_EQ(texts.back(), "Sorting...ok");
    texts.clear();
    std::vector<EntryStringItem> none;
    ListingSort::SortList(none, [&](const std::string& text) { texts.push_back(text); });
    EXPECT_EQ(texts, std::vector<std::string>{"Sorting...ok"});
}

TEST(LocalListingTest, LinksAppearInBothListsAndOddFilesNowhere) {
    TempDir folder;
    folder.Write("plain.txt", "x");
    fs::create_directory(folder / "sub");
    fs::create_symlink("plain.txt", folder / "link");
    fs::create_symlink("missing", folder / "dangling");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    auto contents = LocalListing::Read(folder.Path().string());
    auto names = [](const std::vector<EntryStringItem>& items) {
        std::vector<std::string> out;
        for (const auto& item : items) {
            out.push_back(item.text + ":" + std::to_string(item.type));
        }
        std::sort(out.begin(), out.end());
        return out;
    };
    EXPECT_EQ(names(contents.directories),
              (std::vector<std::string>{"dangling:2", "link:2", "sub:1"}));
    EXPECT_EQ(names(contents.files),
              (std::vector<std::string>{"dangling:2", "link:2", "plain.txt:0"}));
    EXPECT_EQ(contents.files.front().path.rfind(folder.Path().string() + "/", 0), 0u);
    EXPECT_TRUE(LocalListing::Read("/no/such/folder").files.empty());
}

TEST(LocalListingTest, ResolvesChangesOfDirectory) {
    TempDir folder;
    fs::create_directories(folder / "a" / "b");
    std::string a = fs::canonical(folder / "a").string() + "/";
    std::string up = "..";
    std::string down = "b";
    std::string missing = "missing";
    std::string root = "/";
    std::string absent = "/no/such/place";
    EXPECT_EQ(LocalListing::Resolve(a, &down), a + "b/");
    EXPECT_EQ(LocalListing::Resolve(a + "b/", &up), a);
    EXPECT_EQ(LocalListing::Resolve(a, &missing), a);
    EXPECT_EQ(LocalListing::Resolve(a, &root), "/");
    EXPECT_EQ(LocalListing::Resolve(a, &absent), "/no/such/place/");  // taken as typed
    EXPECT_EQ(LocalListing::Resolve(a, nullptr), a);
    EXPECT_EQ(LocalListing::Resolve("/", &up), "/");
}

}  // namespace
