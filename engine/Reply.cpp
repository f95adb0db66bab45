#include "Reply.h"

#include <cstdlib>

namespace {

bool Holds(const std::string& line, const char* code) {
    return code != nullptr && line.find(code) != std::string::npos;
}

}  // namespace

Reply::Verdict Reply::Judge(const std::string& line, const char* success1, const char* success2,
                            const char* failure1, const char* failure2) {
    if (Holds(line, success1) || Holds(line, success2)) {
        return Verdict::Success;
    }
    if (Holds(line, failure1)) {
        return Verdict::FirstFailure;
    }
    if (Holds(line, failure2)) {
        return Verdict::SecondFailure;
    }
    if (!line.empty() && (line[0] == '4' || line[0] == '5')) {
        return Verdict::OtherFailure;
    }
    return Verdict::Undecided;
}

bool Reply::IsPathReply(const std::string& line) {
    return line.compare(0, 3, "257") == 0;
}

std::string Reply::QuotedPath(const std::string& line) {
    constexpr std::size_t kPathStart = 5;  // just after the opening quote of `257 "`
    if (line.size() <= kPathStart) {
        return {};
    }
    std::size_t end = line.find('"', kPathStart);
    return line.substr(kPathStart, end == std::string::npos ? std::string::npos : end - kPathStart);
}

bool Reply::IsPassiveReply(const std::string& line) {
    return line.find("227") != std::string::npos && line.find('(') != std::string::npos &&
           line.find(')') != std::string::npos;
}

int Reply::PassivePort(const std::string& line) {
    std::size_t at = line.find('(');
    if (at == std::string::npos) {
        return 0;
    }
    int numbers[2] = {-1, -1};
    int commas = 0;
    for (std::size_t i = at; i < line.size() && commas < 5; ++i) {
        if (line[i] != ',') {
            continue;
        }
        ++commas;
        if (commas >= 4) {
            // Up to three characters, read as atoi reads them: ")" or other text ends the number.
            numbers[commas - 4] = std::atoi(line.substr(i + 1, 3).c_str());
        }
    }
    if (commas < 5) {
        return 0;
    }
    int port = numbers[0] * 256 + numbers[1];
    return port >= 1 && port <= 65535 ? port : 0;
}
