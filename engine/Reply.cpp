#include "Reply.h"

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
