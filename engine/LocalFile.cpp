#include "LocalFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

int FlagsFor(LocalFile::Mode mode) {
    switch (mode) {
        case LocalFile::Mode::Read:
            return O_RDONLY;
        case LocalFile::Mode::Overwrite:
            return O_WRONLY | O_CREAT | O_TRUNC;
        case LocalFile::Mode::Append:
            return O_WRONLY | O_CREAT | O_APPEND;
        case LocalFile::Mode::Private:
            return O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW;
    }
    return O_RDONLY;
}

}  // namespace

LocalFile::LocalFile(const std::string& path, Mode mode) {
    // Non-blocking, so that a fifo under the name cannot hold the open for ever.
    int flags = FlagsFor(mode) | O_CLOEXEC | O_NONBLOCK;
    fd_ = open(path.c_str(), flags, mode == Mode::Private ? 0600 : 0644);
    struct stat info {};
    if (fd_ >= 0 && (fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode))) {
        close(fd_);
        fd_ = -1;
    }
    if (fd_ >= 0) {
        fcntl(fd_, F_SETFL, fcntl(fd_, F_GETFL) & ~O_NONBLOCK);
    }
}

LocalFile::~LocalFile() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

long long LocalFile::Size() const {
    struct stat info {};
    return fd_ >= 0 && fstat(fd_, &info) == 0 ? static_cast<long long>(info.st_size) : 0;
}

bool LocalFile::WriteAll(const char* bytes, std::size_t length) {
    while (length > 0) {
        ssize_t written = write(fd_, bytes, length);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

ssize_t LocalFile::Read(char* buffer, std::size_t capacity) {
    while (true) {
        ssize_t got = read(fd_, buffer, capacity);
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

bool LocalFile::Seek(long long offset) {
    return lseek(fd_, static_cast<off_t>(offset), SEEK_SET) == static_cast<off_t>(offset);
}

long long LocalFile::SizeOf(const std::string& path) {
    LocalFile file(path, Mode::Read);
    return file.Size();
}

std::optional<std::string> LocalFile::ReadAll(const std::string& path, std::size_t limit) {
    LocalFile file(path, Mode::Read);
    if (!file.IsOpen() || static_cast<unsigned long long>(file.Size()) > limit) {
        return std::nullopt;
    }
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(file.Size()));
    char block[64 * 1024];
    // Read to the end, not to the size: a file that grew meanwhile must still fit.
    for (ssize_t got; (got = file.Read(block, sizeof block)) != 0;) {
        if (got < 0 || bytes.size() + static_cast<std::size_t>(got) > limit) {
            return std::nullopt;
        }
        bytes.append(block, static_cast<std::size_t>(got));
    }
    return bytes;
}
