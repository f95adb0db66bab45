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
    const Case cases[] = {
        {"USER %u@%h:%o", "H", "USER U@H:21"},
        {"%x%%%h", "H", "x%H"},
        {"SITE %h%", "H", "SITE H"},  // a final "%" gives nothing
        {"%%%", "H", "%"},
        {"%%h", "H", "%h"},               // "%%" is consumed before the "h"
        {"%H %U %P %O", "H", "H U P O"},  // the letters are lower case only
        {"PASS %p", "H", "PASS P"},
        {"USER %u@%h", "H/pub/x", "USER U@H/pub/x"},  // the whole host field
        {"", "H", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SessionStart::BuildFireWallCommand(c.commandTemplate, c.host, "U", "P", "21"),
                  c.expected)
            << c.commandTemplate;
    }
    // The command is one control-connection line: bounded.
    std::string twenty;
    for (int i = 0; i < 20; ++i) {
        twenty += "%h";
    }
    EXPECT_EQ(SessionStart::BuildFireWallCommand(twenty, std::string(100, 'h'), "U", "P", "21"),
              std::string(1023, 'h'));
}

TEST(SessionStartTest, HostFieldSplitsAtTheFirstSlashIntoBoundedParts) {
    struct Case {
        std::string field;
        std::string host;
        std::optional<std::string> startPath;
    };
    const Case cases[] = {
        {"H/pub/x", "H", "/pub/x"},
        {"ftp.example.org", "ftp.example.org", std::nullopt},
        {"H/", "H", "/"},
        {"/pub", "", "/pub"},
        {"H//a", "H", "//a"},
        {std::string(300, 'h') + "/" + std::string(299, 'p'), std::string(255, 'h'),
         "/" + std::string(254, 'p')},
        {std::string(255, 'h') + "/" + std::string(254, 'p'), std::string(255, 'h'),
         "/" + std::string(254, 'p')},  // exactly full: nothing lost
    };
    for (const auto& c : cases) {
        const SessionStart::HostField split = SessionStart::SplitHostField(c.field);
        EXPECT_EQ(split.host, c.host) << c.field;
        EXPECT_EQ(split.startPath, c.startPath) << c.field;
    }
}

// Every field that reaches the wire: a CR, LF or NUL in it would end the command it goes into
// and start one of its own.
TEST(SessionStartTest, AFieldThatWouldSplitACommandRefusesTheStart) {
    using Form = SessionStart::Form;
    const Form clean{.host = "ftp.example.org/pub",
                     .user = "alice",
                     .password = "s3cret",
                     .port = "21",
                     .localDirectory = "/home/alice",
                     .hostDirectory = "/pub",
                     .firewall = true,
                     .firewallHost = "fw.example.org",
                     .firewallPort = "2121",
                     .firewallUser = "fwuser",
                     .firewallPassword = "fwpass",
                     .firewallCommand = "USER %u@%h:%o"};
    EXPECT_EQ(SessionStart::Refusal(clean), std::nullopt);
    Form noFirewall = clean;
    noFirewall.firewall = false;
    noFirewall.firewallUser = "unused\r\n";
    EXPECT_EQ(SessionStart::Refusal(noFirewall), std::nullopt) << "an unused page is not sent";
    for (const char* port : {"", "0", "65536", "abc99999", "-21", "+21", " 21", "21x"}) {
        Form form = clean;
        form.port = port;
        EXPECT_EQ(SessionStart::Refusal(form),
                  std::string("The FTP port must be a number from 1 to 65535."))
            << port;
        form = clean;
        form.firewallPort = port;
        EXPECT_EQ(SessionStart::Refusal(form),
                  std::string("The firewall port must be a number from 1 to 65535."))
            << port;
    }

    struct Field {
        std::string Form::*text;
        const char* label;
    };
    const Field fields[] = {
        {&Form::host, "Host name"},
        {&Form::user, "User name"},
        {&Form::password, "Password"},
        {&Form::port, "FTP port"},
        {&Form::localDirectory, "Initial directory offset: Client"},
        {&Form::hostDirectory, "Initial directory offset: Server"},
        {&Form::firewallHost, "Firewall settings: Host name"},
        {&Form::firewallPort, "Firewall settings: Port"},
        {&Form::firewallUser, "Firewall settings: User name"},
        {&Form::firewallPassword, "Firewall settings: Password"},
        {&Form::firewallCommand, "Firewall settings: Command"},
    };
    const std::pair<std::string, const char*> hostile[] = {
        {"\r", "a line break"}, {"\n", "a line break"}, {std::string(1, '\0'), "a null character"}};
    for (const Field& field : fields) {
        for (const auto& [character, what] : hostile) {
            Form form = clean;
            form.*field.text += character + "DELE x";
            EXPECT_EQ(SessionStart::Refusal(form), std::string("The field \"") + field.label +
                                                       "\" holds " + what +
                                                       " and cannot be sent to the server.");
        }
    }
}

}  // namespace
