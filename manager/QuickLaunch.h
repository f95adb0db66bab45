#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

// A Quick-Launch file: seven length-prefixed lines (32-bit little-endian length counting the
// text and its terminating zero byte) that start a session at once when opened.
class QuickLaunch {
public:
    static constexpr const char* kMarker = "TarvikQuick-Launch";
    static constexpr std::uint32_t kMaxLine = 5120;
    // The marker and six lines of kMaxLine bytes, with their lengths, and room to spare.
    static constexpr std::size_t kMaxFile = 64 * 1024;
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
    // Nothing when the file is not a plain file of at most kMaxFile bytes, does not begin with
    // the marker or has a field holding CR or LF. A later line whose length is out of range
    // leaves its field empty. It may block on a hung mount: not for the GUI thread.
    static std::optional<Form> Read(const std::string& path);
    static std::optional<Form> Parse(std::string_view bytes);

    static void PutLine(std::FILE* file, const std::string& text);
    // The next line of `bytes`, which then begin after it.
    static std::optional<std::string> GetLine(std::string_view& bytes);
};
