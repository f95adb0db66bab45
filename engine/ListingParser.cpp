#include "ListingParser.h"

#include <algorithm>
#include <charconv>

namespace {

// Skips the spaces at `at`, then returns the field up to the next space.
std::string_view NextField(std::string_view line, std::size_t& at) {
    const char* begin = line.data();
    const char* end = begin + line.size();
    const char* p = begin + at;
    while (p < end && *p == ' ') {
        ++p;
    }
    const char* start = p;
    while (p < end && *p != ' ') {
        ++p;
    }
    at = static_cast<std::size_t>(p - begin);
    return {start, static_cast<std::size_t>(p - start)};
}

// 0, "unknown", for a size that is no number or below zero.
long long SizeOf(std::string_view field) {
    long long size = 0;
    std::from_chars(field.data(), field.data() + field.size(), size);
    return std::max(size, 0LL);
}

// The name is field 8 when the line ends inside it, else everything after the spaces that follow.
std::string_view NameOf(std::string_view line, std::size_t afterField8, std::string_view field8) {
    if (afterField8 >= line.size()) {
        return field8;
    }
    std::size_t start = line.find_first_not_of(' ', afterField8);
    return start == std::string_view::npos ? std::string_view() : line.substr(start);
}

bool IsDotOrDotDot(std::string_view name) {
    return name == "." || name == "..";
}

bool AllDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "01-01-20" or "01-01-2020".
bool IsDosDate(std::string_view field) {
    return (field.size() == 8 || field.size() == 10) && field[2] == '-' && field[5] == '-' &&
           AllDigits(field.substr(0, 2)) && AllDigits(field.substr(3, 2)) &&
           AllDigits(field.substr(6));
}

// "12:00PM", "09:15AM" or a 24-hour "14:30".
bool IsDosTime(std::string_view field) {
    if (field.size() == 7 && (field.ends_with("AM") || field.ends_with("PM"))) {
        field.remove_suffix(2);
    }
    return field.size() == 5 && field[2] == ':' && AllDigits(field.substr(0, 2)) &&
           AllDigits(field.substr(3));
}

}  // namespace

// Windows servers: "01-01-20  12:00PM       <DIR>          dosdir" or "... 1234 file.txt".
ListingParser::Result ListingParser::ParseDos(std::string_view line) {
    Result result;
    std::size_t at = 0;
    std::string_view date = NextField(line, at);
    std::string_view time = NextField(line, at);
    std::string_view sizeOrDir = NextField(line, at);
    if (!IsDosDate(date) || !IsDosTime(time) || (sizeOrDir != "<DIR>" && !AllDigits(sizeOrDir))) {
        return result;
    }
    std::size_t start = line.find_first_not_of(' ', at);
    std::string_view name =
        start == std::string_view::npos ? std::string_view() : line.substr(start);
    if (name.empty()) {
        result.outcome = Outcome::Malformed;
        return result;
    }
    bool directory = sizeOrDir == "<DIR>";
    if (directory && IsDotOrDotDot(name)) {
        return result;
    }
    return Checked({directory ? Kind::Directory : Kind::File,
                    std::string(name.substr(0, kNameCapacity)), directory ? 0 : SizeOf(sizeOrDir),
                    std::nullopt});
}

ListingParser::Result ListingParser::Checked(Entry entry) {
    bool unsafe = IsDotOrDotDot(entry.name) ||
                  entry.name.find_first_of(std::string_view("/\0\r\n", 4)) != std::string::npos;
    return {unsafe ? Outcome::Unsafe : Outcome::Entry, std::move(entry)};
}

ListingParser::Result ListingParser::Parse(std::string_view line) {
    Result result;
    if (!line.empty() && line[0] >= '0' && line[0] <= '9') {
        return ParseDos(line);
    }
    if (line.empty() || (line[0] != 'l' && line[0] != '-' && line[0] != 'd')) {
        return result;
    }
    std::size_t at = 0;
    std::string_view fields[8];
    for (auto& field : fields) {
        field = NextField(line, at);
    }
    if (fields[7].empty()) {
        result.outcome = Outcome::Malformed;
        return result;
    }
    std::string_view name = NameOf(line, at, fields[7]);
    Kind kind = line[0] == 'd' ? Kind::Directory : line[0] == 'l' ? Kind::Link : Kind::File;
    if (kind == Kind::Link) {
        name = name.substr(0, name.find(" ->"));
    }
    if (name.empty()) {
        result.outcome = Outcome::Malformed;
        return result;
    }
    name = name.substr(0, kNameCapacity);
    if (kind != Kind::File && IsDotOrDotDot(name)) {
        return result;
    }
    return Checked({kind, std::string(name), SizeOf(fields[4]), std::nullopt});
}
