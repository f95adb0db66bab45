#include "ListingParser.h"

#include <charconv>

namespace {

// Skips the spaces at `at`, then returns the field up to the next space.
std::string_view NextField(std::string_view line, std::size_t& at) {
    while (at < line.size() && line[at] == ' ') {
        ++at;
    }
    std::size_t start = at;
    while (at < line.size() && line[at] != ' ') {
        ++at;
    }
    return line.substr(start, at - start);
}

long long SizeOf(std::string_view field) {
    long long size = 0;
    std::from_chars(field.data(), field.data() + field.size(), size);
    return size;
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

}  // namespace

ListingParser::Result ListingParser::Parse(std::string_view line) {
    Result result;
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
    result.entry = {kind, std::string(name), SizeOf(fields[4])};
    bool unsafe = IsDotOrDotDot(name) || name.find('/') != std::string_view::npos;
    result.outcome = unsafe ? Outcome::Unsafe : Outcome::Entry;
    return result;
}
