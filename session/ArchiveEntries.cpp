#include "ArchiveEntries.h"

#include <cstdint>
#include <fstream>
#include <set>

namespace {

constexpr std::size_t kMaxCentralDirectory = 64u << 20;
constexpr std::size_t kEndRecordSearch = 65535 + 22;

// The folders and name of a path that stays inside the folder it is unpacked in; none when it
// starts at the root or climbs.
std::optional<std::vector<std::string>> Components(std::string_view name, bool zip) {
    std::string_view separators = zip ? "/\\" : "/";
    // No file name holds a NUL, and the list handed to tar is NUL-separated.
    if (name.empty() || separators.find(name.front()) != std::string_view::npos ||
        name.find('\0') != std::string_view::npos) {
        return std::nullopt;
    }
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find_first_of(separators, start);
        std::string_view part =
            name.substr(start, end == std::string_view::npos ? end : end - start);
        if (part == "..") {
            return std::nullopt;
        }
        if (!part.empty() && part != ".") {
            parts.emplace_back(part);
        }
        if (end == std::string_view::npos) {
            break;
        }
        start = end + 1;
    }
    if (parts.empty()) {
        return std::nullopt;
    }
    return parts;
}

std::string Joined(const std::vector<std::string>& parts, std::size_t count) {
    std::string path;
    for (std::size_t i = 0; i < count; ++i) {
        path += (i == 0 ? "" : "/") + parts[i];
    }
    return path;
}

bool UnderLink(const std::vector<std::string>& parts, const std::set<std::string>& links) {
    for (std::size_t count = 1; count < parts.size(); ++count) {
        if (links.count(Joined(parts, count)) != 0) {
            return true;
        }
    }
    return false;
}

// A link's target, read from the link's own folder, must stay inside the unpacked tree.
bool TargetStaysInside(const std::vector<std::string>& link, const std::string& target) {
    if (target.empty() || target.front() == '/') {
        return false;
    }
    std::size_t depth = link.size() - 1;
    std::size_t start = 0;
    while (start <= target.size()) {
        std::size_t end = target.find('/', start);
        std::string_view part = std::string_view(target).substr(
            start, end == std::string::npos ? std::string::npos : end - start);
        if (part == "..") {
            if (depth == 0) {
                return false;
            }
            --depth;
        } else if (!part.empty() && part != ".") {
            ++depth;
        }
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return true;
}

std::uint32_t Little(const unsigned char* bytes, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i) {
        value = (value << 8) | bytes[i];
    }
    return value;
}

std::uint64_t Little64(const unsigned char* bytes) {
    return Little(bytes, 4) | (std::uint64_t{Little(bytes + 4, 4)} << 32);
}

bool ReadAt(std::ifstream& file, std::uint64_t offset, std::vector<unsigned char>& bytes) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return file.gcount() == static_cast<std::streamsize>(bytes.size());
}

// Where the central directory starts and how long it is, from the end record (zip64 when the
// plain record is full).
std::optional<std::pair<std::uint64_t, std::uint64_t>> CentralDirectory(std::ifstream& file,
                                                                        std::uint64_t size) {
    std::uint64_t tailStart = size > kEndRecordSearch ? size - kEndRecordSearch : 0;
    std::vector<unsigned char> tail(size - tailStart);
    if (tail.size() < 22 || !ReadAt(file, tailStart, tail)) {
        return std::nullopt;
    }
    for (std::size_t at = tail.size() - 22 + 1; at-- > 0;) {
        const unsigned char* end = tail.data() + at;
        if (Little(end, 4) != 0x06054b50) {
            continue;
        }
        std::uint64_t length = Little(end + 12, 4);
        std::uint64_t offset = Little(end + 16, 4);
        if (offset == 0xffffffff && at >= 20 && Little(end - 20, 4) == 0x07064b50) {
            std::vector<unsigned char> record(56);
            if (!ReadAt(file, Little64(end - 20 + 8), record) ||
                Little(record.data(), 4) != 0x06064b50) {
                return std::nullopt;
            }
            length = Little64(record.data() + 40);
            offset = Little64(record.data() + 48);
        }
        return std::make_pair(offset, length);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> ArchiveEntries::Unquote(std::string_view& text) {
    if (text.empty() || text.front() != '"') {
        return std::nullopt;
    }
    std::string value;
    for (std::size_t at = 1; at < text.size(); ++at) {
        char c = text[at];
        if (c == '"') {
            text.remove_prefix(at + 1);
            return value;
        }
        if (c != '\\' || at + 1 == text.size()) {
            value += c;
            continue;
        }
        char escaped = text[++at];
        if (escaped >= '0' && escaped <= '7') {
            int code = 0;
            for (int digits = 0;
                 digits < 3 && at < text.size() && text[at] >= '0' && text[at] <= '7';
                 ++digits, ++at) {
                code = code * 8 + (text[at] - '0');
            }
            --at;
            value += static_cast<char>(code);
            continue;
        }
        static constexpr std::string_view kFrom = "abfnrtv";
        static constexpr std::string_view kTo = "\a\b\f\n\r\t\v";
        std::size_t known = kFrom.find(escaped);
        value += known == std::string_view::npos ? escaped : kTo[known];
    }
    return std::nullopt;
}

std::optional<ArchiveEntries::Entry> ArchiveEntries::ParseTarLine(std::string_view line) {
    std::size_t quote = line.find('"');
    if (line.empty() || quote == std::string_view::npos) {
        return std::nullopt;
    }
    Entry entry;
    switch (line.front()) {
        case '-':
            entry.type = Type::File;
            break;
        case 'd':
            entry.type = Type::Directory;
            break;
        case 'l':
            entry.type = Type::Link;
            break;
        case 'h':
            entry.type = Type::HardLink;
            break;
        default:
            entry.type = Type::Other;
    }
    std::string_view rest = line.substr(quote);
    std::optional<std::string> name = Unquote(rest);
    if (!name) {
        return std::nullopt;
    }
    entry.name = std::move(*name);
    for (std::string_view arrow : {" -> ", " link to "}) {
        if (rest.starts_with(arrow)) {
            rest.remove_prefix(arrow.size());
            entry.target = Unquote(rest).value_or("");
        }
    }
    return entry;
}

std::optional<std::vector<ArchiveEntries::Entry>> ArchiveEntries::ReadZip(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        return std::nullopt;
    }
    auto where = CentralDirectory(file, static_cast<std::uint64_t>(file.tellg()));
    if (!where || where->second > kMaxCentralDirectory) {
        return std::nullopt;
    }
    std::vector<unsigned char> directory(where->second);
    if (!ReadAt(file, where->first, directory)) {
        return std::nullopt;
    }
    std::vector<Entry> entries;
    for (std::size_t at = 0; at + 46 <= directory.size();) {
        const unsigned char* header = directory.data() + at;
        if (Little(header, 4) != 0x02014b50) {
            return std::nullopt;
        }
        std::size_t nameLength = Little(header + 28, 2);
        std::size_t next = at + 46 + nameLength + Little(header + 30, 2) + Little(header + 32, 2);
        if (next > directory.size()) {
            return std::nullopt;
        }
        Entry entry;
        entry.name.assign(reinterpret_cast<const char*>(header + 46), nameLength);
        std::uint32_t mode = Little(header + 38, 4) >> 16;
        bool unix = (Little(header + 4, 2) >> 8) == 3;
        if (unix && (mode & 0170000) == 0120000) {
            entry.type = Type::Link;
        } else if (!entry.name.empty() && entry.name.back() == '/') {
            entry.type = Type::Directory;
        }
        entries.push_back(std::move(entry));
        at = next;
    }
    return entries;
}

ArchiveEntries::Plan ArchiveEntries::Check(const std::vector<Entry>& entries, bool zip) {
    Plan plan;
    std::set<std::string> links;
    for (const Entry& entry : entries) {
        auto parts = Components(entry.name, zip);
        bool safe = parts && !UnderLink(*parts, links) && entry.type != Type::Other;
        if (parts && entry.type == Type::Link) {
            links.insert(Joined(*parts, parts->size()));
            safe = safe && !zip && TargetStaysInside(*parts, entry.target);
        }
        if (safe && entry.type == Type::HardLink) {
            auto target = Components(entry.target, zip);
            safe = target && !UnderLink(*target, links) &&
                   links.count(Joined(*target, target->size())) == 0;
        }
        (safe ? plan.safe : plan.unsafe).push_back(entry.name);
    }
    return plan;
}
