#include "ConfigManager.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>

namespace {

std::mutex handlerMutex;
std::shared_ptr<ConfigManager::CorruptionHandler> currentHandler;

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') {
        return home;
    }
    const passwd* entry = getpwuid(getuid());
    return entry != nullptr ? entry->pw_dir : "";
}

// The reader refuses strings over the limit, so the writer cuts them there rather than produce
// a file that can never be loaded again; refusing the save instead would lose every other change
// of a whole-file write. The cut backs off to the start of a UTF-8 sequence, because a form
// field's 100 characters can be more than 100 bytes.
std::size_t FittedLength(const std::string& text) {
    const auto limit = static_cast<std::size_t>(ConfigManager::kMaxStringLength);
    if (text.size() <= limit) {
        return text.size();
    }
    std::size_t length = limit;
    for (int step = 0; step < 3 && length > 0; ++step) {
        if ((static_cast<unsigned char>(text[length]) & 0xC0) != 0x80) {
            break;
        }
        --length;
    }
    return (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80 ? limit : length;
}

void SyncFolderOf(const std::string& file) {
    const std::string folder = std::filesystem::path(file).parent_path().string();
    const int fd =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

}  // namespace

ConfigManager::ConfigManager(const std::string& path) {
    if (!path.empty()) {
        path_ = path;
        loaded_ = true;
    }
    records_.reserve(20);
}

ConfigManager::~ConfigManager() {
    CloseFile();
}

// ---- Where the file lives ----

std::string ConfigManager::SettingsFolder() {
    // Relative values are to be ignored, as for every XDG variable.
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const std::string base =
        (xdg != nullptr && xdg[0] == '/') ? std::string(xdg) : HomeFolder() + "/.config";
    return base + "/Marlowen/Tarvik";
}

std::string ConfigManager::SettingsFile() {
    return SettingsFolder() + "/Tarvik_settings_data";
}

bool ConfigManager::CreateSettingsFolder() {
    std::filesystem::path partial;
    for (const auto& part : std::filesystem::path(SettingsFolder())) {
        partial /= part;
        if (::mkdir(partial.c_str(), kFolderMode) != 0 && errno != EEXIST) {
            return false;
        }
    }
    std::error_code error;
    return std::filesystem::is_directory(partial, error);
}

void ConfigManager::SetCorruptionHandler(CorruptionHandler handler) {
    std::lock_guard lock(handlerMutex);
    currentHandler = handler ? std::make_shared<CorruptionHandler>(std::move(handler)) : nullptr;
}

// ---- Loading ----

bool ConfigManager::LoadConfig() {
    records_.clear();
    global_.reset();
    corrupted_ = false;  // a new load judges the file afresh
    if (!OpenFile(true)) {
        CloseFile();
        return false;
    }
    struct stat status {};
    fileLength_ =
        ::fstat(fileno(file_.get()), &status) == 0 ? static_cast<long>(status.st_size) : 0;
    const bool ok = fileLength_ > 0 && LoadContents();
    CloseFile();
    if (corrupted_) {
        // Nothing half-read may be saved over the user's file.
        records_.clear();
        global_.reset();
        return false;
    }
    if (ok) {
        loaded_ = true;
    }
    return ok;
}

bool ConfigManager::LoadContents() {
    const std::optional<std::int32_t> version = LoadInt();
    if (!version) {
        return false;
    }
    if (*version != kVersion) {
        std::printf("Old settings version.\n");
        std::fflush(stdout);
    }
    const std::optional<std::int32_t> flag = LoadInt();
    if (!flag) {
        return false;
    }
    if (*flag == 1) {
        global_ = LoadGlobalRecord(*version);
    }
    const std::optional<std::int32_t> count = LoadInt();
    if (!count) {
        return false;
    }
    // A count beyond the end of the file makes no empty records; the record in which the file
    // ends is kept with the fields that could be read.
    for (std::int32_t i = 0; i < *count && !corrupted_ && !AtEnd(); ++i) {
        records_.push_back(LoadRecord());
    }
    return !corrupted_;
}

std::unique_ptr<GRecord_tag> ConfigManager::LoadGlobalRecord(std::int32_t version) {
    auto record = std::make_unique<GRecord_tag>();
    record->fontFamily = LoadString();
    record->fontStyle = LoadString();
    record->fontSize = LoadByte().value_or(0);
    record->spareByte = LoadByte().value_or(0);
    record->spareString = LoadString();
    record->useFirewall = LoadByte().value_or(0);
    record->firewallHost = LoadString();
    record->firewallUser = LoadString();
    record->firewallPassword = LoadString();
    record->firewallPort = LoadString();
    record->firewallCommand = LoadString();
    record->trailerByte = version > 2 ? LoadByte().value_or(0) : 1;
    return record;
}

std::unique_ptr<Record_tag> ConfigManager::LoadRecord() {
    auto record = std::make_unique<Record_tag>();
    record->name = LoadString();
    record->host = LoadString();
    record->login = LoadString();
    record->password = LoadString();
    record->reserved = LoadByte().value_or(0);
    record->passive = LoadByte().value_or(0);
    record->port = LoadString();
    record->localDirectory = LoadString();
    record->hostDirectory = LoadString();
    record->comments = LoadString();
    const std::int32_t mirrors = LoadInt().value_or(0);
    for (std::int32_t i = 0; i < mirrors && !corrupted_ && !AtEnd(); ++i) {
        record->mirrors.push_back(LoadString());
    }
    return record;
}

std::optional<std::string> ConfigManager::LoadString() {
    const std::optional<std::int32_t> length = LoadInt();
    if (!length) {
        return std::nullopt;
    }
    if (*length > kMaxStringLength || *length < 0) {
        ReportCorruption();
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(*length), '\0');
    if (!LoadBytes(text.data(), text.size())) {
        return std::nullopt;
    }
    return text;
}

std::optional<std::int32_t> ConfigManager::LoadInt() {
    unsigned char bytes[4];
    if (!LoadBytes(reinterpret_cast<char*>(bytes), sizeof bytes)) {
        return std::nullopt;
    }
    const std::uint32_t value = bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) |
                                (static_cast<std::uint32_t>(bytes[3]) << 24);
    return static_cast<std::int32_t>(value);
}

std::optional<std::uint8_t> ConfigManager::LoadByte() {
    char byte = 0;
    if (!LoadBytes(&byte, 1)) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>(byte);
}

bool ConfigManager::LoadBytes(char* buffer, std::size_t size) {
    // Once the file is known to be corrupted nothing more is read from it.
    if (corrupted_ || !file_) {
        return false;
    }
    return size == 0 || std::fread(buffer, 1, size, file_.get()) == size;
}

bool ConfigManager::AtEnd() const {
    return !file_ || std::feof(file_.get()) || std::ftell(file_.get()) >= fileLength_;
}

void ConfigManager::ReportCorruption() {
    corrupted_ = true;
    std::shared_ptr<CorruptionHandler> handler;
    {
        std::lock_guard lock(handlerMutex);
        handler = currentHandler;
    }
    // The application's handler blocks on a modal box: never call it with the lock held.
    if (handler) {
        (*handler)(kCorruptedText);
        return;
    }
    std::fprintf(stderr, "%s\n", kCorruptedText);
    std::exit(0);
}

// ---- Saving ----

bool ConfigManager::SaveConfig() {
    if (corrupted_ || !OpenFile(false)) {
        return false;
    }
    SaveInt(kVersion);
    SaveInt(global_ ? 1 : 0);
    if (global_) {
        SaveGlobalRecord(*global_);
    }
    SaveInt(static_cast<std::int32_t>(records_.size()));
    for (const auto& record : records_) {
        SaveRecord(*record);
    }
    return CommitFile();
}

void ConfigManager::SaveGlobalRecord(const GRecord_tag& record) {
    SaveString(record.fontFamily);
    SaveString(record.fontStyle);
    SaveByte(record.fontSize);
    SaveByte(record.spareByte);
    SaveString(record.spareString);
    SaveByte(record.useFirewall);
    SaveString(record.firewallHost);
    SaveString(record.firewallUser);
    SaveString(record.firewallPassword);
    SaveString(record.firewallPort);
    SaveString(record.firewallCommand);
    SaveByte(record.trailerByte);
}

void ConfigManager::SaveRecord(const Record_tag& record) {
    SaveString(record.name);
    SaveString(record.host);
    SaveString(record.login);
    SaveString(record.password);
    SaveByte(record.reserved);
    SaveByte(record.passive);
    SaveString(record.port);
    SaveString(record.localDirectory);
    SaveString(record.hostDirectory);
    SaveString(record.comments);
    SaveInt(static_cast<std::int32_t>(record.mirrors.size()));
    for (const auto& mirror : record.mirrors) {
        SaveString(mirror);
    }
}

// A field that a damaged file could not supply is written as the empty string.
void ConfigManager::SaveString(const std::optional<std::string>& text) {
    const std::string& value = text ? *text : std::string();
    const std::size_t length = FittedLength(value);
    SaveInt(static_cast<std::int32_t>(length));
    SaveBytes(value.data(), length);
}

void ConfigManager::SaveInt(std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    const char bytes[4] = {static_cast<char>(bits & 0xFF), static_cast<char>((bits >> 8) & 0xFF),
                           static_cast<char>((bits >> 16) & 0xFF),
                           static_cast<char>((bits >> 24) & 0xFF)};
    SaveBytes(bytes, sizeof bytes);
}

void ConfigManager::SaveByte(std::uint8_t value) {
    const char byte = static_cast<char>(value);
    SaveBytes(&byte, 1);
}

// A failed write sets the stream's error flag, which CommitFile checks.
void ConfigManager::SaveBytes(const char* bytes, std::size_t size) {
    if (file_ && size > 0) {
        std::fwrite(bytes, 1, size, file_.get());
    }
}

// ---- The file ----

bool ConfigManager::OpenFile(bool forReading) {
    if (!path_) {
        return false;
    }
    CloseFile();
    return forReading ? OpenForReading() : OpenForWriting();
}

bool ConfigManager::OpenForReading() {
    // Non-blocking and a plain file only: a FIFO under the name must not hold the program.
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK;
    int fd = ::open(path_->c_str(), kFlags);
    if (fd < 0 && errno == ENOENT) {
        // A missing file is created empty; it holds passwords once saved.
        const int created =
            ::open(path_->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
        if (created >= 0) {
            ::close(created);
        }
        fd = ::open(path_->c_str(), kFlags);
    }
    // Thousands of forms fit in a few megabytes: a larger file is none of ours.
    constexpr off_t kMaxBytes = 16 << 20;
    struct stat info {};
    if (fd >= 0 &&
        (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > kMaxBytes)) {
        ::close(fd);
        fd = -1;
    }
    if (fd < 0) {
        return false;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    file_.reset(::fdopen(fd, "rb"));
    if (!file_) {
        ::close(fd);
        return false;
    }
    return true;
}

bool ConfigManager::OpenForWriting() {
    std::string pattern = *path_ + ".XXXXXX";
    const int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    tempPath_ = pattern;
    if (::fchmod(fd, kFileMode) != 0) {
        ::close(fd);
        CloseFile();
        return false;
    }
    file_.reset(::fdopen(fd, "wb"));
    if (!file_) {
        ::close(fd);
        CloseFile();
        return false;
    }
    return true;
}

// Ends a load, or abandons a save and removes its new file.
void ConfigManager::CloseFile() {
    file_.reset();
    if (!tempPath_.empty()) {
        ::unlink(tempPath_.c_str());
        tempPath_.clear();
    }
}

// The new file replaces the old one only once every byte of it is on the disk.
bool ConfigManager::CommitFile() {
    std::FILE* file = file_.release();
    bool ok = std::fflush(file) == 0 && !std::ferror(file) && ::fsync(fileno(file)) == 0;
    ok = std::fclose(file) == 0 && ok;
    ok = ok && std::rename(tempPath_.c_str(), path_->c_str()) == 0;
    if (!ok) {
        CloseFile();
        return false;
    }
    tempPath_.clear();
    SyncFolderOf(*path_);
    return true;
}

// ---- The list ----

std::vector<std::unique_ptr<Record_tag>>::const_iterator ConfigManager::Find(
    std::string_view name) const {
    return std::find_if(records_.begin(), records_.end(),
                        [name](const auto& record) { return record->name == name; });
}

std::vector<std::string> ConfigManager::GetListName() const {
    std::vector<std::string> names;
    names.reserve(records_.size());
    for (const auto& record : records_) {
        names.push_back(record->name.value_or(std::string()));
    }
    return names;
}

Record_tag* ConfigManager::GetRecord(std::string_view name) const {
    const auto found = Find(name);
    return found == records_.end() ? nullptr : found->get();
}

Record_tag* ConfigManager::GetRecord(long position) const {
    if (position < 0 || position >= CountRecords()) {
        return nullptr;
    }
    return records_[static_cast<std::size_t>(position)].get();
}

void ConfigManager::AddRecord(std::unique_ptr<Record_tag> record, int position) {
    if (!record) {
        return;
    }
    if (position < 0 || position > CountRecords()) {
        records_.push_back(std::move(record));
    } else {
        records_.insert(records_.begin() + position, std::move(record));
    }
}

void ConfigManager::AddRecordTop(std::unique_ptr<Record_tag> record) {
    AddRecord(std::move(record), 0);
}

long ConfigManager::RemoveFromList(std::string_view name, std::unique_ptr<Record_tag>* removed) {
    const auto found = Find(name);
    if (found == records_.end()) {
        return -1;
    }
    const long position = found - records_.begin();
    auto iterator = records_.begin() + position;
    if (removed != nullptr) {
        *removed = std::move(*iterator);
    }
    records_.erase(iterator);
    return position;
}

void ConfigManager::MoveUp(std::string_view name) {
    const auto found = Find(name);
    if (found != records_.end() && found != records_.begin()) {
        const auto position = found - records_.begin();
        std::swap(records_[position], records_[position - 1]);
    }
}

void ConfigManager::MoveDown(std::string_view name) {
    const auto found = Find(name);
    if (found != records_.end() && found + 1 != records_.end()) {
        const auto position = found - records_.begin();
        std::swap(records_[position], records_[position + 1]);
    }
}

long ConfigManager::IndexOf(const Record_tag* record) const {
    const auto found = std::find_if(records_.begin(), records_.end(),
                                    [record](const auto& item) { return item.get() == record; });
    return found == records_.end() ? -1 : static_cast<long>(found - records_.begin());
}

void ConfigManager::SetGlobalRecord(std::unique_ptr<GRecord_tag> record) {
    global_ = std::move(record);
}
