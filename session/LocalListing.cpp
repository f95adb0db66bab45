#include "LocalListing.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

namespace {

std::string WithSlash(std::string path) {
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    return path;
}

bool CanEnter(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

std::string Canonical(const std::string& path) {
    std::error_code error;
    std::filesystem::path resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

int TypeOf(const dirent& entry, const std::string& path) {
    unsigned char kind = entry.d_type;
    if (kind == DT_UNKNOWN) {
        struct stat info {};
        if (lstat(path.c_str(), &info) != 0) {
            return -1;
        }
        kind = S_ISDIR(info.st_mode)   ? DT_DIR
               : S_ISREG(info.st_mode) ? DT_REG
               : S_ISLNK(info.st_mode) ? DT_LNK
                                       : DT_UNKNOWN;
    }
    switch (kind) {
        case DT_REG:
            return EntryStringItem::File;
        case DT_DIR:
            return EntryStringItem::Directory;
        case DT_LNK:
            return EntryStringItem::Link;
        default:
            return -1;  // devices, fifos and sockets are not shown
    }
}

}  // namespace

std::string LocalListing::Resolve(const std::string& current, const std::string* argument) {
    if (argument == nullptr) {
        return WithSlash(CanEnter(current) ? Canonical(current) : current);
    }
    if (*argument == "/") {
        return "/";
    }
    if (!argument->empty() && argument->front() == '/') {
        return WithSlash(*argument);
    }
    std::string candidate = WithSlash(current) + *argument;
    if (CanEnter(candidate)) {
        return WithSlash(Canonical(candidate));
    }
    return WithSlash(CanEnter(current) ? Canonical(current) : current);
}

LocalListing::Contents LocalListing::Read(const std::string& directory) {
    Contents contents;
    std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(directory.c_str()), closedir);
    if (!folder) {
        return contents;
    }
    std::string base = WithSlash(directory);
    while (const dirent* entry = readdir(folder.get())) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        std::string path = base + name;
        int type = TypeOf(*entry, path);
        EntryStringItem item{name, type, path, 0};
        if (type == EntryStringItem::Directory || type == EntryStringItem::Link) {
            contents.directories.push_back(item);
        }
        if (type == EntryStringItem::File || type == EntryStringItem::Link) {
            contents.files.push_back(item);
        }
    }
    return contents;
}
