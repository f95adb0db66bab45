#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// A broken promise is a crash, which libFuzzer reports with the input that caused it.
inline void Require(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}

inline std::string_view TextOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// Calls `each` with every piece of `text` between LFs, as a listing arrives line by line.
template <typename F>
void ForEachLine(std::string_view text, F each) {
    for (std::size_t start = 0, end = 0; end != std::string_view::npos; start = end + 1) {
        end = text.find('\n', start);
        each(text.substr(start, end == std::string_view::npos ? end : end - start));
    }
}

// The readers under test take a path. One file per process is rewritten for every input: a file
// in memory, reached through /proc/self/fd, so that a crash leaves nothing behind and no run
// waits for a disk.
class ScratchFile {
public:
    const std::string& Write(const std::uint8_t* data, std::size_t size) {
        Require(ftruncate(fd_, 0) == 0);
        for (std::size_t done = 0; done < size;) {
            const ssize_t written = pwrite(fd_, data + done, size - done, static_cast<off_t>(done));
            Require(written > 0);
            done += static_cast<std::size_t>(written);
        }
        return path_;
    }

private:
    int fd_ = memfd_create("tarvik-fuzz", 0);
    std::string path_ = "/proc/self/fd/" + std::to_string(fd_);
};
