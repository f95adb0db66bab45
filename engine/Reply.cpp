#include "Reply.h"

#include <array>
#include <cctype>
#include <charconv>

namespace {

bool Is(int code, const char* awaited) {
    if (awaited == nullptr || std::string_view(awaited).size() != 3) {
        return false;
    }
    int value = 0;
    auto [end, error] = std::from_chars(awaited, awaited + 3, value);
    return error == std::errc() && end == awaited + 3 && value == code;
}

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// Reads a decimal number of at most `digits` digits at `at`; nothing when there is no digit.
std::optional<int> NumberAt(std::string_view text, std::size_t& at, std::size_t digits) {
    std::size_t start = at;
    while (at < text.size() && at - start < digits && IsDigit(text[at])) {
        ++at;
    }
    if (at == start || (at < text.size() && IsDigit(text[at]))) {
        return std::nullopt;
    }
    int value = 0;
    std::from_chars(text.data() + start, text.data() + at, value);
    return value;
}

int ValidPort(int port) {
    return port >= 1 && port <= 65535 ? port : 0;
}

}  // namespace

Reply::Verdict Reply::Judge(int code, const char* success1, const char* success2,
                            const char* failure1, const char* failure2) {
    if (Is(code, success1) || Is(code, success2)) {
        return Verdict::Success;
    }
    if (Is(code, failure1)) {
        return Verdict::FirstFailure;
    }
    if (Is(code, failure2)) {
        return Verdict::SecondFailure;
    }
    if (code == 0 || (code >= 100 && code < 200)) {
        return Verdict::Undecided;  // text that is no reply, or a preliminary one
    }
    // A code outside 1xx-5xx means nothing this client could act on.
    return code >= 200 && code < 300 ? Verdict::Success : Verdict::OtherFailure;
}

std::optional<std::string> Reply::QuotedPath(std::string_view text) {
    std::size_t open = text.find('"');
    if (open == std::string_view::npos) {
        return std::nullopt;
    }
    std::string path;
    for (std::size_t at = open + 1; at < text.size(); ++at) {
        if (text[at] != '"') {
            path += text[at];
        } else if (at + 1 < text.size() && text[at + 1] == '"') {
            path += '"';
            ++at;
        } else {
            return path;
        }
    }
    return std::nullopt;  // no closing quote: the reply was cut or is not a path
}

int Reply::PassivePort(std::string_view text) {
    // Past the code, the first digit starts h1: some servers leave out the parentheses.
    std::size_t at = text.size() > 3 ? 3 : text.size();
    while (at < text.size() && !IsDigit(text[at])) {
        ++at;
    }
    std::array<int, 6> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0) {
            if (at >= text.size() || text[at] != ',') {
                return 0;
            }
            ++at;
        }
        std::optional<int> number = NumberAt(text, at, 3);
        if (!number || *number > 255) {
            return 0;
        }
        numbers[i] = *number;
    }
    return ValidPort(numbers[4] * 256 + numbers[5]);
}

int Reply::ExtendedPassivePort(std::string_view text) {
    std::size_t open = text.find('(');
    if (open == std::string_view::npos || open + 4 >= text.size()) {
        return 0;
    }
    char delimiter = text[open + 1];
    if (IsDigit(delimiter) || text[open + 2] != delimiter || text[open + 3] != delimiter) {
        return 0;
    }
    std::size_t at = open + 4;
    std::optional<int> port = NumberAt(text, at, 5);
    if (!port || at >= text.size() || text[at] != delimiter) {
        return 0;
    }
    return ValidPort(*port);
}
