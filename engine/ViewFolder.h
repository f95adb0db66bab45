#pragma once

#include <string>

// A private folder (0700) for host files fetched to be viewed, under the user's runtime folder
// (else the cache folder), removed with everything in it when the object goes.
class ViewFolder {
public:
    ViewFolder();
    ~ViewFolder();
    ViewFolder(const ViewFolder&) = delete;
    ViewFolder& operator=(const ViewFolder&) = delete;

    // Ends with "/"; empty when no folder could be made.
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};
