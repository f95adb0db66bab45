#pragma once

#include <optional>
#include <string>

// Byte-string helpers shared by the windows. Letters are ASCII only: "A" to "Z" fold to lower
// case, every other byte (bytes above 127 included) compares as it is.

// Compares exactly n positions, without stopping at a terminating zero: -1, 0 or 1.
int cistrncmp(const char* a, const char* b, long n);
// Case-insensitive order in which a proper prefix sorts first: -1, 0 or 1.
int cistrcmp(const char* a, const char* b);
// First case-insensitive match of needle in haystack, or null. Nothing is ever found in an empty
// haystack; an empty needle matches at the start of any other.
const char* cistrstr(const char* haystack, const char* needle);
// A copy of the string, or nothing for null.
std::optional<std::string> dup(const char* text);
// toupper, except that "|", "{" and "}" become "\", "[" and "]".
char MyUpper(char c);
// Upper-cases the lower-case letters in place and returns the length.
int UpString(char* text);
// Colour arithmetic clamped to 0..255.
unsigned char UpColor(unsigned char component, int amount);
unsigned char DownColor(unsigned char component, int amount);
