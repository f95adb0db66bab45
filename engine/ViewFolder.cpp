#include "ViewFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

namespace {

namespace fs = std::filesystem;

// Folders only this user can enter, best first.
std::vector<fs::path> Bases() {
    std::vector<fs::path> bases;
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime == '/') {
        bases.emplace_back(runtime);
    }
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && *cache == '/') {
        bases.emplace_back(cache);
    } else if (const char* home = std::getenv("HOME"); home && *home == '/') {
        bases.push_back(fs::path(home) / ".cache");
    }
    return bases;
}

}  // namespace

ViewFolder::ViewFolder() {
    for (const fs::path& base : Bases()) {
        std::error_code error;
        fs::create_directories(base, error);
        std::string pattern = (base / "tarvik-view-XXXXXX").string();
        // mkdtemp makes the folder 0700 under a name nobody can guess.
        if (mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern + "/";
            return;
        }
    }
}

ViewFolder::~ViewFolder() {
    if (!path_.empty()) {
        std::error_code error;
        fs::remove_all(path_, error);
    }
}
