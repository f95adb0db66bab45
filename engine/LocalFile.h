#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

// A local file opened for one transfer, closed by its destructor.
class LocalFile {
public:
    enum class Mode {
        Read,       // a file to send
        Overwrite,  // a fetched file: created when absent, existing contents erased
        Append,     // a partly fetched file: created when absent, written at its end
        Private,    // a new file only its owner may read, never a link or anything already there
    };

    // Only plain files open: a fifo, a device or a folder under the name is refused at once.
    LocalFile(const std::string& path, Mode mode);
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Fd() const { return fd_; }
    long long Size() const;
    // Writes every byte; false on a full disk or another error.
    bool WriteAll(const char* bytes, std::size_t length);
    // Bytes read, 0 at the end, -1 on error.
    ssize_t Read(char* buffer, std::size_t capacity);
    // The next Read starts at `offset`.
    bool Seek(long long offset);

    // Size of a file in bytes, 0 when it cannot be opened.
    static long long SizeOf(const std::string& path);
    // The whole of a plain file of at most `limit` bytes. A FIFO or a device under the name is
    // refused at once, never waited on; nothing for those, for a larger file or a read error.
    static std::optional<std::string> ReadAll(const std::string& path, std::size_t limit);

private:
    int fd_ = -1;
};
