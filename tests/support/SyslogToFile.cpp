// Preloaded into pure-ftpd, which reports the commands it receives only through syslog: appends
// each message as one line to the file named by TARVIK_SYSLOG_FILE. The file is opened when the
// library loads, before the server chroots and drops privileges, and its sessions inherit it.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

int logFile = -1;

__attribute__((constructor)) void OpenLogFile() {
    if (const char* path = std::getenv("TARVIK_SYSLOG_FILE")) {
        logFile = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    }
}

void WriteLine(const char* format, va_list arguments) {
    char line[4096];
    int length = std::vsnprintf(line, sizeof line - 1, format, arguments);
    if (logFile < 0 || length < 0) {
        return;
    }
    length = std::min(length, static_cast<int>(sizeof line) - 2);
    line[length++] = '\n';
    // One write per line: the sessions append to the same file.
    [[maybe_unused]] ssize_t written = write(logFile, line, static_cast<std::size_t>(length));
}

}  // namespace

extern "C" {

void openlog(const char*, int, int) {}
void closelog() {}
void vsyslog(int, const char* format, va_list arguments) {
    WriteLine(format, arguments);
}
void __vsyslog_chk(int, int, const char* format, va_list arguments) {
    WriteLine(format, arguments);
}

void syslog(int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    WriteLine(format, arguments);
    va_end(arguments);
}

void __syslog_chk(int, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    WriteLine(format, arguments);
    va_end(arguments);
}

}  // extern "C"
