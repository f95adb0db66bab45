#pragma once

// Wakes every blocking wait of the sockets that share it. Trigger and Clear may be called from any
// thread; Fd() is polled together with the socket.
class Interrupter {
public:
    Interrupter();
    ~Interrupter();
    Interrupter(const Interrupter&) = delete;
    Interrupter& operator=(const Interrupter&) = delete;

    void Trigger();
    void Clear();
    bool IsTriggered() const;
    int Fd() const { return fd_; }

private:
    int fd_;
};
