#pragma once

#include <string>

// Host paths as the session window moves through them: no trailing "/" except for the root.
class HostPath {
public:
    // ".." from a path: cut at its last "/"; the root, or a path with no "/", gives "/".
    static std::string Parent(const std::string& path);
    // `argument` below `current` ("/pub" and "x" give "/pub/x"; "/" and "x" give "/x").
    static std::string Child(const std::string& current, const std::string& argument);
    // The label text: the path with one "/" at its end.
    static std::string WithSlash(const std::string& path);
    // A name that may be one component of a local path; what a server lists is data, never a
    // path ("", ".", "..", and anything with "/", CR, LF or NUL are not).
    static bool IsPlainName(const std::string& name);
};
