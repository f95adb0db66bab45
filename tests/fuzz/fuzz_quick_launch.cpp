// The Quick-Launch file reader on an arbitrary file.
#include "FuzzHelpers.h"
#include "QuickLaunch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ScratchFile file;
    if (const auto form = QuickLaunch::Read(file.Write(data, size))) {
        // Each stored length counts the text and its zero byte, and the text ends at the first
        // zero. A line break would end the command that the field goes into.
        for (const auto* field : {&form->host, &form->user, &form->password, &form->localDirectory,
                                  &form->hostDirectory, &form->port}) {
            Require(field->size() < static_cast<std::size_t>(QuickLaunch::kMaxLine) &&
                    field->find_first_of(std::string_view("\0\r\n", 3)) == std::string::npos);
        }
    }
    return 0;
}
