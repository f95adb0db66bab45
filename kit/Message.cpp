#include "Message.h"

Message& Message::AddInt32(const std::string& name, std::int32_t value) {
    fields_.insert_or_assign(name, value);
    return *this;
}

Message& Message::AddBool(const std::string& name, bool value) {
    fields_.insert_or_assign(name, value);
    return *this;
}

Message& Message::AddString(const std::string& name, std::string value) {
    fields_.insert_or_assign(name, std::move(value));
    return *this;
}

Message& Message::AddPointer(const std::string& name, void* value) {
    fields_.insert_or_assign(name, value);
    return *this;
}

template <typename T>
std::optional<T> Message::Find(const std::string& name) const {
    const auto field = fields_.find(name);
    if (field == fields_.end()) {
        return std::nullopt;
    }
    if (const T* value = std::get_if<T>(&field->second)) {
        return *value;
    }
    return std::nullopt;
}

std::optional<std::int32_t> Message::FindInt32(const std::string& name) const {
    return Find<std::int32_t>(name);
}

std::optional<bool> Message::FindBool(const std::string& name) const {
    return Find<bool>(name);
}

std::optional<std::string> Message::FindString(const std::string& name) const {
    return Find<std::string>(name);
}

std::optional<void*> Message::FindPointer(const std::string& name) const {
    return Find<void*>(name);
}
