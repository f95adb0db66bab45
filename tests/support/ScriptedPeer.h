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
// Build the script first, then Start().
class ScriptedPeer {
public:
    // What a step can do with the control connection.
    class Connection {
    public:
        explicit Connection(ScriptedPeer& peer, int fd) : peer_(peer), fd_(fd) {}
        void Send(const std::string& bytes);
        // One line from the client, without its CR LF; empty when the client closed or timed out.
        std::string ReadLine(std::chrono::milliseconds timeout = std::chrono::seconds(10));
        // Records what the client sends until it closes the connection or the peer stops.
        void Drain();
        void Close();
        int Fd() const { return fd_; }
        ScriptedPeer& Peer() { return peer_; }

    private:
        ScriptedPeer& peer_;
        int fd_;
        std::string pending_;
    };
    using Step = std::function<void(Connection&)>;

    ScriptedPeer();
    ~ScriptedPeer();
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    int Port() const { return port_; }

    ScriptedPeer& Reply(const std::string& line);     // the line and CR LF
    ScriptedPeer& Raw(const std::string& bytes);      // bytes as they are, e.g. half a line
    ScriptedPeer& Expect(const std::string& prefix);  // one command line that starts so
    ScriptedPeer& Silence();  // answer nothing, keep the connection open until the client leaves
    ScriptedPeer& Close();
    ScriptedPeer& Pause(std::chrono::milliseconds duration);
    ScriptedPeer& Do(Step step);

    void Start();
    // Waits for the script to end; false on time-out.
    bool WaitDone(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    void Stop();

    std::string Received() const;
    std::vector<std::string> Commands() const;
    // Expect steps that saw another line, as "expected X, got Y".
    std::vector<std::string> Mismatches() const;
    bool Stopping() const { return stopping_; }

    void Record(const char* bytes, std::size_t length);
    void RecordCommand(const std::string& line);
    void RecordMismatch(const std::string& text);

private:
    void Run();

    int listenFd_ = -1;
    int port_ = 0;
    std::vector<Step> steps_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    int wakeFd_ = -1;

    mutable std::mutex mutex_;
    std::condition_variable doneChanged_;
    bool done_ = false;
    std::string received_;
    std::vector<std::string> commands_;
    std::vector<std::string> mismatches_;
};
