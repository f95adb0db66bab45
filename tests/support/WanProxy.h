#pragma once

#include <memory>
#include <string>
#include <vector>

class ChildProcess;

// wan-proxy.py (a copy of the project's shared tool) between a client and a local server: a link
// with a round trip, and the faults its options ask for (--reset-data-every N,
// --drop-control-every N). Passive mode only.
class WanProxy {
public:
    WanProxy(int serverPort, const std::vector<std::string>& options);
    ~WanProxy();
    int Port() const { return port_; }
    std::string PortText() const { return std::to_string(port_); }
    // The link goes for good: every connection through it ends, and no new one is made.
    void Cut();

private:
    int port_;
    std::unique_ptr<ChildProcess> process_;
};
