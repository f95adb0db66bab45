#include "Interrupter.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

Interrupter::Interrupter() : fd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

Interrupter::~Interrupter() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

void Interrupter::Trigger() {
    std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(fd_, &one, sizeof one);
}

void Interrupter::Clear() {
    std::uint64_t count = 0;
    [[maybe_unused]] ssize_t got = read(fd_, &count, sizeof count);
}

bool Interrupter::IsTriggered() const {
    pollfd p{fd_, POLLIN, 0};
    return poll(&p, 1, 0) > 0;
}
