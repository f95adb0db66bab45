#pragma once

#include <memory>

#include "ChildProcess.h"
#include "TempDir.h"
#include "TestServer.h"

// pure-ftpd (Debian's, unpacked by scripts/ftp-servers.sh) standalone on a free port, with one
// virtual user chrooted to the served folder. Root only: as another user Debian's build (with
// privilege separation) refuses every log-on.
class PureFtpdServer : public TestServer {
public:
    PureFtpdServer();
    ~PureFtpdServer() override;

    std::string Name() const override { return "pure-ftpd"; }
    int Port() const override { return port_; }
    std::string User() const override { return "tester"; }
    std::string Password() const override { return "s3cret"; }
    const std::filesystem::path& Root() const override { return root_; }
    std::vector<std::string> Commands() const override;

private:
    TempDir folder_{"tarvik-pureftpd"};
    std::filesystem::path root_;
    std::filesystem::path log_;
    std::unique_ptr<ChildProcess> process_;
    int port_ = 0;
};
