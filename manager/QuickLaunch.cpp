#include "QuickLaunch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <memory>

#include "LocalFile.h"

namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

}  // namespace

void QuickLaunch::PutLine(std::FILE* file, const std::string& text) {
    auto length = static_cast<std::uint32_t>(text.size() + 1);
    unsigned char bytes[4] = {static_cast<unsigned char>(length & 0xFF),
                              static_cast<unsigned char>((length >> 8) & 0xFF),
                              static_cast<unsigned char>((length >> 16) & 0xFF),
                              static_cast<unsigned char>((length >> 24) & 0xFF)};
    std::fwrite(bytes, 1, sizeof bytes, file);
    std::fwrite(text.c_str(), 1, text.size() + 1, file);
}

std::optional<std::string> QuickLaunch::GetLine(std::string_view& bytes) {
    if (bytes.size() < 4) {
        return std::nullopt;
    }
    const auto byte = [&](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at]));
    };
    const std::uint32_t length = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
    if (length < 1 || length > kMaxLine || bytes.size() - 4 < length) {
        return std::nullopt;
    }
    std::string_view text = bytes.substr(4, length);
    bytes.remove_prefix(4 + length);
    return std::string(text.substr(0, text.find('\0')));  // the text ends at its stored zero
}

bool QuickLaunch::Write(const std::string& path, const Form& form) {
    // It holds a password: readable by its owner only.
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        return false;
    }
    fchmod(fd, 0600);
    File file(fdopen(fd, "wb"));
    if (!file) {
        close(fd);
        return false;
    }
    for (const std::string* line : {&form.host, &form.user, &form.password, &form.localDirectory,
                                    &form.hostDirectory, &form.port}) {
        if (line == &form.host) {
            PutLine(file.get(), kMarker);
        }
        PutLine(file.get(), *line);
    }
    return std::fflush(file.get()) == 0 && !std::ferror(file.get());
}

std::optional<QuickLaunch::Form> QuickLaunch::Read(const std::string& path) {
    std::optional<std::string> bytes = LocalFile::ReadAll(path, kMaxFile);
    return bytes ? Parse(*bytes) : std::nullopt;
}

std::optional<QuickLaunch::Form> QuickLaunch::Parse(std::string_view bytes) {
    std::optional<std::string> marker = GetLine(bytes);
    if (!marker || *marker != kMarker) {
        return std::nullopt;
    }
    Form form;
    for (std::string* field : {&form.host, &form.user, &form.password, &form.localDirectory,
                               &form.hostDirectory, &form.port}) {
        *field = GetLine(bytes).value_or("");
        // Every field goes into a command line: a line break would smuggle in another command.
        if (field->find_first_of("\r\n") != std::string::npos) {
            return std::nullopt;
        }
    }
    return form;
}

std::string QuickLaunch::WithExtension(const std::string& path) {
    return path.ends_with(kExtension) ? path : path + kExtension;
}
