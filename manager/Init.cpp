#include "Init.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "LocalFile.h"

namespace {

constexpr std::string_view kHeaderStart = "\n[";

}  // namespace

bool Init::OpenFile(const std::string& path) {
    if (path.empty()) {
        return false;
    }
    // Created only where nothing is: never opened for writing, where a FIFO would hold it. Only
    // its owner may read it: such files hold passwords.
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
        ::close(fd);
    }
    std::optional<std::string> text = LocalFile::ReadAll(path, kMaxBytes);
    if (!text) {
        return false;
    }
    OpenText(std::move(*text));
    return true;
}

void Init::OpenText(std::string text) {
    text_ = std::move(text);
    Reopen();
}

int Init::Next() {
    return at_ < text_.size() ? static_cast<unsigned char>(text_[at_++]) : EOF;
}

void Init::Trace(std::string_view text) const {
    if (trace_ != nullptr) {
        *trace_ << text;
    }
}

int Init::Search(char c, std::string_view pattern, bool reset) {
    if (reset) {
        window_.fill('\0');
        count_ = 0;
    }
    if (c == '\0') {
        return 0;
    }
    window_[count_++] = c;
    if (count_ > kKept) {
        // Drop the oldest character before matching, so that the window never holds more than
        // the last 49 and a longer pattern can never match.
        std::memmove(window_.data(), window_.data() + 1, kKept);
        window_[kKept] = '\0';
        count_ = kKept;
    }
    return std::string_view(window_.data(), count_).find(pattern) != std::string_view::npos;
}

// Reads up to one of the end bytes (consumed, not kept), keeping at most kMaxText bytes.
std::optional<std::string> Init::ReadUntil(std::string_view ends, bool endOfFileEnds) {
    std::string text;
    for (int c = Next(); c != EOF; c = Next()) {
        if (ends.find(static_cast<char>(c)) != std::string_view::npos) {
            return text;
        }
        if (text.size() < kMaxText) {
            text.push_back(static_cast<char>(c));
        }
    }
    return endOfFileEnds ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> Init::GetField(std::string_view key) {
    Search('\0', key, true);
    for (int c = Next(); c != EOF; c = Next()) {
        if (c == '[') {
            return std::nullopt;  // the section ended without the key
        }
        if (Search(static_cast<char>(c), key, false) != 0) {
            std::optional<std::string> value = ReadUntil("\n", false);
            if (value) {
                Trace(std::string(key) + " Get\n");
            }
            return value;
        }
    }
    return std::nullopt;
}

std::optional<Init::Entry> Init::FoundEntry(std::string_view marker) {
    const std::string target = std::string(marker) + '\n';
    Search('\0', target, true);
    Trace("Searching (" + std::string(marker) + "|lf|)...\n");
    std::optional<Entry> entry;
    for (int c = Next(); c != EOF; c = Next()) {
        if (Search(static_cast<char>(c), target, false) != 0) {
            Trace("(" + std::string(marker) + ") Found\n");
            entry.emplace();
            entry->address = GetField("ADD=");
            entry->login = GetField("LOGIN=");
            entry->password = GetField("PASS=");
            entry->font = GetField("FONT=");
            break;
        }
    }
    Reopen();
    return entry;
}

std::vector<std::string> Init::GetListSection() {
    Reopen();
    std::vector<std::string> names;
    Search('\0', kHeaderStart, true);
    for (int c = Next(); c != EOF; c = Next()) {
        if (Search(static_cast<char>(c), kHeaderStart, false) == 0) {
            continue;
        }
        std::string name = ReadUntil("\n]", true).value_or("");
        Trace(" Detected: " + name + "\n");
        if (name == kRejectedSection) {
            Trace("Init section rejected\n");
        } else {
            names.push_back(std::move(name));
        }
        Search('\0', kHeaderStart, true);
    }
    Reopen();
    return names;
}
