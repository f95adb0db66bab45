#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

// What the user said of server certificates that do not verify, per host and port: "trust
// always" is kept in a file of its own (readable by the user only, written whole), "this time"
// for as long as the program runs. A certificate other than the one trusted is asked about again.
// Safe from any thread: sessions ask from their workers.
class CertificateTrust {
public:
    enum class Verdict { Unknown, Trusted, Changed };

    explicit CertificateTrust(std::string path) : path_(std::move(path)) {}

    // The file beside the given settings file.
    static std::string PathBeside(const std::string& settingsFile);

    // A missing file trusts nothing; lines that do not read are left out.
    void Load();
    Verdict Judge(const std::string& host, int port, const std::string& sha256) const;
    // False when the file could not be written (the answer still holds for this run).
    bool TrustAlways(const std::string& host, int port, const std::string& sha256);
    void TrustThisTime(const std::string& host, int port, const std::string& sha256);

private:
    static std::string Key(const std::string& host, int port);
    bool Save() const;

    std::string path_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string> always_;  // "host port" -> fingerprint
    std::map<std::string, std::string> thisRun_;
};
