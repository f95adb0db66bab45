#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempDir {
public:
    explicit TempDir(const std::string& prefix = "tarvik") {
        std::string pattern =
            (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

    // Writes a file below the folder (parents created) and returns its path.
    std::filesystem::path Write(const std::string& name, const std::string& contents) const {
        return WriteFile(path_ / name, contents);
    }
    static std::filesystem::path WriteFile(const std::filesystem::path& file,
                                           const std::string& contents) {
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }
    static std::string Read(const std::filesystem::path& file) {
        std::ostringstream contents;
        contents << std::ifstream(file, std::ios::binary).rdbuf();
        return contents.str();
    }

private:
    std::filesystem::path path_;
};
