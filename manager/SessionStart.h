#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// What a session start makes of the connection form before it opens a session window: the
// checks that may refuse it, the host and start path, the window title and the expanded firewall
// command.
class SessionStart {
public:
    // The connection form and the firewall page as typed.
    struct Form {
        std::string host;  // may carry a start path
        std::string user;
        std::string password;
        std::string port;
        std::string localDirectory;
        std::string hostDirectory;
        bool firewall = false;
        std::string firewallHost;
        std::string firewallPort;
        std::string firewallUser;
        std::string firewallPassword;
        std::string firewallCommand;  // the template, before expansion
    };

    // Host part and start path each fit a buffer of this size, terminator included.
    static constexpr std::size_t kFieldCapacity = 256;
    // The expanded firewall command fits a buffer of this size, terminator included.
    static constexpr std::size_t kCommandCapacity = 1024;
    static constexpr const char* kTitlePrefix = "Tarvik Transfer ";
    // A port as the form must hold it: decimal digits only, 1 to 65535.
    static bool IsPort(std::string_view text);

    struct HostField {
        std::string host;
        std::optional<std::string> startPath;  // from the first "/" on, none without a "/"
    };

    // The alert text that refuses to start a session from this form, or nothing when it may
    // start. A field holding CR, LF or NUL would split the command it goes into.
    static std::optional<std::string> Refusal(const Form& form);
    // Splits the host field at its first "/"; longer parts are cut to kFieldCapacity - 1.
    static HostField SplitHostField(std::string_view field);
    // "Tarvik Transfer  Host: <host> Login: <user> ".
    static std::string Title(std::string_view host, std::string_view user);
    // Expands %h %u %p %o and %% with the connection form's values (host is the whole field,
    // path included); "%" before any other character keeps that character, a final "%" is
    // dropped. The result is cut to kCommandCapacity - 1.
    static std::string BuildFireWallCommand(std::string_view commandTemplate, std::string_view host,
                                            std::string_view user, std::string_view password,
                                            std::string_view port);
};
