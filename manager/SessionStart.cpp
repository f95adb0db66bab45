#include "SessionStart.h"

#include <array>
#include <charconv>

namespace {

struct Field {
    const char* label;  // as the form names it
    std::string SessionStart::Form::*text;
};

constexpr std::array kConnectionFields = {
    Field{"Host name", &SessionStart::Form::host},
    Field{"User name", &SessionStart::Form::user},
    Field{"Password", &SessionStart::Form::password},
    Field{"Initial directory offset: Client", &SessionStart::Form::localDirectory},
    Field{"Initial directory offset: Server", &SessionStart::Form::hostDirectory},
    Field{"FTP port", &SessionStart::Form::port},
};

constexpr std::array kFirewallFields = {
    Field{"Firewall settings: Host name", &SessionStart::Form::firewallHost},
    Field{"Firewall settings: User name", &SessionStart::Form::firewallUser},
    Field{"Firewall settings: Password", &SessionStart::Form::firewallPassword},
    Field{"Firewall settings: Port", &SessionStart::Form::firewallPort},
    Field{"Firewall settings: Command", &SessionStart::Form::firewallCommand},
};

std::optional<std::string> UnsendableField(const SessionStart::Form& form, const Field& field) {
    const std::string& text = form.*field.text;
    const char* what = nullptr;
    if (text.find_first_of("\r\n") != std::string::npos) {
        what = "a line break";
    } else if (text.find('\0') != std::string::npos) {
        what = "a null character";
    } else {
        return std::nullopt;
    }
    return std::string("The field \"") + field.label + "\" holds " + what +
           " and cannot be sent to the server.";
}

std::string Bounded(std::string_view text, std::size_t capacity) {
    return std::string(text.substr(0, capacity - 1));
}

}  // namespace

bool SessionStart::IsPort(std::string_view text) {
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= 65535;
}

std::optional<std::string> SessionStart::Refusal(const Form& form) {
    if (form.host.empty()) {
        return "Please enter a Host name.";
    }
    if (form.user.empty()) {
        return "Please enter a Username.";
    }
    for (const Field& field : kConnectionFields) {
        if (auto refusal = UnsendableField(form, field)) {
            return refusal;
        }
    }
    if (!IsPort(form.port)) {
        return "The FTP port must be a number from 1 to 65535.";
    }
    if (form.firewall) {  // the firewall page is sent only when it is used
        for (const Field& field : kFirewallFields) {
            if (auto refusal = UnsendableField(form, field)) {
                return refusal;
            }
        }
        if (!IsPort(form.firewallPort)) {
            return "The firewall port must be a number from 1 to 65535.";
        }
    }
    if (SplitHostField(form.host).host.empty()) {
        return "Enter a server name please";
    }
    return std::nullopt;
}

SessionStart::HostField SessionStart::SplitHostField(std::string_view field) {
    const std::size_t slash = field.find('/');
    if (slash == std::string_view::npos) {
        return {Bounded(field, kFieldCapacity), std::nullopt};
    }
    return {Bounded(field.substr(0, slash), kFieldCapacity),
            Bounded(field.substr(slash), kFieldCapacity)};
}

std::string SessionStart::Title(std::string_view host, std::string_view user) {
    std::string title(kTitlePrefix);
    title.append(" Host: ").append(host).append(" Login: ").append(user).append(" ");
    return title;
}

std::string SessionStart::BuildFireWallCommand(std::string_view commandTemplate,
                                               std::string_view host, std::string_view user,
                                               std::string_view password, std::string_view port) {
    std::string command;
    for (std::size_t i = 0; i < commandTemplate.size(); ++i) {
        if (commandTemplate[i] != '%') {
            command += commandTemplate[i];
            continue;
        }
        if (++i == commandTemplate.size()) {
            break;
        }
        switch (commandTemplate[i]) {
            case 'h':
                command.append(host);
                break;
            case 'u':
                command.append(user);
                break;
            case 'p':
                command.append(password);
                break;
            case 'o':
                command.append(port);
                break;
            default:  // "%%" and "%c" alike keep the second character
                command += commandTemplate[i];
                break;
        }
    }
    // The command goes out as one control-connection line: keep it bounded.
    if (command.size() > kCommandCapacity - 1) {
        command.resize(kCommandCapacity - 1);
    }
    return command;
}
