#pragma once

#include <filesystem>
#include <string>

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempDir {
public:
    explicit TempDir(const std::string& prefix = "tarvik");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

    // Writes a file below the folder (parents created) and returns its path.
    std::filesystem::path Write(const std::string& name, const std::string& contents) const;
    static std::filesystem::path WriteFile(const std::filesystem::path& file,
                                           const std::string& contents);
    static std::string Read(const std::filesystem::path& file);

private:
    std::filesystem::path path_;
};
