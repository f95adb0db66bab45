#pragma once

#include <optional>
#include <string>
#include <vector>

// What the command line asks of the program:
//
//   tarvik [--desktop] [FILE | ftp://[user[:password]@]host[:port][/path] | file://PATH]...
//
// --desktop says the files and links come from the desktop (the file manager, a browser): their
// sessions start without the main window.
class LaunchArguments {
public:
    static constexpr const char* kUsage =
        "Usage: tarvik [--desktop] [QUICK-LAUNCH-FILE | ftp://[user[:password]@]host[:port][/path]]"
        "...\n"
        "  --desktop   the files and links come from the desktop: do not show the main window\n"
        "  --version   print the version and end\n"
        "  --help      print this text and end\n";

    bool desktop = false;
    bool version = false;
    bool help = false;
    // Quick-Launch files as absolute paths (a program already running has another working
    // folder) and ftp:// links, in the order given.
    std::vector<std::string> items;
    std::optional<std::string> error;  // an option the program does not know

    // The arguments after the program's name.
    static LaunchArguments Parse(const std::vector<std::string>& arguments);
    static bool IsFtpLink(const std::string& item);
};
