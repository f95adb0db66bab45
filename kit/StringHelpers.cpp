#include "StringHelpers.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace {

unsigned char Fold(char c) {
    auto byte = static_cast<unsigned char>(c);
    return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + 32) : byte;
}

}  // namespace

int cistrncmp(const char* a, const char* b, long n) {
    for (long i = 0; i < n; ++i) {
        unsigned char left = Fold(a[i]);
        unsigned char right = Fold(b[i]);
        if (left != right) {
            return left < right ? -1 : 1;
        }
    }
    return 0;
}

int cistrcmp(const char* a, const char* b) {
    long la = static_cast<long>(std::strlen(a));
    long lb = static_cast<long>(std::strlen(b));
    int common = cistrncmp(a, b, std::min(la, lb));
    if (common != 0 || la == lb) {
        return common;
    }
    return la < lb ? -1 : 1;
}

const char* cistrstr(const char* haystack, const char* needle) {
    std::size_t lh = std::strlen(haystack);
    std::size_t ln = std::strlen(needle);
    for (std::size_t p = 0; p < lh && lh - p >= ln; ++p) {
        if (cistrncmp(haystack + p, needle, static_cast<long>(ln)) == 0) {
            return haystack + p;
        }
    }
    return nullptr;
}

std::optional<std::string> dup(const char* text) {
    if (text == nullptr) {
        return std::nullopt;
    }
    return std::string(text);
}

char MyUpper(char c) {
    switch (c) {
        case '|':
            return '\\';
        case '{':
            return '[';
        case '}':
            return ']';
        default:
            return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
}

int UpString(char* text) {
    int length = 0;
    for (char* c = text; *c != '\0'; ++c, ++length) {
        if (std::islower(static_cast<unsigned char>(*c))) {
            *c = MyUpper(*c);
        }
    }
    return length;
}

unsigned char UpColor(unsigned char component, int amount) {
    return static_cast<unsigned char>(std::min(255, component + amount));
}

unsigned char DownColor(unsigned char component, int amount) {
    return static_cast<unsigned char>(std::max(0, component - amount));
}
