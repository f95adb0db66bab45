// The session window's file and folder commands on both sides: make, remove, rename, delete,
// view, unpack and run. Local work uses the file system and starts programs directly, never
// through a shell, so that a name is only ever a name.
#include <QDesktopServices>
#include <QProcess>
#include <QUrl>

#include <filesystem>
#include <system_error>

#include "Alert.h"
#include "ArchiveUnpacker.h"
#include "CrossThread.h"
#include "FTPWindow.h"
#include "HostPath.h"
#include "LPBListView.h"
#include "LogWindow.h"
#include "StatusWindow.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kSkippedShown = 10;
constexpr long long kCountLimit = 1000000;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// Everything below a folder, links not followed; stops counting at the limit.
long long EntriesBelow(const fs::path& folder) {
    long long count = 0;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(folder, error);
         !error && entry != fs::recursive_directory_iterator() && count < kCountLimit;
         entry.increment(error)) {
        ++count;
    }
    return count;
}

std::string RemovalQuestion(const std::string& name, long long entries) {
    if (entries == 0) {
        return "Remove the empty local folder " + Quoted(name) + "?";
    }
    std::string count = entries >= kCountLimit ? "more than " + std::to_string(kCountLimit)
                                               : std::to_string(entries);
    return "Remove the local folder " + Quoted(name) + " and the " + count +
           (entries == 1 ? " entry it holds?" : " entries it holds?");
}

bool IsHomeOrRoot(const fs::path& path) {
    std::error_code error;
    fs::path folder = fs::weakly_canonical(path, error);
    const char* home = std::getenv("HOME");
    return folder == "/" || (home != nullptr && folder == fs::weakly_canonical(home, error));
}

std::string SkippedText(const std::string& archive, const std::vector<std::string>& skipped) {
    std::string text = "Some entries of " + Quoted(archive) +
                       " were not unpacked: they would land outside the local folder, pass "
                       "through a link, or clash with what is there.";
    for (std::size_t i = 0; i < skipped.size() && i < kSkippedShown; ++i) {
        text += "\n" + skipped[i];
    }
    if (skipped.size() > kSkippedShown) {
        text += "\n… and " + std::to_string(skipped.size() - kSkippedShown) + " more.";
    }
    return text;
}

}  // namespace

// The names selected in a list; with none, the user hears "Nothing to do.".
std::vector<std::string> FTPWindow::SelectedOrNothing(LPBListView* list) {
    std::vector<std::string> names = list->SelectedTexts();
    if (names.empty()) {
        Alert::Go("Nothing to do.");
    }
    return names;
}

std::string FTPWindow::LocalPath(const std::string& name) const {
    return HostPath::WithSlash(LocalDirectory()) + name;
}

// ---- Local side ----

void FTPWindow::MKDLOCAL(const std::string& name) {
    if (name.empty()) {
        Alert::Go("Please enter a local directory name\nfor the mkd operation.");
        return;
    }
    SpawnLocal("ThreadMKDLOCAL", [this, path = LocalPath(name)] {
        std::error_code error;
        if (!fs::create_directory(path, error) && error) {
            Alert::Go("Impossible to create the local directory " + Quoted(path) + ".\n" +
                      error.message());
        }
        core_->UpdateClient(std::nullopt);
    });
}

// Asks first, naming the folder and what it holds; never removes "..", "/", home or the root.
void FTPWindow::RMDLOCAL() {
    std::optional<std::string> name = ui_.localDirectories->FirstSelected();
    if (!name || name->empty()) {
        Alert::Go("Please select a local directory to delete.");
        return;
    }
    if (*name == ".." || *name == "/") {
        Alert::Go(
            "The entries \"..\" and \"/\" stand for the folders around you: they are never "
            "removed.");
        return;
    }
    SpawnLocal("ThreadRMDLOCAL", [this, name = *name, path = LocalPath(*name)] {
        std::error_code error;
        bool link = fs::symlink_status(path, error).type() == fs::file_type::symlink;
        if (!link && IsHomeOrRoot(path)) {
            Alert::Go("Your home folder and \"/\" are never removed.");
            return;
        }
        std::string question = link
                                   ? "Remove the link " + Quoted(name) + "? What it leads to stays."
                                   : RemovalQuestion(name, EntriesBelow(path));
        if (Alert::Go(question, {"Remove", "Cancel"}, AlertKind::Warning) != 0) {
            return;
        }
        fs::remove_all(path, error);
        if (error) {
            Alert::Go("Impossible to delete this directory.\n" + error.message());
        }
        core_->UpdateClient(std::nullopt);
    });
}

void FTPWindow::DELLOCAL() {
    std::vector<std::string> names = SelectedOrNothing(ui_.localFiles);
    if (names.empty()) {
        return;
    }
    SpawnLocal("ThreadDELLOCAL", [this, names] {
        std::string failures;
        for (const std::string& name : names) {
            std::error_code error;
            if (!fs::remove(LocalPath(name), error) || error) {
                failures += "\n" + name + (error ? ": " + error.message() : "");
            }
        }
        if (!failures.empty()) {
            Alert::Go("Impossible to delete these files:" + failures);
        }
        core_->UpdateClient(std::nullopt);
    });
}

// Never over an entry that is there already: mv would replace it without a word.
void FTPWindow::RenameLocal(const std::string& from, const std::string& to) {
    if (to.empty() || to == from) {
        return;
    }
    SpawnLocal("ThreadRENAMELOCAL", [this, from = LocalPath(from), to = LocalPath(to), name = to] {
        std::error_code error;
        if (fs::symlink_status(to, error).type() != fs::file_type::not_found) {
            Alert::Go(Quoted(name) + " is there already: nothing was renamed.");
        } else if (fs::rename(from, to, error); error) {
            Alert::Go("Impossible to rename this entry.\n" + error.message());
        }
        core_->UpdateClient(std::nullopt);
    });
}

void FTPWindow::VIEWLOCAL() {
    std::vector<std::string> names = SelectedOrNothing(ui_.localFiles);
    if (names.empty()) {
        return;
    }
    for (const std::string& name : names) {
        OpenWithDesktop(LocalPath(name));
    }
}

// GUI thread.
void FTPWindow::OpenWithDesktop(const std::string& path) {
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(path)))) {
        Alert::Go("Impossible to view " + Quoted(path));
    }
}

void FTPWindow::Unpack(ArchiveUnpacker::Kind kind) {
    std::vector<std::string> names = SelectedOrNothing(ui_.localFiles);
    if (names.empty()) {
        return;
    }
    const char* thread = kind == ArchiveUnpacker::Kind::Tar   ? "ThreadUNTAR"
                         : kind == ArchiveUnpacker::Kind::Zip ? "ThreadUNZIP"
                                                              : "ThreadGUNZIP";
    SpawnLocal(thread, [this, names, kind, folder = LocalDirectory()] {
        for (const std::string& name : names) {
            auto result = ArchiveUnpacker::Unpack(kind, LocalPath(name), folder);
            for (const std::string& skipped : result.skipped) {
                log_->AddLine("Not unpacked: " + skipped);
            }
            if (!result.skipped.empty()) {
                Tell(SkippedText(name, result.skipped));
            }
            if (!result.done) {
                Tell("Impossible to unpack " + Quoted(name) + ".\n" + result.error);
            }
        }
        core_->UpdateClient(std::nullopt);
    });
}

// Runs the selected programs themselves, in the local folder, each on its own.
void FTPWindow::EXEC() {
    std::vector<std::string> names = SelectedOrNothing(ui_.localFiles);
    if (names.empty()) {
        return;
    }
    QString folder = QString::fromStdString(LocalDirectory());
    for (const std::string& name : names) {
        if (!QProcess::startDetached(QString::fromStdString(LocalPath(name)), {}, folder)) {
            Alert::Go("Impossible to run " + Quoted(name));
        }
    }
}

// ---- Host side: workers under the busy rule, each followed by a new host listing ----

void FTPWindow::MKDDISTANT(const std::string& name) {
    if (busy_) {
        return;  // dropped, as every host command while another runs
    }
    if (name.empty()) {
        Alert::Go("Please enter a host directory name.");
        return;
    }
    SpawnHost("ThreadMKDDISTANT", [this, name] { core_->MKDDISTANT(name); });
}

void FTPWindow::RMDDISTANT() {
    if (busy_) {
        return;  // dropped, as every host command while another runs
    }
    std::optional<std::string> name = ui_.hostDirectories->FirstSelected();
    if (!name || name->empty()) {
        Alert::Go("Please select a host directory to delete.");
        return;
    }
    SpawnHost("ThreadRMDDISTANT", [this, name = *name] { core_->RMDDISTANT(name); });
}

void FTPWindow::DELDISTANT() {
    if (busy_) {
        return;  // dropped, as every host command while another runs
    }
    std::vector<std::string> names = SelectedOrNothing(ui_.hostFiles);
    if (!names.empty()) {
        SpawnHost("ThreadDELDISTANT", [this, names] { core_->DELDISTANT(names); });
    }
}

void FTPWindow::RenameHost(const std::string& from, const std::string& to) {
    if (busy_ || to.empty() || to == from) {
        return;
    }
    SpawnHost("ThreadRENAME", [this, from, to] { core_->RenameHost(from, to); });
}

// Each file goes to the session's private view folder, then to the desktop's viewer.
void FTPWindow::VIEWDISTANT() {
    if (busy_) {
        return;  // dropped, as every host command while another runs
    }
    std::vector<std::string> names = SelectedOrNothing(ui_.hostFiles);
    if (!names.empty()) {
        SpawnHost("ThreadVIEWDISTANT", [this, names] { core_->VIEWDISTANT(names); });
    }
}
