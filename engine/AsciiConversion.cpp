#include "AsciiConversion.h"

#include <cstring>

std::size_t AsciiConversion::StripCarriageReturns(char* data, std::size_t length) {
    char* end = data + length;
    char* write = static_cast<char*>(std::memchr(data, '\r', length));
    if (write == nullptr) {
        return length;
    }
    for (const char* read = write + 1; read < end;) {
        const char* next = static_cast<const char*>(std::memchr(read, '\r', end - read));
        const char* stop = next != nullptr ? next : end;
        std::memmove(write, read, stop - read);
        write += stop - read;
        read = stop + 1;
    }
    return static_cast<std::size_t>(write - data);
}

std::size_t AsciiConversion::AddCarriageReturns(const char* data, std::size_t length,
                                                std::string& out) {
    std::size_t lineEnds = 0;
    const char* end = data + length;
    for (const char* read = data; read < end;) {
        const char* lf = static_cast<const char*>(std::memchr(read, '\n', end - read));
        if (lf == nullptr) {
            out.append(read, end);
            break;
        }
        out.append(read, lf);
        out.append("\r\n", 2);
        ++lineEnds;
        read = lf + 1;
    }
    return lineEnds;
}
