#include "LaunchArguments.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace {

bool StartsWithNoCase(const std::string& text, std::string_view prefix) {
    return text.size() >= prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == b;
           });
}

int HexValue(char c) {
    return std::isdigit(static_cast<unsigned char>(c))
               ? c - '0'
               : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
}

// file:///path with %XX escapes, as file managers hand them over; nothing for another host.
std::optional<std::string> LocalPathOf(const std::string& link) {
    std::string rest = link.substr(std::string_view("file://").size());
    if (rest.starts_with("localhost/")) {
        rest.erase(0, std::string_view("localhost").size());
    }
    if (!rest.starts_with('/')) {
        return std::nullopt;
    }
    std::string path;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '%' && i + 2 < rest.size() &&
            std::isxdigit(static_cast<unsigned char>(rest[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(rest[i + 2]))) {
            path += static_cast<char>(HexValue(rest[i + 1]) * 16 + HexValue(rest[i + 2]));
            i += 2;
        } else {
            path += rest[i];
        }
    }
    return path;
}

}  // namespace

bool LaunchArguments::IsFtpLink(const std::string& item) {
    return StartsWithNoCase(item, "ftp://");
}

LaunchArguments LaunchArguments::Parse(const std::vector<std::string>& arguments) {
    LaunchArguments parsed;
    bool options = true;
    for (const std::string& argument : arguments) {
        if (options && argument == "--") {
            options = false;
        } else if (options && argument == "--desktop") {
            parsed.desktop = true;
        } else if (options && argument == "--version") {
            parsed.version = true;
        } else if (options && (argument == "--help" || argument == "-h")) {
            parsed.help = true;
        } else if (options && argument.starts_with('-') && argument.size() > 1) {
            parsed.error = "Unknown option: " + argument;
        } else if (IsFtpLink(argument)) {
            parsed.items.push_back(argument);
        } else if (StartsWithNoCase(argument, "file://")) {
            if (auto path = LocalPathOf(argument)) {
                parsed.items.push_back(*path);
            } else {
                parsed.error = "Not a file on this machine: " + argument;
            }
        } else if (!argument.empty()) {
            std::error_code error;
            auto absolute = std::filesystem::absolute(argument, error);
            parsed.items.push_back(error ? argument : absolute.string());
        }
    }
    return parsed;
}
