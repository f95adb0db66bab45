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

        // Data channel. Passive: listen and announce the port in a 227 reply. Active: read the
        // client's PORT line, answer 200 and connect to that port when data must flow.
        int OpenPassive();
        int ReadPort();
        void SendData(const std::string& bytes);
        std::string ReceiveData();
        // Ends the data connection with a reset after `bytes` (sent) or after the first bytes
        // received, as a server does when its disk or its process fails.
        void ResetData(const std::string& bytes);
        // Connects to the client's active-mode port from another local address first.
        void Intrude(const std::string& fromAddress, const std::string& bytes);
        ~Connection();

    private:
        int DataConnection();
        void CloseData();

        ScriptedPeer& peer_;
        int fd_;
        std::string pending_;
        int passiveFd_ = -1;
        int activePort_ = 0;
        int dataFd_ = -1;
        std::vector<int> intruderFds_;
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

    // Data steps: "227 ... (announced address, port)" from a fresh listener; the client's PORT
    // accepted with 200; a data connection that carries bytes to or from the client.
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

    std::string Received() const;
    std::vector<std::string> Commands() const;
    // Expect steps that saw another line, as "expected X, got Y".
    std::vector<std::string> Mismatches() const;
    // Every byte received on data connections, and the ports the client announced with PORT.
    std::string DataReceived() const;
    std::vector<int> AnnouncedPorts() const;
    bool Stopping() const { return stopping_; }

    void Record(const char* bytes, std::size_t length);
    void RecordCommand(const std::string& line);
    void RecordMismatch(const std::string& text);
    void RecordData(const std::string& bytes);
    void RecordPort(int port);

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
    std::string dataReceived_;
    std::vector<int> announcedPorts_;
};
