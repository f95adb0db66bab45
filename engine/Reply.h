#pragma once

#include <optional>
#include <string>

// Reading of single reply lines, kept apart from the sockets so that it is tested on its own.
class Reply {
public:
    enum class Verdict { Success, FirstFailure, SecondFailure, OtherFailure, Undecided };

    // A line holding either success code anywhere succeeds; then the failure codes are looked
    // for anywhere; then any line starting with 4 or 5 fails. Null codes are not looked for.
    static Verdict Judge(const std::string& line, const char* success1, const char* success2,
                         const char* failure1, const char* failure2);

    // The path of a 257 reply: from the character after index 4 up to the next double quote.
    static bool IsPathReply(const std::string& line);
    static std::string QuotedPath(const std::string& line);

    // A 227 line holding "(" and ")".
    static bool IsPassiveReply(const std::string& line);
    // The port of a 227 reply: fifth and sixth numbers after "(", or 0 when they are missing.
    // The four address numbers are not used: data goes to the control connection's host.
    static int PassivePort(const std::string& line);
};
