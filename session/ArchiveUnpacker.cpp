#include "ArchiveUnpacker.h"

#include <QProcess>
#include <QStringList>

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "ArchiveEntries.h"

namespace fs = std::filesystem;

namespace {

// The first lines of what a tool said, enough for an alert.
std::string FirstLines(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::string kept;
    for (int count = 0; count < 4 && std::getline(lines, line); ++count) {
        kept += (kept.empty() ? "" : "\n") + line;
    }
    return kept;
}

// Why a tool failed: its own words, or its exit status when it said nothing on standard error
// (unzip tells some failures on standard output).
std::string Reason(const ArchiveUnpacker::Run& run, const char* tool) {
    std::string reason = FirstLines(run.errors);
    if (reason.empty()) {
        reason = FirstLines(run.output);
    }
    if (reason.empty() && run.exitCode != 0) {
        reason = std::string(tool) +
                 (run.exitCode < 0 ? " was stopped."
                                   : " ended with status " + std::to_string(run.exitCode) + ".");
    }
    return reason;
}

// Info-ZIP reads names as patterns: each wildcard character stands for itself in brackets.
std::string ZipPattern(const std::string& name) {
    std::string pattern;
    for (char c : name) {
        if (c == '[' || c == '*' || c == '?') {
            pattern += std::string("[") + c + "]";
        } else {
            pattern += c;
        }
    }
    return pattern;
}

// A folder of our own inside the target, on the same file system, so that moving is renaming.
std::string PrivateFolder(const std::string& folder) {
    std::string pattern = (fs::path(folder) / ".tarvik-unpack-XXXXXX").string();
    return mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
}

bool IsRealFolder(const fs::path& path) {
    std::error_code error;
    return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

// A link's target, read from the folder that holds it, stays below `root` and passes through no
// other link on its way ("up -> ." and "d/x -> ../up/.." would lead out, step by step).
bool LinkStaysInside(const fs::path& link, const fs::path& root) {
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    if (error || target.empty() || target.is_absolute()) {
        return false;
    }
    fs::path at = link.parent_path();
    auto depth = std::distance(root.begin(), root.end());
    depth = std::distance(at.begin(), at.end()) - depth;
    for (auto part = target.begin(); part != target.end(); ++part) {
        if (*part == "..") {
            if (--depth < 0) {
                return false;
            }
            at = at.parent_path();
        } else if (*part != "." && !part->empty()) {
            ++depth;
            at /= *part;
            const bool last = std::next(part) == target.end();
            if (!last && fs::symlink_status(at, error).type() == fs::file_type::symlink) {
                return false;
            }
        }
    }
    return true;
}

// What the tools should have left, and nothing else: folders, plain files, and links that stay
// inside. A device, a FIFO, a socket, a link that leads out, or a file that is also linked from
// outside goes, whatever the listing said.
std::vector<fs::path> Strays(const fs::path& root) {
    std::vector<fs::path> strays;
    std::map<std::pair<dev_t, ino_t>, std::pair<nlink_t, std::vector<fs::path>>> linked;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(root, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        struct stat info {};
        if (::lstat(entry->path().c_str(), &info) != 0) {
            strays.push_back(entry->path());
        } else if (S_ISLNK(info.st_mode)) {
            if (!LinkStaysInside(entry->path(), root)) {
                strays.push_back(entry->path());
            }
        } else if (S_ISREG(info.st_mode) && info.st_nlink > 1) {
            auto& [count, paths] = linked[{info.st_dev, info.st_ino}];
            count = info.st_nlink;
            paths.push_back(entry->path());
        } else if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
            strays.push_back(entry->path());
        }
    }
    for (const auto& [inode, names] : linked) {
        if (names.first > names.second.size()) {
            strays.insert(strays.end(), names.second.begin(), names.second.end());
        }
    }
    return strays;
}

}  // namespace

ArchiveUnpacker::Run ArchiveUnpacker::Tool(const char* program,
                                           const std::vector<std::string>& arguments,
                                           const std::string& input) {
    QStringList list;
    for (const std::string& argument : arguments) {
        list << QString::fromStdString(argument);
    }
    QProcess process;
    process.start(QString::fromUtf8(program), list);
    Run run;
    if (!process.waitForStarted(-1)) {
        return run;
    }
    run.started = true;
    process.write(input.data(), static_cast<qint64>(input.size()));
    process.closeWriteChannel();
    process.waitForFinished(-1);
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.output = process.readAllStandardOutput().toStdString();
    run.errors = process.readAllStandardError().toStdString();
    return run;
}

ArchiveUnpacker::Result ArchiveUnpacker::Unpack(Kind kind, const std::string& archive,
                                                const std::string& folder) {
    return kind == Kind::Gzip ? Gunzip(archive) : Extract(kind, archive, folder);
}

// gunzip writes the file beside the archive under the archive's name less its suffix, never
// a name from inside the file, and leaves a file that is there already alone.
ArchiveUnpacker::Result ArchiveUnpacker::Gunzip(const std::string& archive) {
    Result result;
    Run run = Tool("gunzip", {"-n", "--", archive});
    result.done = run.started && run.exitCode == 0;
    result.error = run.started ? Reason(run, "gunzip") : "gunzip is not installed.";
    return result;
}

// The archive's path is absolute, so it cannot pass for an option, and --force-local keeps tar
// from reading a colon in it as a remote host.
ArchiveUnpacker::Result ArchiveUnpacker::Extract(Kind kind, const std::string& archive,
                                                 const std::string& folder) {
    Result result;
    bool zip = kind == Kind::Zip;
    std::vector<ArchiveEntries::Entry> entries;
    if (zip) {
        auto read = ArchiveEntries::ReadZip(archive);
        if (!read) {
            result.error = "This is not a zip archive.";
            return result;
        }
        entries = std::move(*read);
    } else {
        Run list = Tool("tar", {"--list", "--verbose", "--numeric-owner", "--quoting-style=c",
                                "--force-local", "--file", archive});
        if (!list.started || list.exitCode != 0) {
            result.error = list.started ? Reason(list, "tar") : "tar is not installed.";
            return result;
        }
        std::istringstream lines(list.output);
        for (std::string line; std::getline(lines, line);) {
            if (auto entry = ArchiveEntries::ParseTarLine(line)) {
                entries.push_back(std::move(*entry));
            }
        }
    }
    ArchiveEntries::Plan plan = ArchiveEntries::Check(entries, zip);
    result.skipped = plan.unsafe;

    std::string work = PrivateFolder(folder);
    if (work.empty()) {
        result.error = "No private folder could be made in the local folder.";
        return result;
    }
    Run run;
    if (zip) {
        std::vector<std::string> arguments = {"-q", "-o", archive};
        if (!plan.unsafe.empty()) {
            arguments.push_back("-x");
            for (const std::string& name : plan.unsafe) {
                arguments.push_back(ZipPattern(name));
            }
        }
        arguments.insert(arguments.end(), {"-d", work});
        run = plan.safe.empty() ? Run{true, 0, {}, {}} : Tool("unzip", arguments);
    } else {
        // Exactly the safe names, read from standard input and matched as they are: a folder's
        // name stands for the folder alone, not for what the archive holds under it.
        std::string names;
        for (const std::string& name : plan.safe) {
            names += name + '\0';
        }
        // An empty list would mean the whole archive to tar.
        run = plan.safe.empty()
                  ? Run{true, 0, {}, {}}
                  : Tool("tar",
                         {"--extract", "--no-same-owner", "--no-same-permissions", "--force-local",
                          "--file", archive, "--directory", work, "--null", "--verbatim-files-from",
                          "--no-recursion", "--no-wildcards", "--files-from", "-"},
                         names);
    }
    if (!run.started) {
        result.error = zip ? "unzip is not installed." : "tar is not installed.";
    } else {
        result.done = run.exitCode == 0;
        result.error = Reason(run, zip ? "unzip" : "tar");
        for (const fs::path& stray : Strays(work)) {
            std::error_code error;
            fs::remove(stray, error);
            result.skipped.push_back(stray.lexically_relative(work).string());
        }
        MoveInto(work, folder, "", result);
    }
    std::error_code error;
    fs::remove_all(work, error);
    return result;
}

// Moves what was unpacked into the folder: new folders are made, folders there already are
// merged, files replace files; nothing is written through a link or over a folder.
void ArchiveUnpacker::MoveInto(const std::string& from, const std::string& to,
                               const std::string& path, Result& result) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(from, error)) {
        std::string name = entry.path().filename().string();
        std::string shown = path.empty() ? name : path + "/" + name;
        fs::path target = fs::path(to) / name;
        fs::file_type there = fs::symlink_status(target, error).type();
        if (IsRealFolder(entry.path())) {
            if (there == fs::file_type::not_found) {
                fs::create_directory(target, error);
            }
            if (IsRealFolder(target)) {
                MoveInto(entry.path().string(), target.string(), shown, result);
                continue;
            }
        } else if (there != fs::file_type::directory) {
            fs::rename(entry.path(), target, error);
            if (!error) {
                continue;
            }
        }
        result.skipped.push_back(shown);
    }
}
