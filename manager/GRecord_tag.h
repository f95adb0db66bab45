#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The program-wide settings: the session list font and the firewall, fields in file order.
struct GRecord_tag {
    std::optional<std::string> fontFamily;
    std::optional<std::string> fontStyle;
    std::uint8_t fontSize = 0;
    std::uint8_t spareByte = 0;
    std::optional<std::string> spareString;
    std::uint8_t useFirewall = 0;
    std::optional<std::string> firewallHost;
    std::optional<std::string> firewallUser;
    std::optional<std::string> firewallPassword;
    std::optional<std::string> firewallPort;
    std::optional<std::string> firewallCommand;  // %h %u %p %o template
    std::uint8_t trailerByte = 0;                // absent before version 3; then read as 1

    bool operator==(const GRecord_tag&) const = default;
};
