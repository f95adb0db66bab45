#include "MlsdParser.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace {

using Kind = ListingParser::Kind;
using Outcome = ListingParser::Outcome;

// What the type fact says of an entry.
enum class Type { File, Directory, Link, Skipped };

// Fact names and type values are compared without regard to case (RFC 3659).
bool SameText(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::tolower(x) == std::tolower(y);
    });
}

// "cdir" and "pdir" are the listed folder and its parent, not entries of it. Unix servers name
// links "OS.unix=slink" or "OS.unix=symlink", some with ":target" after it.
Type TypeOf(std::string_view value) {
    if (SameText(value, "file")) {
        return Type::File;
    }
    if (SameText(value, "dir")) {
        return Type::Directory;
    }
    std::string_view os = value.substr(0, value.find(':'));
    if (SameText(os, "OS.unix=slink") || SameText(os, "OS.unix=symlink")) {
        return Type::Link;
    }
    return Type::Skipped;
}

std::optional<long long> SizeOf(std::string_view value) {
    long long size = 0;
    auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), size);
    if (value.empty() || error != std::errc() || end != value.data() + value.size() || size < 0) {
        return std::nullopt;  // not digits only, or past 64 bits
    }
    return size;
}

int NumberAt(std::string_view digits, std::size_t at, std::size_t length) {
    int number = 0;
    std::from_chars(digits.data() + at, digits.data() + at + length, number);
    return number;
}

// The facts of one line, checked for their form; only those this program uses are kept.
struct Facts {
    std::optional<Type> type;
    std::optional<long long> size;
    std::optional<std::time_t> modified;
    bool modifySeen = false;
};

// False when a fact is malformed, or one that is used is named twice: such a line cannot be
// trusted.
bool ReadFacts(std::string_view text, Facts& facts) {
    while (!text.empty()) {
        std::size_t end = text.find(';');
        std::string_view fact = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        std::size_t equals = fact.find('=');
        if (equals == 0 || equals == std::string_view::npos) {
            return false;
        }
        std::string_view name = fact.substr(0, equals);
        std::string_view value = fact.substr(equals + 1);
        if (SameText(name, "type")) {
            if (facts.type) {
                return false;
            }
            facts.type = TypeOf(value);
        } else if (SameText(name, "size")) {
            if (facts.size) {
                return false;
            }
            facts.size = SizeOf(value);
            if (!facts.size) {
                return false;
            }
        } else if (SameText(name, "modify")) {
            if (facts.modifySeen) {
                return false;
            }
            facts.modifySeen = true;
            facts.modified = MlsdParser::TimeOf(value);
        }
    }
    return true;
}

}  // namespace

std::optional<std::time_t> MlsdParser::TimeOf(std::string_view value) {
    std::string_view digits = value.substr(0, value.find('.'));
    if (digits.size() != 14 || digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    std::tm time{};
    time.tm_year = NumberAt(digits, 0, 4) - 1900;
    time.tm_mon = NumberAt(digits, 4, 2) - 1;
    time.tm_mday = NumberAt(digits, 6, 2);
    time.tm_hour = NumberAt(digits, 8, 2);
    time.tm_min = NumberAt(digits, 10, 2);
    time.tm_sec = NumberAt(digits, 12, 2);
    bool inRange = time.tm_mon >= 0 && time.tm_mon < 12 && time.tm_mday >= 1 &&
                   time.tm_mday <= 31 && time.tm_hour < 24 && time.tm_min < 60 && time.tm_sec <= 60;
    if (!inRange) {
        return std::nullopt;
    }
    return timegm(&time);
}

MlsdParser::Result MlsdParser::Parse(std::string_view line) {
    Result result;
    // The name is everything after the first space, spaces of its own included.
    std::size_t space = line.find(' ');
    Facts facts;
    if (space == std::string_view::npos || space + 1 == line.size() ||
        !ReadFacts(line.substr(0, space), facts)) {
        result.outcome = Outcome::Malformed;
        return result;
    }
    std::string_view name = line.substr(space + 1);
    // A longer name cannot be a local file name, and a cut one would stand for another file.
    if (name.size() > ListingParser::kNameCapacity) {
        result.outcome = Outcome::Malformed;
        return result;
    }
    if (!facts.type || *facts.type == Type::Skipped) {
        return result;  // without a known type it is neither a file nor a folder to offer
    }
    Kind kind = *facts.type == Type::File        ? Kind::File
                : *facts.type == Type::Directory ? Kind::Directory
                                                 : Kind::Link;
    if (kind == Kind::Directory && (name == "." || name == "..")) {
        return result;  // a listed folder's own entries under the wrong type
    }
    return ListingParser::Checked(
        {kind, std::string(name), facts.size.value_or(0), facts.modified});
}
