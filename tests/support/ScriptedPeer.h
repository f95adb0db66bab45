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
    ScriptedPeer& Raw(const std::string& bytes);      // bytes as they are, e.g. half a line
    ScriptedPeer& Expect(const std::string& prefix);  // one command line that starts so
    ScriptedPeer& Silence();  // answer nothing, keep the connection open until the client leaves
    ScriptedPeer& Close();

    // Data steps: "227 ... (announced address, port)" from a fresh listener; the client's PORT
    // accepted with 200; a data connection that carries bytes to or from the client; one ended
    // with a reset after `bytes` (sent) or after the first bytes received, as a server does when
    // its disk or its process fails; a connection to the client's active-mode port from another
    // local address, before the server's own.
    ScriptedPeer& Passive(const std::string& announcedAddress = "127,0,0,1");
    ScriptedPeer& Active(const std::string& reply = "200 PORT command successful.");
    ScriptedPeer& SendData(const std::string& bytes);
    ScriptedPeer& ReceiveData();
    ScriptedPeer& ResetData(const std::string& bytes = {});
    ScriptedPeer& Intrude(const std::string& fromAddress, const std::string& bytes);

    void Start();
    // Waits for the script to end; false on time-out.
    bool WaitDone(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    void Stop();

    std::string Received() const {
        return Locked([this] { return received_; });
    }
    std::vector<std::string> Commands() const {
        return Locked([this] { return commands_; });
    }
    // Expect steps that saw another line, as "expected X, got Y".
    std::vector<std::string> Mismatches() const {
        return Locked([this] { return mismatches_; });
    }
    // Every byte received on data connections, and the ports the client announced with PORT.
    std::string DataReceived() const {
        return Locked([this] { return dataReceived_; });
    }
    std::vector<int> AnnouncedPorts() const {
        return Locked([this] { return announcedPorts_; });
    }

private:
    class Connection;
    using Step = std::function<void(Connection&)>;
    ScriptedPeer& Do(Step step);
    void Run();
    template <typename F>
    auto Locked(F f) const -> decltype(f()) {
        std::lock_guard lock(mutex_);
        return f();
    }

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
    std::string dataReceived_;
    std::vector<int> announcedPorts_;
};
