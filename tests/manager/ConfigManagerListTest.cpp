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

using Names = std::vector<std::string>;

std::unique_ptr<Record_tag> Named(const std::string& name) {
    auto record = std::make_unique<Record_tag>();
    record->name = name;
    record->host = name + ".example.org";
    return record;
}

void Add(ConfigManager& config, const std::string& name, int position = -1) {
    config.AddRecord(Named(name), position);
}

TEST(ConfigManagerListTest, RecordsAreFoundByExactNameAndReplacedInTheirPlace) {
    ConfigManager config("");
    for (const char* name : {"A", "B", "C"}) {
        Add(config, name);
    }
    ASSERT_NE(config.GetRecord("B"), nullptr);
    EXPECT_EQ(config.GetRecord("B")->host, "B.example.org");
    EXPECT_EQ(config.GetRecord("b"), nullptr);
    EXPECT_EQ(config.GetRecord("B "), nullptr);
    EXPECT_EQ(config.GetRecord(2L)->name, "C");
    EXPECT_EQ(config.GetRecord(-1L), nullptr);
    EXPECT_EQ(config.GetRecord(3L), nullptr);

    EXPECT_EQ(config.RemoveFromList("c"), -1);
    Record_tag* b = config.GetRecord("B");
    std::unique_ptr<Record_tag> taken;
    EXPECT_EQ(config.RemoveFromList("B", &taken), 1);
    EXPECT_EQ(taken.get(), b) << "handed over, not copied";
    Add(config, "D", 1);
    Add(config, "G", 99);  // past the end: appended
    Add(config, "H", 4);   // exactly the end
    config.AddRecord(nullptr, 0);
    EXPECT_EQ(config.GetListName(), (Names{"A", "D", "C", "G", "H"}));
}

// Restores an environment variable at the end of the scope.
class EnvironmentGuard {
public:
    explicit EnvironmentGuard(const char* name) : name_(name) {
        if (const char* value = std::getenv(name)) {
            saved_ = value;
        }
    }
    ~EnvironmentGuard() { saved_ ? ::setenv(name_, saved_->c_str(), 1) : ::unsetenv(name_); }

private:
    const char* name_;
    std::optional<std::string> saved_;
};

TEST(ConfigManagerPathTest, FollowsXdgConfigHome) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    EnvironmentGuard home("HOME");
    ::setenv("HOME", "/home/someone", 1);
    const std::string fallback = "/home/someone/.config/Marlowen/Tarvik/Tarvik_settings_data";
    struct Case {
        const char* xdg;  // null: unset
        std::string expected;
    };
    const Case cases[] = {
        {"/x/cfg", "/x/cfg/Marlowen/Tarvik/Tarvik_settings_data"},
        {nullptr, fallback},
        {"", fallback},
        {"relative/cfg", fallback},  // only absolute paths count
    };
    for (const auto& c : cases) {
        c.xdg ? ::setenv("XDG_CONFIG_HOME", c.xdg, 1) : ::unsetenv("XDG_CONFIG_HOME");
        EXPECT_EQ(ConfigManager::SettingsFile(), c.expected) << (c.xdg ? c.xdg : "(unset)");
    }
}

TEST(ConfigManagerPathTest, CreatesThePrivateFolder) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    TempDir dir("tarvik-xdg");
    ::setenv("XDG_CONFIG_HOME", (dir / "cfg").c_str(), 1);
    ASSERT_TRUE(ConfigManager::CreateSettingsFolder());
    struct stat status {};
    ASSERT_EQ(::stat((dir / "cfg" / "Marlowen" / "Tarvik").c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 0077, 0u);
    EXPECT_TRUE(ConfigManager::CreateSettingsFolder()) << "already there";

    TempDir::WriteFile(dir / "blocked", "a file, not a folder");
    ::setenv("XDG_CONFIG_HOME", (dir / "blocked").c_str(), 1);
    EXPECT_FALSE(ConfigManager::CreateSettingsFolder());
}

}  // namespace
