// The archive checks on arbitrary bytes: the input is read both as tar's listing (one entry a
// line) and as a zip file. Whatever the bytes, every entry is judged once, and no entry judged
// safe starts at "/" or climbs with "..".
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ArchiveEntries.h"
#include "ScratchFile.h"

namespace {

bool Climbs(std::string_view name, bool zip) {
    const std::string_view separators = zip ? "/\\" : "/";
    if (!name.empty() && separators.find(name.front()) != std::string_view::npos) {
        return true;
    }
    std::size_t start = 0;
    while (start <= name.size()) {
        std::size_t end = name.find_first_of(separators, start);
        if (end == std::string_view::npos) {
            end = name.size();
        }
        if (name.substr(start, end - start) == "..") {
            return true;
        }
        start = end + 1;
    }
    return false;
}

void CheckPlan(const std::vector<ArchiveEntries::Entry>& entries, bool zip) {
    const ArchiveEntries::Plan plan = ArchiveEntries::Check(entries, zip);
    if (plan.safe.size() + plan.unsafe.size() != entries.size()) {
        __builtin_trap();
    }
    for (const std::string& name : plan.safe) {
        if (Climbs(name, zip) || name.find('\0') != std::string::npos) {
            __builtin_trap();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<ArchiveEntries::Entry> listed;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        if (auto entry = ArchiveEntries::ParseTarLine(text.substr(start, end - start))) {
            listed.push_back(std::move(*entry));
        }
        start = end + 1;
    }
    CheckPlan(listed, false);

    static ScratchFile file;
    if (auto zipped = ArchiveEntries::ReadZip(file.Write(data, size))) {
        CheckPlan(*zipped, true);
    }
    return 0;
}
