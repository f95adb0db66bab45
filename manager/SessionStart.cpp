#include "SessionStart.h"

namespace {

std::string Bounded(std::string_view text, std::size_t capacity) {
    return std::string(text.substr(0, capacity - 1));
}

}  // namespace

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
