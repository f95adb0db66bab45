#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// One saved connection form, fields in file order. A string is empty (nullopt) only when a
// damaged settings file could not supply it; the form always fills every field.
struct Record_tag {
    std::optional<std::string> name;  // unique in the list, compared case-sensitively
    std::optional<std::string> host;
    std::optional<std::string> login;
    std::optional<std::string> password;
    std::uint8_t reserved = 0;
    std::uint8_t passive = 0;  // 1 passive, 0 active data connections
    std::optional<std::string> port;
    std::optional<std::string> localDirectory;
    std::optional<std::string> hostDirectory;
    std::optional<std::string> comments;
    std::vector<std::optional<std::string>> mirrors;  // in menu order

    bool operator==(const Record_tag&) const = default;
};
