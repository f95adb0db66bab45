// The settings file reader on an arbitrary file. A corrupted file must not end the fuzzer, so
// the corruption handler only counts its calls.
#include "ConfigManager.h"
#include "FuzzHelpers.h"

namespace {

int corruptionReports = 0;

void CheckString(const std::optional<std::string>& text) {
    Require(!text || text->size() <= static_cast<std::size_t>(ConfigManager::kMaxStringLength));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchFile file;
    static const bool handlerSet = [] {
        ConfigManager::SetCorruptionHandler([](const std::string&) { ++corruptionReports; });
        return true;
    }();
    (void)handlerSet;

    corruptionReports = 0;
    ConfigManager config(file.Write(data, size));
    const bool loaded = config.LoadConfig();
    Require(corruptionReports <= 1 && config.IsCorrupted() == (corruptionReports == 1));
    // Nothing of a corrupted file may stay, or a later save would write it back.
    Require(!config.IsCorrupted() ||
            (!loaded && config.CountRecords() == 0 && config.GetGlobalRecord() == nullptr));
    // A record count in the file never makes more records than the file has bytes.
    Require(static_cast<std::size_t>(config.CountRecords()) <= size);
    for (long i = 0; i < config.CountRecords(); ++i) {
        const Record_tag* record = config.GetRecord(i);
        for (const auto* text :
             {&record->name, &record->host, &record->login, &record->password, &record->port,
              &record->localDirectory, &record->hostDirectory, &record->comments}) {
            CheckString(*text);
        }
        Require(record->mirrors.size() <= size);
        for (const auto& mirror : record->mirrors) {
            CheckString(mirror);
        }
    }
    if (const GRecord_tag* global = config.GetGlobalRecord()) {
        for (const auto* text :
             {&global->fontFamily, &global->fontStyle, &global->spareString, &global->firewallHost,
              &global->firewallUser, &global->firewallPassword, &global->firewallPort,
              &global->firewallCommand}) {
            CheckString(*text);
        }
    }
    return 0;
}
