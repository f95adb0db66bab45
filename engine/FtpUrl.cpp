#include "FtpUrl.h"

#include <cctype>

namespace {

std::optional<std::string> Decoded(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        if (i + 2 >= text.size() || !std::isxdigit(static_cast<unsigned char>(text[i + 1])) ||
            !std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            return std::nullopt;
        }
        out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
        i += 2;
    }
    return out;
}

}  // namespace

std::optional<FtpUrl> FtpUrl::Parse(const std::string& text) {
    const std::string scheme = "ftp://";
    if (text.compare(0, scheme.size(), scheme) != 0) {
        return std::nullopt;
    }
    std::string rest = text.substr(scheme.size());
    std::size_t slash = rest.find('/');
    std::string authority = rest.substr(0, slash);
    FtpUrl url;
    std::optional<std::string> path =
        Decoded(slash == std::string::npos ? "/" : rest.substr(slash));
    if (!path) {
        return std::nullopt;
    }
    url.path = *path;
    std::size_t at = authority.rfind('@');
    if (at != std::string::npos) {
        std::string credentials = authority.substr(0, at);
        authority = authority.substr(at + 1);
        std::size_t colon = credentials.find(':');
        auto user = Decoded(credentials.substr(0, colon));
        auto password = Decoded(colon == std::string::npos ? "" : credentials.substr(colon + 1));
        if (!user || !password) {
            return std::nullopt;
        }
        url.user = *user;
        if (colon != std::string::npos) {
            url.password = *password;
        }
    }
    std::size_t colon = authority.rfind(':');
    bool bracketed = !authority.empty() && authority.front() == '[';
    std::size_t close = authority.find(']');
    if (colon != std::string::npos && (!bracketed || colon > close)) {
        url.port = authority.substr(colon + 1);
        url.portGiven = true;
        authority = authority.substr(0, colon);
    }
    if (bracketed && authority.back() == ']') {
        authority = authority.substr(1, authority.size() - 2);
    }
    url.host = authority;
    if (url.host.empty() || url.port.empty() ||
        url.port.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    return url;
}

std::string FtpUrl::Folder() const {
    return path.substr(0, path.rfind('/') + 1);
}

std::string FtpUrl::Name() const {
    return path.substr(path.rfind('/') + 1);
}

std::string FtpUrl::StartFolder() const {
    return path.size() > 1 ? path.substr(1) : std::string();
}

bool FtpUrl::HoldsLineBreak() const {
    for (const std::string& part : {user.value_or(""), password.value_or(""), host, port, path}) {
        if (part.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
            return true;
        }
    }
    return false;
}
