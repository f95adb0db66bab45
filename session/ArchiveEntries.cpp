#include "ArchiveEntries.h"

#include <cstdint>
#include <fstream>
#include <map>
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

// A link's target, read from the link's own folder, must stay inside the unpacked tree and pass
// through no link of the archive on its way there.
bool TargetStaysInside(const std::vector<std::string>& link, const std::string& target,
                       const std::set<std::string>& links) {
    if (target.empty() || target.front() == '/') {
        return false;
    }
    std::vector<std::string> at(link.begin(), link.end() - 1);
    std::size_t start = 0;
    while (start <= target.size()) {
        std::size_t end = target.find('/', start);
        std::string_view part = std::string_view(target).substr(
            start, end == std::string::npos ? std::string::npos : end - start);
        const bool last = target.find_first_not_of('/', end) == std::string::npos;
        if (part == "..") {
            if (at.empty()) {
                return false;
            }
            at.pop_back();
        } else if (!part.empty() && part != ".") {
            at.emplace_back(part);
            if (!last && links.count(Joined(at, at.size())) != 0) {
                return false;
            }
        }
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return true;
}

// Where an entry lands once the tools have stripped what leads out of the folder ("/a" and "../a"
// land on "a"), joined with "/"; empty for a name that lands nowhere.
std::string LandingKey(std::string_view name, bool zip) {
    const std::string_view separators = zip ? "/\\" : "/";
    while (!name.empty()) {
        if (separators.find(name.front()) != std::string_view::npos) {
            name.remove_prefix(1);
        } else if (name.starts_with("..") &&
                   (name.size() == 2 || separators.find(name[2]) != std::string_view::npos)) {
            name.remove_prefix(2);
        } else {
            break;
        }
    }
    auto parts = name.empty() ? std::nullopt : Components(name, zip);
    return parts ? Joined(*parts, parts->size()) : std::string();
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

// The archive is judged as a whole, since tar and unzip extract every member that carries a
// name they are given: a name is safe only when each member under it is. Repeated names (a file,
// then a link of the same name; a folder, then a link) and hard links to anything not judged
// safe leave every member of that name out.
ArchiveEntries::Plan ArchiveEntries::Check(const std::vector<Entry>& entries, bool zip) {
    struct Judged {
        std::optional<std::vector<std::string>> parts;
        std::string key;  // the path it lands on: "./a", "a/" and "/a" are "a"
        bool safe = false;
    };
    std::vector<Judged> judged;
    std::map<std::string, int> members;
    std::map<std::string, bool> onlyFolders;
    std::set<std::string> links;
    for (const Entry& entry : entries) {
        Judged j{Components(entry.name, zip), LandingKey(entry.name, zip), false};
        if (!j.key.empty()) {
            ++members[j.key];
            auto [folders, added] = onlyFolders.try_emplace(j.key, true);
            folders->second = folders->second && entry.type == Type::Directory;
            if (entry.type == Type::Link) {
                links.insert(j.key);
            }
        }
        judged.push_back(std::move(j));
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry& entry = entries[i];
        Judged& j = judged[i];
        j.safe = j.parts && entry.type != Type::Other && !UnderLink(*j.parts, links) &&
                 (members[j.key] == 1 || onlyFolders[j.key]);
        if (entry.type == Type::Link) {
            j.safe = j.safe && !zip && TargetStaysInside(*j.parts, entry.target, links);
        }
    }
    // A hard link is as safe as the plain file before it that it names; chains are followed to
    // the end, since a link judged unsafe makes the links to it unsafe.
    std::map<std::string, std::size_t> index;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!judged[i].key.empty()) {
            index.emplace(judged[i].key, i);
        }
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (!judged[i].safe || entries[i].type != Type::HardLink) {
                continue;
            }
            auto target = Components(entries[i].target, zip);
            auto found = target ? index.find(Joined(*target, target->size())) : index.end();
            // tar links to a file it has made already: a target further on fails the run.
            const bool safe = found != index.end() && found->second < i &&
                              judged[found->second].safe &&
                              (entries[found->second].type == Type::File ||
                               entries[found->second].type == Type::HardLink);
            if (!safe) {
                judged[i].safe = false;
                changed = true;
            }
        }
    }
    Plan plan;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        (judged[i].safe ? plan.safe : plan.unsafe).push_back(entries[i].name);
    }
    return plan;
}
