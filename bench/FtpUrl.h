#pragma once

#include <optional>
#include <string>

// ftp://[user[:password]@]host[:port]/path, with %XX escapes decoded in user, password and path.
struct FtpUrl {
    std::string user = "anonymous";
    std::string password = "ftpxfer@localhost";
    std::string host;
    std::string port = "21";
    std::string path;

    static std::optional<FtpUrl> Parse(const std::string& text);
    // The folder part of the path ("/pub/" for "/pub/a.txt") and the last component ("a.txt").
    std::string Folder() const;
    std::string Name() const;
    // True when a decoded part holds CR, LF or NUL: it would smuggle a command to the server.
    bool HoldsLineBreak() const;
};
