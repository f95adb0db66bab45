#pragma once

#include <map>
#include <optional>
#include <string>

// Values a saved form holds beyond what the settings file has room for (the settings file is
// defined byte for byte and stays so). They live in a file of their own beside it, readable by
// the user only, written whole and atomically, keyed by the form's name:
//
//   TarvikFormOptions 1
//   <form name> <key> <value>
//
// Name and value are percent-escaped (every byte up to the blank, "%" and DEL), so one line is
// one value whatever the name holds. Lines that do not read are left out.
class FormOptions {
public:
    static constexpr const char* kFont = "font";
    static constexpr const char* kSecurity = "security";
    // "yes" on the one form used last, which the next start loads.
    static constexpr const char* kLastUsed = "last-used";

    explicit FormOptions(std::string path) : path_(std::move(path)) {}

    // The file beside the given settings file.
    static std::string PathBeside(const std::string& settingsFile);

    // A missing file is an empty one. False when the file exists but cannot be read.
    bool Load();
    bool Save() const;

    std::optional<std::string> Get(const std::string& form, const std::string& key) const;
    void Set(const std::string& form, const std::string& key, const std::string& value);
    // Gives `key` to `form` alone (the value "yes"), taking it from every other form.
    void MarkOnly(const std::string& form, const std::string& key);
    // The first form, in name order, that holds `key`.
    std::optional<std::string> Marked(const std::string& key) const;
    // When a form is deleted, saved under another name or renamed, its values go or follow it.
    void Forget(const std::string& form);
    void Copy(const std::string& from, const std::string& to);
    void Rename(const std::string& from, const std::string& to);

private:
    std::string path_;
    std::map<std::string, std::map<std::string, std::string>> values_;
};
