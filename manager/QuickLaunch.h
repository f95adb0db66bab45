#pragma once

#include <cstdio>
#include <optional>
#include <string>

// A Quick-Launch file: seven length-prefixed lines (32-bit little-endian length counting the
// text and its terminating zero byte) that start a session at once when opened.
class QuickLaunch {
public:
    static constexpr const char* kMarker = "TarvikQuick-Launch";
    static constexpr int kMaxLine = 5120;
    // The file name extension the desktop's type for these files is known by.
    static constexpr const char* kExtension = ".tarvik";

    struct Form {
        std::string host;  // may carry a path after the host name
        std::string user;
        std::string password;
        std::string localDirectory;
        std::string hostDirectory;
        std::string port;
    };

    static bool Write(const std::string& path, const Form& form);
    // The path with the extension added, unless it ends with it already.
    static std::string WithExtension(const std::string& path);
    // Nothing when the file cannot be opened, does not begin with the marker or has a field
    // holding CR or LF. A later line whose length is out of range leaves its field empty.
    static std::optional<Form> Read(const std::string& path);

    static void PutLine(std::FILE* file, const std::string& text);
    static std::optional<std::string> GetLine(std::FILE* file);
};
