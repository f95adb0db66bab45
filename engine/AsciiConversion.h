#pragma once

#include <cstddef>
#include <string>

// Line ends of ASCII transfers: every CR is dropped on the way in, a CR goes before every LF on
// the way out. Byte for byte in effect, a block at a time in practice.
class AsciiConversion {
public:
    // Removes every CR in place; returns the new length.
    static std::size_t StripCarriageReturns(char* data, std::size_t length);
    // Appends `length` bytes to `out` with a CR before each LF; returns the number of LFs.
    static std::size_t AddCarriageReturns(const char* data, std::size_t length, std::string& out);
};
