#pragma once

#include <optional>
#include <string>
#include <string_view>

// What a whole reply means to the command that waits for it, and the parsers of the replies
// that carry data (257, 227, 229). Kept apart from the sockets so that each is tested alone.
class Reply {
public:
    enum class Verdict { Success, FirstFailure, SecondFailure, OtherFailure, Undecided };

    // Judges a reply code against the codes a command waits for (null codes are not looked for).
    // An awaited code decides; another preliminary (1xx) or a line without a code decides
    // nothing; any other 2xx succeeds and anything else fails.
    static Verdict Judge(int code, const char* success1, const char* success2, const char* failure1,
                         const char* failure2);

    // The path of a 257 reply: the text between the first double quote and the next lone one,
    // with doubled quotes inside read as one. Nothing when the reply holds no quoted path.
    static std::optional<std::string> QuotedPath(std::string_view text);

    // The port of a 227 reply, from the six numbers h1,h2,h3,h4,p1,p2 that follow the code
    // (with or without parentheses); 0 when they are missing or out of range. The address is
    // not used: data goes to the control connection's peer.
    static int PassivePort(std::string_view text);
    // The port of a 229 reply "(|||port|)", any delimiter; 0 when malformed.
    static int ExtendedPassivePort(std::string_view text);
};
