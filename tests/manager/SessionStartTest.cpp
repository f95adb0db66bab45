#include "SessionStart.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(SessionStartTest, FireWallCommandTemplate) {
    struct Case {
        const char* commandTemplate;
        const char* host;
        const char* expected;
    };
    // User "U", password "P", port "21" throughout.
    const std::vector<Case> cases = {
        {"USER %u@%h:%o", "H", "USER U@H:21"},
        {"%x%%%h", "H", "x%H"},
        {"SITE %h%", "H", "SITE H"},  // a final "%" gives nothing
        {"%", "H", ""},
        {"%%", "H", "%"},
        {"%%%", "H", "%"},
        {"%%h", "H", "%h"},               // "%%" is consumed before the "h"
        {"%H %U %P %O", "H", "H U P O"},  // the letters are lower case only
        {"PASS %p", "H", "PASS P"},
        {"USER %u@%h", "H/pub/x", "USER U@H/pub/x"},  // the whole host field
        {"no codes", "H", "no codes"},
        {"", "H", ""},
        {"%h%h", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.commandTemplate);
        EXPECT_EQ(SessionStart::BuildFireWallCommand(c.commandTemplate, c.host, "U", "P", "21"),
                  c.expected);
    }
}

TEST(SessionStartTest, FireWallCommandIsBounded) {
    std::string commandTemplate;
    for (int i = 0; i < 20; ++i) {
        commandTemplate += "%h";
    }
    const std::string host(100, 'h');
    const std::string command =
        SessionStart::BuildFireWallCommand(commandTemplate, host, "U", "P", "21");
    EXPECT_EQ(command, std::string(SessionStart::kCommandCapacity - 1, 'h'));
    EXPECT_EQ(command.size(), 1023u);
}

TEST(SessionStartTest, HostFieldSplitsAtTheFirstSlash) {
    struct Case {
        const char* field;
        const char* host;
        std::optional<std::string> startPath;
    };
    const std::vector<Case> cases = {
        {"H/pub/x", "H", "/pub/x"},
        {"H", "H", std::nullopt},
        {"ftp.example.org", "ftp.example.org", std::nullopt},
        {"H/", "H", "/"},
        {"/pub", "", "/pub"},
        {"H//a", "H", "//a"},
        {"", "", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.field);
        const SessionStart::HostField split = SessionStart::SplitHostField(c.field);
        EXPECT_EQ(split.host, c.host);
        EXPECT_EQ(split.startPath, c.startPath);
    }
}

TEST(SessionStartTest, HostAndPathAreBounded) {
    const std::string longHost(300, 'h');
    const std::string longPath = "/" + std::string(299, 'p');
    auto split = SessionStart::SplitHostField(longHost + longPath);
    EXPECT_EQ(split.host, std::string(255, 'h'));
    ASSERT_TRUE(split.startPath.has_value());
    EXPECT_EQ(*split.startPath, "/" + std::string(254, 'p'));

    split = SessionStart::SplitHostField(std::string(255, 'h') + "/" + std::string(254, 'p'));
    EXPECT_EQ(split.host.size(), 255u);  // exactly full: nothing lost
    EXPECT_EQ(split.startPath->size(), 255u);
}

TEST(SessionStartTest, TitleNamesHostAndLogin) {
    EXPECT_EQ(SessionStart::Title("H", "U"), "Tarvik Transfer  Host: H Login: U ");
    EXPECT_EQ(SessionStart::Title(SessionStart::SplitHostField("H/pub/x").host, "anonymous"),
              "Tarvik Transfer  Host: H Login: anonymous ");
}

}  // namespace
