#pragma once

#include <string>
#include <vector>

// Unpacks a local archive into the folder that holds it with tar, unzip or gunzip, started
// directly (never through a shell), so that any name is only a name. Nothing lands outside the
// folder: the entries are checked first, only the safe ones are extracted, into a fresh private
// folder, and moved into place without passing through any link. Worker threads only.
class ArchiveUnpacker {
public:
    enum class Kind { Tar, Zip, Gzip };
    struct Result {
        bool done = false;
        std::string error;                 // the tool's own words, or ours
        std::vector<std::string> skipped;  // entries left out, as the archive names them
    };

    static Result Unpack(Kind kind, const std::string& archive, const std::string& folder);

    // What a tool did.
    struct Run {
        bool started = false;
        int exitCode = -1;
        std::string output;
        std::string errors;
    };

private:
    static Run Tool(const char* program, const std::vector<std::string>& arguments,
                    const std::string& input = {});
    static Result Gunzip(const std::string& archive);
    static Result Extract(Kind kind, const std::string& archive, const std::string& folder);
    static void MoveInto(const std::string& from, const std::string& to, const std::string& path,
                         Result& result);
};
