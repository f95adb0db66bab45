// ftpxfer: the engine on the command line, for benchmarks and black-box tests.
//   ftpxfer [--active|--passive] [--ascii] [--stats] [--tls|--tls-implicit] [--cacert FILE]
//           get|reget|put|ls URL [LOCAL]
// get writes LOCAL (a file, or a folder to put the remote name in); put sends LOCAL to the URL's
// path. Exit status 0 only when the server confirmed the work, else the engine's result code,
// with the FTP log on standard error. --tls requires explicit TLS (the user name and password
// are never sent in clear), --tls-implicit speaks TLS from the first byte (port 990 unless the
// URL names one); the certificate must verify against the system's store, or against the
// certificates in --cacert FILE, and name the URL's host. The driver never asks.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "AlertHook.h"
#include "FTPcommand.h"
#include "FtpUrl.h"
#include "LogMonitor.h"

namespace {

namespace fs = std::filesystem;

class BufferedLog : public LogMonitor {
public:
    void AddLine(const std::string& line) override { lines_.push_back(line); }
    void Print() const {
        for (const auto& line : lines_) {
            std::cerr << line << '\n';
        }
    }

private:
    std::vector<std::string> lines_;
};

struct Options {
    int mode = 1;
    bool ascii = false;
    bool stats = false;
    std::string verb;
    std::string url;
    std::string local;
    FTPcommand::Security security = FTPcommand::Security::Plain;
    std::string caFile;
};

int Usage() {
    std::cerr << "usage: ftpxfer [--active|--passive] [--ascii] [--stats] [--tls|--tls-implicit] "
                 "[--cacert FILE] get|reget|put|ls URL [LOCAL]\n";
    return 64;
}

bool ParseArguments(int argc, char** argv, Options& options) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (argument == "--active") {
            options.mode = 0;
        } else if (argument == "--passive") {
            options.mode = 1;
        } else if (argument == "--ascii") {
            options.ascii = true;
        } else if (argument == "--stats") {
            options.stats = true;
        } else if (argument == "--tls") {
            options.security = FTPcommand::Security::ExplicitRequired;
        } else if (argument == "--tls-implicit") {
            options.security = FTPcommand::Security::Implicit;
        } else if (argument == "--cacert" && i + 1 < argc) {
            options.caFile = argv[++i];
        } else if (argument.starts_with("--")) {
            return false;
        } else {
            words.push_back(argument);
        }
    }
    if (words.size() < 2 || words.size() > 3) {
        return false;
    }
    options.verb = words[0];
    options.url = words[1];
    options.local = words.size() == 3 ? words[2] : "";
    return options.verb == "get" || options.verb == "reget" || options.verb == "put" ||
           options.verb == "ls";
}

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The local file of a get: LOCAL as given, inside LOCAL when it is a folder, else the remote
// name in the working folder.
std::string LocalFileOf(const std::string& local, const std::string& name) {
    fs::path path = local.empty() ? fs::path(name) : fs::path(local);
    if (fs::is_directory(path)) {
        path /= name;
    }
    return path.string();
}

// One line per entry: type, size (0 where the listing gave none), name; the folders and links
// first, then the files, each in listing order.
int List(FTPcommand& ftp, int mode) {
    FTPcommand::Items directories;
    FTPcommand::Items files;
    int result = ftp.LISTING(nullptr, &files, &directories, nullptr, mode, nullptr, nullptr);
    if (result != 0) {
        return result;
    }
    // Written out a block at a time: one string for the whole listing would cost pages.
    constexpr std::size_t kBlock = 64 * 1024;
    std::string out;
    out.reserve(kBlock + 512);
    for (const FTPcommand::Items* list : {&directories, &files}) {
        for (const EntryStringItem& entry : *list) {
            if (list == &files && entry.type == EntryStringItem::Link) {
                continue;  // listed with the folders already
            }
            out += std::to_string(entry.type);
            out += ' ';
            out += std::to_string(std::max(entry.size, 0LL));
            out += ' ';
            out += entry.text;
            out += '\n';
            if (out.size() >= kBlock) {
                std::fwrite(out.data(), 1, out.size(), stdout);
                out.clear();
            }
        }
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}

int Transfer(FTPcommand& ftp, const Options& options, const FtpUrl& url) {
    std::string name = url.Name();
    if (options.verb == "put") {
        if (options.local.empty()) {
            std::cerr << "ftpxfer: put needs the LOCAL file to send\n";
            return 1;
        }
        if (name.empty()) {
            name = fs::path(options.local).filename().string();
        }
        return ftp.Store(options.ascii, options.local, name.c_str(), nullptr, options.mode);
    }
    if (name.empty()) {
        std::cerr << "ftpxfer: the URL must name a file\n";
        return 1;
    }
    std::string local = LocalFileOf(options.local, name);
    auto kind = options.verb == "reget" ? FTPcommand::Fetch::Resume
                : options.ascii         ? FTPcommand::Fetch::Ascii
                                        : FTPcommand::Fetch::Binary;
    return ftp.Retrieve(kind, name.c_str(), local, nullptr, options.mode);
}

int Run(FTPcommand& ftp, const Options& options, const FtpUrl& url) {
    const std::string user = url.user.value_or("anonymous");
    const std::string password = url.password.value_or("ftpxfer@localhost");
    if (int result =
            ftp.Init(url.host.c_str(), url.port.c_str(), user.c_str(), password.c_str(), nullptr);
        result != 0) {
        if (!ftp.Unreachable().empty()) {
            std::fprintf(stderr, "ftpxfer: %s\n", ftp.Unreachable().c_str());
        }
        return result;
    }
    std::string folder = options.verb == "ls" ? url.path : url.Folder();
    if (!folder.empty()) {
        if (int result = ftp.CWD(folder.c_str()); result != 0) {
            return result;
        }
    }
    int typed = options.ascii ? ftp.ASCII() : ftp.BINARY();
    if (typed != 0) {
        return typed;
    }
    auto start = std::chrono::steady_clock::now();
    double cpuStart = CpuSeconds();
    int result = options.verb == "ls" ? List(ftp, options.mode) : Transfer(ftp, options, url);
    if (options.stats) {
        std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        std::fprintf(stderr, "ftpxfer: %s wall %.3f s, cpu %.3f s\n", options.verb.c_str(),
                     wall.count(), CpuSeconds() - cpuStart);
    }
    // The work is done and confirmed: say goodbye without waiting for the answer, which some
    // servers give only once they have closed the file they received.
    ftp.SendRAW("QUIT");
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseArguments(argc, argv, options)) {
        return Usage();
    }
    std::optional<FtpUrl> url = FtpUrl::Parse(options.url);
    if (!url) {
        std::cerr << "ftpxfer: not an ftp:// URL: " << options.url << "\n";
        return Usage();
    }
    if (url->HoldsLineBreak()) {
        std::cerr << "ftpxfer: the URL holds a line break or a NUL byte, which no FTP command "
                     "can carry\n";
        return Usage();
    }
    BufferedLog log;
    AlertHook::Set([&log](const std::string& text) { log.AddLine("alert: " + text); });
    FTPcommand ftp;
    ftp.SetLog(&log);
    ftp.SetSecurity(options.security, options.caFile);
    if (options.security == FTPcommand::Security::Implicit && !url->portGiven) {
        url->port = "990";
    }
    int result = Run(ftp, options, *url);
    if (result != 0) {
        log.Print();
    }
    return result;
}
