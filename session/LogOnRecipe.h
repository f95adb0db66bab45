#pragma once

#include <memory>
#include <optional>
#include <string>

#include "FTPcommand.h"

class CertificateTrust;

// How a session logs on, kept for every connection it makes: its own, a second one for a
// transfer, and each time it has to log on again.
struct LogOnRecipe {
    std::string host;
    std::string port = "21";
    std::string user;
    std::string password;
    FTPcommand::Security security = FTPcommand::Security::Plain;
    // Where the answers about certificates and hosts without TLS are kept; none asks each time.
    std::shared_ptr<CertificateTrust> trust;
    bool firewall = false;
    std::string firewallHost;
    std::string firewallUser;
    std::string firewallPassword;
    std::string firewallPort = "21";
    std::string firewallCommand;
    // Where the session starts: the host field's path, then the form's folders.
    std::optional<std::string> startPath;
    std::optional<std::string> localDirectory;
    std::optional<std::string> hostDirectory;
};
