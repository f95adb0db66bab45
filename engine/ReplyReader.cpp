#include "ReplyReader.h"

#include <cctype>
#include <utility>

std::string FtpReply::Text() const {
    std::string text;
    for (const std::string& line : lines) {
        if (!text.empty()) {
            text += '\n';
        }
        text += line;
    }
    return text;
}

int ReplyReader::CodeOf(std::string_view line) {
    if (line.size() < 3) {
        return 0;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(line[i]))) {
            return 0;
        }
    }
    // "2201 x" is not a reply line: the code must stand alone.
    if (line.size() > 3 && line[3] != ' ' && line[3] != '-') {
        return 0;
    }
    return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

void ReplyReader::Feed(std::string_view bytes) {
    if (telnetState_ != TelnetState::Text || bytes.find('\xFF') != bytes.npos) {
        FeedText(Unescaped(bytes));
    } else {
        FeedText(bytes);
    }
}

// Replies are Telnet text too: vsftpd doubles a 0xFF of a name in them. proftpd and pure-ftpd
// send it single, which stays as it is; only a name's own pair of 0xFF would be taken for one.
std::string ReplyReader::Unescaped(std::string_view bytes) {
    constexpr unsigned char kIac = 0xFF;
    constexpr unsigned char kWill = 251;
    constexpr unsigned char kDont = 254;
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        switch (telnetState_) {
            case TelnetState::Text:
                if (value == kIac) {
                    telnetState_ = TelnetState::Command;
                } else {
                    text += byte;
                }
                break;
            case TelnetState::Command:
                if (value == kIac) {
                    text += byte;
                    telnetState_ = TelnetState::Text;
                } else if (telnet_) {
                    // WILL, WONT, DO and DONT name an option in the next byte.
                    telnetState_ =
                        value >= kWill && value <= kDont ? TelnetState::Option : TelnetState::Text;
                } else {
                    text += static_cast<char>(kIac);
                    text += byte;
                    telnetState_ = TelnetState::Text;
                }
                break;
            case TelnetState::Option:
                telnetState_ = TelnetState::Text;
                break;
        }
    }
    return text;
}

void ReplyReader::FeedText(std::string_view bytes) {
    while (!bytes.empty()) {
        std::size_t end = bytes.find('\n');
        std::string_view piece = bytes.substr(0, end);
        if (!cutting_) {
            std::size_t room = kLineCapacity + 1 - partial_.size();  // +1: a CR may still go
            partial_.append(piece.substr(0, room));
            cutting_ = piece.size() > room;
        }
        if (end == std::string_view::npos) {
            return;
        }
        bytes.remove_prefix(end + 1);
        std::string line = std::move(partial_);
        partial_.clear();
        cutting_ = false;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.size() > kLineCapacity) {
            line.resize(kLineCapacity);
        }
        AddLine(std::move(line));
    }
}

void ReplyReader::AddLine(std::string line) {
    if (overflowed_) {
        return;
    }
    if (open_.lines.empty()) {
        int code = CodeOf(line);
        bool opensMultiLine = code != 0 && line.size() > 3 && line[3] == '-';
        FtpReply reply{code, {std::move(line)}};
        if (opensMultiLine) {
            open_ = std::move(reply);
        } else {
            ready_.push_back(std::move(reply));
        }
        return;
    }
    bool last = CodeOf(line) == open_.code && line.size() > 3 && line[3] == ' ';
    // A last line of just the code ("230") also closes the reply on lax servers.
    last = last || (line.size() == 3 && CodeOf(line) == open_.code);
    open_.lines.push_back(std::move(line));
    if (last) {
        ready_.push_back(std::move(open_));
        open_ = {};
    } else if (open_.lines.size() > kMaxLines) {
        overflowed_ = true;
        open_ = {};
    }
}

std::optional<FtpReply> ReplyReader::Next() {
    if (ready_.empty()) {
        return std::nullopt;
    }
    FtpReply reply = std::move(ready_.front());
    ready_.pop_front();
    return reply;
}

void ReplyReader::Reset() {
    telnet_ = false;
    telnetState_ = TelnetState::Text;
    partial_.clear();
    cutting_ = false;
    open_ = {};
    ready_.clear();
    overflowed_ = false;
}
