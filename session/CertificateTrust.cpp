#include "CertificateTrust.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "LocalFile.h"

namespace {

// Far more hosts than anyone trusts; a larger file is not ours.
constexpr std::size_t kMaxBytes = 1u << 20;

}  // namespace

CertificateTrust::CertificateTrust(std::string path)
    : path_(std::move(path)),
      plainPath_((std::filesystem::path(path_).parent_path() / "Tarvik_plain_hosts").string()) {}

std::string CertificateTrust::PathBeside(const std::string& settingsFile) {
    return (std::filesystem::path(settingsFile).parent_path() / "Tarvik_certificates").string();
}

std::string CertificateTrust::Key(const std::string& host, int port) {
    return host + " " + std::to_string(port);
}

void CertificateTrust::Load() {
    std::lock_guard lock(mutex_);
    always_.clear();
    std::istringstream file(LocalFile::ReadAll(path_, kMaxBytes).value_or(""));
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string host, fingerprint, extra;
        int port = 0;
        if (fields >> host >> port >> fingerprint && !(fields >> extra) && port > 0) {
            always_[Key(host, port)] = fingerprint;
        }
    }
    plain_.clear();
    std::istringstream plain(LocalFile::ReadAll(plainPath_, kMaxBytes).value_or(""));
    for (std::string line; std::getline(plain, line);) {
        std::istringstream fields(line);
        std::string host, extra;
        int port = 0;
        if (fields >> host >> port && !(fields >> extra) && port > 0) {
            plain_.insert(Key(host, port));
        }
    }
}

CertificateTrust::Verdict CertificateTrust::Judge(const std::string& host, int port,
                                                  const std::string& sha256) const {
    std::lock_guard lock(mutex_);
    const std::string key = Key(host, port);
    bool known = false;
    for (const auto* trusted : {&always_, &thisRun_}) {
        if (auto found = trusted->find(key); found != trusted->end()) {
            if (found->second == sha256) {
                return Verdict::Trusted;
            }
            known = true;
        }
    }
    return known ? Verdict::Changed : Verdict::Unknown;
}

bool CertificateTrust::TrustAlways(const std::string& host, int port, const std::string& sha256) {
    std::lock_guard lock(mutex_);
    always_[Key(host, port)] = sha256;
    thisRun_.erase(Key(host, port));
    return Save();
}

void CertificateTrust::TrustThisTime(const std::string& host, int port, const std::string& sha256) {
    std::lock_guard lock(mutex_);
    thisRun_[Key(host, port)] = sha256;
}

bool CertificateTrust::IsPinned(const std::string& host, int port) const {
    std::lock_guard lock(mutex_);
    return always_.count(Key(host, port)) != 0;
}

bool CertificateTrust::AcceptsPlain(const std::string& host, int port) const {
    std::lock_guard lock(mutex_);
    return plain_.count(Key(host, port)) != 0;
}

bool CertificateTrust::AcceptPlain(const std::string& host, int port) {
    std::lock_guard lock(mutex_);
    plain_.insert(Key(host, port));
    std::string bytes;
    for (const std::string& key : plain_) {
        bytes += key + "\n";
    }
    return Write(plainPath_, bytes);
}

// A line is three words; a host name with a blank in it would not read back, and would be asked
// about again.
bool CertificateTrust::Save() const {
    std::string bytes;
    for (const auto& [key, fingerprint] : always_) {
        bytes += key + " " + fingerprint + "\n";
    }
    return Write(path_, bytes);
}

// Written to a new file that replaces the old one once all of it is on the disk.
bool CertificateTrust::Write(const std::string& path, const std::string& bytes) {
    std::string temporary = path + ".XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    bool ok = ::fchmod(fd, 0600) == 0 &&
              ::write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
              ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    ok = ok && std::rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok) {
        ::unlink(temporary.c_str());
    }
    return ok;
}
