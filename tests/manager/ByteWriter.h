#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Builds settings-file bytes by hand, independently of the code under test.
class ByteWriter {
public:
    ByteWriter& Int(std::int32_t value) {
        const auto bits = static_cast<std::uint32_t>(value);
        for (int shift = 0; shift < 32; shift += 8) {
            bytes_.push_back(static_cast<char>((bits >> shift) & 0xFF));
        }
        return *this;
    }
    ByteWriter& Byte(std::uint8_t value) {
        bytes_.push_back(static_cast<char>(value));
        return *this;
    }
    // A length followed by the characters, no terminator.
    ByteWriter& Str(std::string_view text) {
        Int(static_cast<std::int32_t>(text.size()));
        return Raw(text);
    }
    ByteWriter& Raw(std::string_view bytes) {
        bytes_.append(bytes);
        return *this;
    }

    const std::string& Bytes() const { return bytes_; }
    std::size_t Size() const { return bytes_.size(); }

private:
    std::string bytes_;
};
