#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

// What the user said of hosts' security, per host and port: of server certificates that do not
// verify ("trust always" kept in a file of its own, readable by the user only and written whole;
// "this time" for as long as the program runs; a certificate other than the one trusted is asked
// about again), and of hosts that offer no TLS where the user let the session go on in clear
// (kept in a second file beside the first). Safe from any thread: sessions ask from their workers.
class CertificateTrust {
public:
    enum class Verdict { Unknown, Trusted, Changed };

    // `path`: the certificates' file; the plain hosts' file is beside it.
    explicit CertificateTrust(std::string path);

    // The file beside the given settings file.
    static std::string PathBeside(const std::string& settingsFile);

    // A missing file trusts nothing; lines that do not read are left out.
    void Load();
    Verdict Judge(const std::string& host, int port, const std::string& sha256) const;
    // False when the file could not be written (the answer still holds for this run).
    bool TrustAlways(const std::string& host, int port, const std::string& sha256);
    void TrustThisTime(const std::string& host, int port, const std::string& sha256);
    // A certificate of the host is trusted always: it spoke TLS before, and must again.
    bool IsPinned(const std::string& host, int port) const;
    // The user let a session to this host go on without TLS before.
    bool AcceptsPlain(const std::string& host, int port) const;
    // False when the file could not be written (the answer still holds for this run).
    bool AcceptPlain(const std::string& host, int port);

private:
    static std::string Key(const std::string& host, int port);
    static bool Write(const std::string& path, const std::string& bytes);
    bool Save() const;

    std::string path_;
    std::string plainPath_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> always_;  // "host port" -> fingerprint
    std::map<std::string, std::string> thisRun_;
    std::set<std::string> plain_;  // "host port"
};
