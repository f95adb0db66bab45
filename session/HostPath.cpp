#include "HostPath.h"

std::string HostPath::Parent(const std::string& path) {
    std::size_t slash = path.empty() ? std::string::npos : path.rfind('/', path.size() - 1);
    if (slash == std::string::npos || slash == 0) {
        return "/";
    }
    return path.substr(0, slash);
}

std::string HostPath::Child(const std::string& current, const std::string& argument) {
    return WithSlash(current) + argument;
}

std::string HostPath::WithSlash(const std::string& path) {
    return !path.empty() && path.back() == '/' ? path : path + "/";
}

bool HostPath::IsPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string("/\r\n\0", 4)) == std::string::npos;
}
