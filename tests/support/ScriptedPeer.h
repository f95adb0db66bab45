#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A fake FTP server for replies that no real server sends. It listens on 127.0.0.1, accepts one
// control connection and plays a script step by step, recording every byte the client sent.
// Build the script first, then Start(). Unless the script expects FEAT, the peer plays a server
// from before FEAT: it answers FEAT with 502 and leaves that line out of its records.
class ScriptedPeer {
public:
    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    int Port() const { return port_; }

    ScriptedPeer& Reply(const std::string& line);     // the line and CR LF
    ScriptedPeer& Expect(const std::string& prefix);  // one command line that starts so
    ScriptedPeer& Silence();  // answer nothing, keep the connection open until the client leaves
    ScriptedPeer& Close();
    // The client's next control connection takes the script over; the one before stays open,
    // unread. Then the script may wait before it greets.
    ScriptedPeer& NextConnection();
    ScriptedPeer& Pause(std::chrono::milliseconds duration);

    // Data steps: "227 ... (announced address, port)" from a fresh listener; the client's PORT
    // accepted with 200; a data connection that carries bytes to the client; one ended with a
    // reset after `bytes` (sent) or after the first bytes received, as a server does when its
    // disk or its process fails; a connection to the client's active-mode port from another
    // local address, before the server's own.
    ScriptedPeer& Passive(const std::string& announcedAddress = "127,0,0,1");
    ScriptedPeer& Active(const std::string& reply = "200 PORT command successful.");
    ScriptedPeer& SendData(const std::string& bytes);
    ScriptedPeer& ResetData(const std::string& bytes = {});
    ScriptedPeer& Intrude(const std::string& fromAddress, const std::string& bytes);

    void Start();
    // Waits for the script to end; false on time-out.
    bool WaitDone(std::chrono::milliseconds timeout = std::chrono::seconds(10));

    std::string Received() const { return Copy(received_); }
    std::vector<std::string> Commands() const { return Copy(commands_); }
    // Expect steps that saw another line, as "expected X, got Y".
    std::vector<std::string> Mismatches() const { return Copy(mismatches_); }
    // The ports the client announced with PORT.
    std::vector<int> AnnouncedPorts() const { return Copy(announcedPorts_); }

private:
    ScriptedPeer& Do(std::function<void()> step);
    void Run();
    void Stop();
    void Send(int fd, const std::string& bytes);
    std::string ReadLine(const std::string& expected = {});
    bool AnsweredFeat(const std::string& line);
    std::string Receive(int fd, std::chrono::milliseconds timeout);
    bool WaitReadable(int fd, std::chrono::milliseconds timeout) const;
    int DataConnection();
    void CloseData();
    void Mismatch(const std::string& text);
    template <typename T>
    T Copy(const T& field) const {
        std::lock_guard lock(mutex_);
        return field;
    }
    template <typename F>
    void Locked(F f) {
        std::lock_guard lock(mutex_);
        f();
    }

    int listenFd_ = -1;
    int port_ = 0;
    int wakeFd_ = -1;
    std::vector<std::function<void()>> steps_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};

    // Used by the peer's thread only.
    int control_ = -1;
    std::string pending_;
    int passiveFd_ = -1;
    int activePort_ = 0;
    int dataFd_ = -1;
    std::vector<int> intruderFds_;
    std::vector<int> earlierControls_;

    mutable std::mutex mutex_;
    std::condition_variable doneChanged_;
    bool done_ = false;
    std::string received_;
    std::vector<std::string> commands_;
    std::vector<std::string> mismatches_;
    std::vector<int> announcedPorts_;
};
