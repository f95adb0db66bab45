// The archive checks on arbitrary bytes: the input is read both as tar's listing (one entry a
// line) and as a zip file. Whatever the bytes, every entry is judged once, no entry judged safe
// starts at "/" or climbs with "..", and no safe name is also an unsafe one.
#include <set>
#include <string>
#include <vector>

#include "ArchiveEntries.h"
#include "FuzzHelpers.h"

namespace {

bool Climbs(std::string_view name, bool zip) {
    const std::string_view separators = zip ? "/\\" : "/";
    bool climbs = !name.empty() && separators.find(name.front()) != std::string_view::npos;
    for (std::size_t start = 0, end = 0; end != std::string_view::npos; start = end + 1) {
        end = name.find_first_of(separators, start);
        climbs |= name.substr(start, end == std::string_view::npos ? end : end - start) == "..";
    }
    return climbs;
}

void CheckPlan(const std::vector<ArchiveEntries::Entry>& entries, bool zip) {
    const ArchiveEntries::Plan plan = ArchiveEntries::Check(entries, zip);
    Require(plan.safe.size() + plan.unsafe.size() == entries.size());
    // A tool given a safe name extracts every member of that name: none may be unsafe.
    const std::set<std::string> unsafe(plan.unsafe.begin(), plan.unsafe.end());
    for (const std::string& name : plan.safe) {
        Require(!Climbs(name, zip) && name.find('\0') == std::string::npos);
        Require(unsafe.count(name) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<ArchiveEntries::Entry> listed;
    ForEachLine(TextOf(data, size), [&](std::string_view line) {
        if (auto entry = ArchiveEntries::ParseTarLine(line)) {
            listed.push_back(std::move(*entry));
        }
    });
    CheckPlan(listed, false);
    static ScratchFile file;
    if (auto zipped = ArchiveEntries::ReadZip(file.Write(data, size))) {
        CheckPlan(*zipped, true);
    }
    return 0;
}
