#include "WanProxy.h"

#include "ChildProcess.h"
#include "LocalPort.h"

WanProxy::WanProxy(int serverPort, const std::vector<std::string>& options)
    : port_(FreeLocalPort()) {
    std::vector<std::string> arguments = {"/usr/bin/python3",
                                          TARVIK_TEST_SUPPORT_DIR "/wan-proxy.py",
                                          std::to_string(port_), std::to_string(serverPort)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    process_ = std::make_unique<ChildProcess>(arguments);
    WaitUntilListening(port_, *process_);
}

WanProxy::~WanProxy() = default;

void WanProxy::Cut() {
    process_.reset();
}
