#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "GRecord_tag.h"
#include "Record_tag.h"

// The saved connection forms and the global record, kept in one binary file that is always
// written whole: 32-bit little-endian integers, single bytes, and strings as a 32-bit length
// followed by that many bytes without terminator.
class ConfigManager {
public:
    using CorruptionHandler = std::function<void(const std::string& text)>;

    static constexpr std::int32_t kVersion = 3;
    static constexpr std::int32_t kMaxStringLength = 100;
    static constexpr const char* kCorruptedText =
        "Your settings file looks corrupted\nRemove Tarvik_settings_data and restart Tarvik.";

    // An empty path gives a manager that neither loads nor saves.
    explicit ConfigManager(const std::string& path);
    ~ConfigManager();
    ConfigManager(const ConfigManager&) = delete;
    ConfigManager& operator=(const ConfigManager&) = delete;

    // $XDG_CONFIG_HOME/Marlowen/Tarvik, or ~/.config/Marlowen/Tarvik.
    static std::string SettingsFolder();
    static std::string SettingsFile();
    // Creates the folder and its missing parents (mode 0700); true when it exists afterwards.
    static bool CreateSettingsFolder();

    // Called once when a string length in the file is out of range. The application shows the
    // text and exits; with no handler the text goes to stderr and the program exits with 0.
    // When a handler returns, the load stops and fails.
    static void SetCorruptionHandler(CorruptionHandler handler);

    // Replaces the records and the global record by the file's. False for a missing, empty,
    // short or corrupted file; what was read before a short end stays.
    bool LoadConfig();
    // Writes a new file beside the old one and renames it over it, so that a failed save keeps
    // the old file. False when anything could not be written, or after a corrupted load.
    bool SaveConfig();

    // Every record's name in list order (an unreadable name gives the empty string).
    std::vector<std::string> GetListName() const;
    // The first record with exactly this name, or null.
    Record_tag* GetRecord(std::string_view name) const;
    // The record at this position, or null.
    Record_tag* GetRecord(long position) const;
    long CountRecords() const { return static_cast<long>(records_.size()); }
    // Inserts at the position; -1 (or any position past the end) appends.
    void AddRecord(std::unique_ptr<Record_tag> record, int position);
    void AddRecordTop(std::unique_ptr<Record_tag> record);
    // Takes the named record out of the list and returns its former position, -1 when absent.
    // The record goes to *removed when given, otherwise it is destroyed.
    long RemoveFromList(std::string_view name, std::unique_ptr<Record_tag>* removed = nullptr);
    // One place towards the head / the tail; the head (tail) stays where it is.
    void MoveUp(std::string_view name);
    void MoveDown(std::string_view name);
    long IndexOf(const Record_tag* record) const;
    // Replaces the global record; null removes it.
    void SetGlobalRecord(std::unique_ptr<GRecord_tag> record);
    GRecord_tag* GetGlobalRecord() const { return global_.get(); }

    bool IsCorrupted() const { return corrupted_; }
    bool IsLoaded() const { return loaded_; }
    const std::optional<std::string>& Path() const { return path_; }

private:
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    bool OpenFile(bool forReading);
    bool OpenForReading();
    bool OpenForWriting();
    void CloseFile();
    bool CommitFile();

    bool LoadContents();
    bool LoadBytes(char* buffer, std::size_t size);
    std::optional<std::int32_t> LoadInt();
    std::optional<std::uint8_t> LoadByte();
    std::optional<std::string> LoadString();
    std::unique_ptr<Record_tag> LoadRecord();
    std::unique_ptr<GRecord_tag> LoadGlobalRecord(std::int32_t version);
    bool AtEnd() const;
    void ReportCorruption();

    void SaveBytes(const char* bytes, std::size_t size);
    void SaveInt(std::int32_t value);
    void SaveByte(std::uint8_t value);
    void SaveString(const std::optional<std::string>& text);
    void SaveRecord(const Record_tag& record);
    void SaveGlobalRecord(const GRecord_tag& record);

    std::vector<std::unique_ptr<Record_tag>>::const_iterator Find(std::string_view name) const;

    bool corrupted_ = false;
    std::optional<std::string> path_;
    std::unique_ptr<std::FILE, FileCloser> file_;
    std::string tempPath_;  // the new file while a save is under way
    long fileLength_ = 0;
    bool loaded_ = false;
    std::unique_ptr<GRecord_tag> global_;
    std::vector<std::unique_ptr<Record_tag>> records_;
};
