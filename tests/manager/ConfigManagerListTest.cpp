#include "ConfigManager.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TempDir.h"

namespace {

std::unique_ptr<Record_tag> Named(const std::string& name) {
    auto record = std::make_unique<Record_tag>();
    record->name = name;
    record->host = name + ".example.org";
    return record;
}

class ConfigManagerListTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"A", "B", "C"}) {
            config_.AddRecord(Named(name), -1);
        }
    }
    std::vector<std::string> Names() const { return config_.GetListName(); }
    using NameList = std::vector<std::string>;

    ConfigManager config_{"/nonexistent/never-written"};
};

TEST_F(ConfigManagerListTest, GetRecordByNameIsExactAndCaseSensitive) {
    ASSERT_NE(config_.GetRecord("B"), nullptr);
    EXPECT_EQ(config_.GetRecord("B")->host, "B.example.org");
    EXPECT_EQ(config_.GetRecord("b"), nullptr);
    EXPECT_EQ(config_.GetRecord("B "), nullptr);
    EXPECT_EQ(config_.GetRecord(""), nullptr);

    config_.AddRecord(Named("B"), -1);  // a duplicate: the first one wins
    EXPECT_EQ(config_.IndexOf(config_.GetRecord("B")), 1);
}

TEST_F(ConfigManagerListTest, GetRecordByPosition) {
    EXPECT_EQ(config_.GetRecord(0L)->name, "A");
    EXPECT_EQ(config_.GetRecord(2L)->name, "C");
    EXPECT_EQ(config_.GetRecord(-1L), nullptr);
    EXPECT_EQ(config_.GetRecord(3L), nullptr);
}

TEST_F(ConfigManagerListTest, MovesStopAtTheEnds) {
    struct Case {
        const char* what;
        void (ConfigManager::*move)(std::string_view);
        const char* name;
        NameList expected;
    };
    const std::vector<Case> cases = {
        {"first up", &ConfigManager::MoveUp, "A", {"A", "B", "C"}},
        {"last down", &ConfigManager::MoveDown, "C", {"A", "B", "C"}},
        {"last up", &ConfigManager::MoveUp, "C", {"A", "C", "B"}},
        {"first down", &ConfigManager::MoveDown, "A", {"B", "A", "C"}},
        {"middle up", &ConfigManager::MoveUp, "B", {"B", "A", "C"}},
        {"middle down", &ConfigManager::MoveDown, "B", {"A", "C", "B"}},
        {"unknown up", &ConfigManager::MoveUp, "X", {"A", "B", "C"}},
        {"other case down", &ConfigManager::MoveDown, "a", {"A", "B", "C"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ConfigManager config("");
        for (const char* name : {"A", "B", "C"}) {
            config.AddRecord(Named(name), -1);
        }
        (config.*c.move)(c.name);
        EXPECT_EQ(config.GetListName(), c.expected);
    }
}

TEST_F(ConfigManagerListTest, RemoveFromList) {
    EXPECT_EQ(config_.RemoveFromList("X"), -1);
    EXPECT_EQ(config_.RemoveFromList("c"), -1);
    EXPECT_EQ(Names(), (NameList{"A", "B", "C"}));

    Record_tag* b = config_.GetRecord("B");
    std::unique_ptr<Record_tag> taken;
    EXPECT_EQ(config_.RemoveFromList("B", &taken), 1);
    EXPECT_EQ(taken.get(), b);  // handed over, not copied
    EXPECT_EQ(config_.IndexOf(b), -1);
    EXPECT_EQ(Names(), (NameList{"A", "C"}));

    EXPECT_EQ(config_.RemoveFromList("C"), 1);
    EXPECT_EQ(Names(), (NameList{"A"}));
}

TEST_F(ConfigManagerListTest, AddAtPositions) {
    config_.AddRecord(Named("D"), 1);
    config_.AddRecordTop(Named("E"));
    config_.AddRecord(Named("F"), -1);
    config_.AddRecord(Named("G"), 99);  // past the end: appended
    config_.AddRecord(Named("H"), 7);   // exactly the end
    config_.AddRecord(nullptr, 0);
    EXPECT_EQ(Names(), (NameList{"E", "A", "D", "B", "C", "F", "G", "H"}));
}

TEST_F(ConfigManagerListTest, IndexOfFollowsTheRecord) {
    Record_tag* c = config_.GetRecord("C");
    EXPECT_EQ(config_.IndexOf(c), 2);
    config_.MoveUp("C");
    EXPECT_EQ(config_.IndexOf(c), 1);
    const auto stranger = Named("C");
    EXPECT_EQ(config_.IndexOf(stranger.get()), -1);
    EXPECT_EQ(config_.IndexOf(nullptr), -1);
}

TEST_F(ConfigManagerListTest, GlobalRecordIsReplaced) {
    EXPECT_EQ(config_.GetGlobalRecord(), nullptr);
    auto first = std::make_unique<GRecord_tag>();
    first->fontSize = 11;
    config_.SetGlobalRecord(std::move(first));
    auto second = std::make_unique<GRecord_tag>();
    second->fontSize = 12;
    GRecord_tag* raw = second.get();
    config_.SetGlobalRecord(std::move(second));
    EXPECT_EQ(config_.GetGlobalRecord(), raw);
    EXPECT_EQ(config_.GetGlobalRecord()->fontSize, 12);
    config_.SetGlobalRecord(nullptr);
    EXPECT_EQ(config_.GetGlobalRecord(), nullptr);
}

TEST_F(ConfigManagerListTest, ListNamesAreCopiesInOrder) {
    auto unnamed = std::make_unique<Record_tag>();  // as left by a damaged file
    config_.AddRecord(std::move(unnamed), 1);
    std::vector<std::string> names = Names();
    EXPECT_EQ(names, (NameList{"A", "", "B", "C"}));
    names[0] = "changed";
    EXPECT_EQ(config_.GetRecord(0L)->name, "A");
}

// ---- Where the file lives ----

class EnvironmentGuard {
public:
    explicit EnvironmentGuard(const char* name) : name_(name) {
        if (const char* value = std::getenv(name)) {
            saved_ = value;
        }
    }
    ~EnvironmentGuard() {
        if (saved_) {
            ::setenv(name_, saved_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    EnvironmentGuard(const EnvironmentGuard&) = delete;
    EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

private:
    const char* name_;
    std::optional<std::string> saved_;
};

TEST(ConfigManagerPathTest, FollowsXdgConfigHome) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    EnvironmentGuard home("HOME");
    ::setenv("HOME", "/home/someone", 1);
    struct Case {
        const char* xdg;  // null: unset
        const char* expected;
    };
    const std::vector<Case> cases = {
        {"/x/cfg", "/x/cfg/Marlowen/Tarvik/Tarvik_settings_data"},
        {nullptr, "/home/someone/.config/Marlowen/Tarvik/Tarvik_settings_data"},
        {"", "/home/someone/.config/Marlowen/Tarvik/Tarvik_settings_data"},
        {"relative/cfg", "/home/someone/.config/Marlowen/Tarvik/Tarvik_settings_data"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.xdg ? c.xdg : "(unset)");
        if (c.xdg) {
            ::setenv("XDG_CONFIG_HOME", c.xdg, 1);
        } else {
            ::unsetenv("XDG_CONFIG_HOME");
        }
        EXPECT_EQ(ConfigManager::SettingsFile(), c.expected);
        EXPECT_EQ(ConfigManager::SettingsFolder() + "/Tarvik_settings_data", c.expected);
    }
}

TEST(ConfigManagerPathTest, CreatesThePrivateFolder) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    TempDir dir("tarvik-xdg");
    ::setenv("XDG_CONFIG_HOME", (dir / "cfg").c_str(), 1);
    ASSERT_TRUE(ConfigManager::CreateSettingsFolder());
    const auto folder = dir / "cfg" / "Marlowen" / "Tarvik";
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    struct stat status {};
    ASSERT_EQ(::stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0077, 0u);
    EXPECT_TRUE(ConfigManager::CreateSettingsFolder());  // already there

    TempDir::WriteFile(dir / "blocked", "a file, not a folder");
    ::setenv("XDG_CONFIG_HOME", (dir / "blocked").c_str(), 1);
    EXPECT_FALSE(ConfigManager::CreateSettingsFolder());
}

}  // namespace
