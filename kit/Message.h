#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

// Four-character message codes, packed the way the original platform did: 'AddW' == FourCC("AddW").
constexpr std::uint32_t FourCC(const char (&code)[5]) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}

// A code plus named fields, the currency between windows. Copied freely; a field of one name
// holds one value, and adding a name again replaces it.
class Message {
public:
    Message() = default;
    explicit Message(std::uint32_t code) : what(code) {}

    Message& AddInt32(const std::string& name, std::int32_t value);
    Message& AddBool(const std::string& name, bool value);
    Message& AddString(const std::string& name, std::string value);
    // The pointer is carried, not owned: the receiver must know what it points to.
    Message& AddPointer(const std::string& name, void* value);

    // Empty when the field is missing or holds another type.
    std::optional<std::int32_t> FindInt32(const std::string& name) const;
    std::optional<bool> FindBool(const std::string& name) const;
    std::optional<std::string> FindString(const std::string& name) const;
    std::optional<void*> FindPointer(const std::string& name) const;

    bool HasField(const std::string& name) const { return fields_.contains(name); }
    int CountFields() const { return static_cast<int>(fields_.size()); }

    std::uint32_t what = 0;

private:
    using Value = std::variant<std::int32_t, bool, std::string, void*>;

    template <typename T>
    std::optional<T> Find(const std::string& name) const;

    std::map<std::string, Value, std::less<>> fields_;
};
