#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

// The readers under test take a path. One file per process is rewritten for every input: a file
// in memory, reached through /proc/self/fd, so that a crash leaves nothing behind and no run
// waits for a disk.
class ScratchFile {
public:
    ScratchFile() : fd_(::memfd_create("tarvik-fuzz", 0)) {
        if (fd_ < 0) {
            __builtin_trap();
        }
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }

    const std::string& Write(const std::uint8_t* data, std::size_t size) {
        if (::ftruncate(fd_, 0) != 0) {
            __builtin_trap();
        }
        std::size_t done = 0;
        while (done < size) {
            const ssize_t written =
                ::pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
            if (written <= 0) {
                __builtin_trap();
            }
            done += static_cast<std::size_t>(written);
        }
        return path_;
    }

private:
    int fd_;
    std::string path_;
};
