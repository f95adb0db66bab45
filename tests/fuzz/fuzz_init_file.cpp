// The init file reader on an arbitrary file: every section it lists can be looked up, no value
// is longer than the reader's limit, and the rejected section is never listed.
#include "FuzzHelpers.h"
#include "Init.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchFile file;
    Init init;
    Require(init.OpenFile(file.Write(data, size)));
    for (const std::string& name : init.GetListSection()) {
        Require(name != Init::kRejectedSection && name.size() <= Init::kMaxText);
        if (const auto entry = init.FoundEntry("[" + name + "]")) {
            for (const auto* value :
                 {&entry->address, &entry->login, &entry->password, &entry->font}) {
                Require(!*value || (*value)->size() <= Init::kMaxText);
            }
        }
    }
    return 0;
}
