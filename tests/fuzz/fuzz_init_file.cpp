// The init file reader on an arbitrary file: every section it lists can be looked up, no value
// is longer than the reader's limit, and the rejected section is never listed.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Init.h"
#include "ScratchFile.h"

namespace {

void CheckValue(const std::optional<std::string>& value) {
    if (value && value->size() > Init::kMaxText) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchFile file;
    Init init;
    if (!init.OpenFile(file.Write(data, size))) {
        __builtin_trap();
    }
    for (const std::string& name : init.GetListSection()) {
        if (name == Init::kRejectedSection || name.size() > Init::kMaxText) {
            __builtin_trap();
        }
        const auto entry = init.FoundEntry("[" + name + "]");
        if (entry) {
            CheckValue(entry->address);
            CheckValue(entry->login);
            CheckValue(entry->password);
            CheckValue(entry->font);
        }
    }
    return 0;
}
