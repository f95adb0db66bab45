#pragma once

#include <optional>
#include <string>

// ftp://[user[:password]@]host[:port]/path, with %XX escapes decoded in user, password and path.
// User and password are absent when the link does not give them.
struct FtpUrl {
    std::optional<std::string> user;
    std::optional<std::string> password;
    std::string host;
    std::string port = "21";
    bool portGiven = false;
    std::string path;

    static std::optional<FtpUrl> Parse(const std::string& text);
    // The folder part of the path ("/pub/" for "/pub/a.txt") and the last component ("a.txt").
    std::string Folder() const;
    std::string Name() const;
    // The folder to open after log-on: the path without its first "/", so relative to the
    // log-on folder as RFC 1738 reads it ("%2F" at its start makes it absolute); empty for "/".
    std::string StartFolder() const;
    // True when a decoded part holds CR, LF or NUL: it would smuggle a command to the server.
    bool HoldsLineBreak() const;
};
