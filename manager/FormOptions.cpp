#include "FormOptions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "LocalFile.h"

namespace {

constexpr const char* kHeader = "TarvikFormOptions 1";
constexpr std::uintmax_t kMaxBytes = 4 * 1024 * 1024;

bool NeedsEscape(unsigned char c) {
    return c <= ' ' || c == '%' || c == 0x7f;
}

std::string Escaped(const std::string& text) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (NeedsEscape(c)) {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::optional<std::string> Unescaped(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = high < 0 ? -1 : HexDigit(text[i + 2]);
        if (low < 0) {
            return std::nullopt;
        }
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

bool WriteWhole(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (written <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace

std::string FormOptions::PathBeside(const std::string& settingsFile) {
    return (std::filesystem::path(settingsFile).parent_path() / "Tarvik_form_options").string();
}

bool FormOptions::Load() {
    values_.clear();
    std::error_code error;
    if (!std::filesystem::exists(path_, error)) {
        return !error;
    }
    std::optional<std::string> bytes = LocalFile::ReadAll(path_, kMaxBytes);
    if (!bytes) {
        return false;  // not a plain file, or too large to be ours
    }
    std::istringstream file(*bytes);
    std::string line;
    if (!std::getline(file, line) || line != kHeader) {
        return false;
    }
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string name, key, value, extra;
        if (!(fields >> name >> key >> value) || (fields >> extra)) {
            continue;
        }
        auto form = Unescaped(name);
        auto text = Unescaped(value);
        if (form && text) {
            values_[*form][key] = *text;
        }
    }
    return true;
}

// Written to a new file that replaces the old one only once all of it is on the disk.
bool FormOptions::Save() const {
    std::string bytes = std::string(kHeader) + "\n";
    for (const auto& [form, keys] : values_) {
        for (const auto& [key, value] : keys) {
            bytes += Escaped(form) + " " + Escaped(key) + " " + Escaped(value) + "\n";
        }
    }
    std::string temporary = path_ + ".XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    bool ok = ::fchmod(fd, 0600) == 0 && WriteWhole(fd, bytes) && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    ok = ok && std::rename(temporary.c_str(), path_.c_str()) == 0;
    if (!ok) {
        ::unlink(temporary.c_str());
    }
    return ok;
}

std::optional<std::string> FormOptions::Get(const std::string& form, const std::string& key) const {
    auto values = values_.find(form);
    if (values == values_.end()) {
        return std::nullopt;
    }
    auto value = values->second.find(key);
    return value == values->second.end() ? std::nullopt : std::optional(value->second);
}

void FormOptions::Set(const std::string& form, const std::string& key, const std::string& value) {
    if (!value.empty()) {
        values_[form][key] = value;
    } else if (auto values = values_.find(form); values != values_.end()) {
        values->second.erase(key);
    }
}

void FormOptions::MarkOnly(const std::string& form, const std::string& key) {
    for (auto& [name, values] : values_) {
        values.erase(key);
    }
    Set(form, key, "yes");
}

std::optional<std::string> FormOptions::Marked(const std::string& key) const {
    for (const auto& [name, values] : values_) {
        if (values.contains(key)) {
            return name;
        }
    }
    return std::nullopt;
}

void FormOptions::Forget(const std::string& form) {
    values_.erase(form);
}

void FormOptions::Copy(const std::string& from, const std::string& to) {
    if (from == to) {
        return;
    }
    auto values = values_.find(from);
    if (values == values_.end()) {
        values_.erase(to);
    } else {
        values_[to] = values->second;
    }
}

void FormOptions::Rename(const std::string& from, const std::string& to) {
    Copy(from, to);
    if (from != to) {
        Forget(from);
    }
}
