// The Quick-Launch file reader on an arbitrary file.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "QuickLaunch.h"
#include "ScratchFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchFile file;
    const auto form = QuickLaunch::Read(file.Write(data, size));
    if (!form) {
        return 0;
    }
    // Each stored length counts the text and its zero byte, and the text ends at the first zero.
    // A line break would end the command that the field goes into.
    for (const auto* field : {&form->host, &form->user, &form->password, &form->localDirectory,
                              &form->hostDirectory, &form->port}) {
        if (field->size() >= static_cast<std::size_t>(QuickLaunch::kMaxLine) ||
            field->find_first_of(std::string_view("\0\r\n", 3)) != std::string::npos) {
            __builtin_trap();
        }
    }
    return 0;
}
