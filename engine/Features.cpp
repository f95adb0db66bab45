#include "Features.h"

#include <algorithm>
#include <cctype>

#include "ReplyReader.h"

namespace {

// A server that lists thousands of features is not answering FEAT in good faith.
constexpr std::size_t kMaxFeatures = 256;

std::string UpperCase(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

std::string_view Trimmed(std::string_view text) {
    std::size_t start = text.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return {};
    }
    std::size_t end = text.find_last_not_of(' ');
    return text.substr(start, end - start + 1);
}

// A feature name is printable ASCII without spaces.
bool IsFeatureName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(),
                                        [](unsigned char c) { return c > ' ' && c < 0x7f; });
}

}  // namespace

Features Features::FromReply(const FtpReply& reply) {
    Features features;
    if (reply.code != 211 || reply.lines.size() < 3) {
        return features;  // refused, or "211 No features"
    }
    // The first and the last line frame the list; each line between names one feature.
    for (std::size_t i = 1; i + 1 < reply.lines.size(); ++i) {
        features.AddLine(reply.lines[i]);
    }
    return features;
}

void Features::AddLine(std::string_view line) {
    // Feature lines start with a space; some servers repeat the code on each line instead.
    if (line.size() >= 4 && line.substr(0, 4) == "211-") {
        line.remove_prefix(4);
    }
    line = Trimmed(line);
    std::size_t space = line.find(' ');
    std::string_view name = line.substr(0, space);
    if (!IsFeatureName(name) || features_.size() >= kMaxFeatures) {
        return;
    }
    std::string_view parameters =
        space == std::string_view::npos ? std::string_view() : Trimmed(line.substr(space));
    features_.emplace(UpperCase(name), std::string(parameters));
}

bool Features::Has(std::string_view name) const {
    return features_.contains(UpperCase(name));
}

std::optional<std::string> Features::Parameters(std::string_view name) const {
    auto found = features_.find(UpperCase(name));
    if (found == features_.end()) {
        return std::nullopt;
    }
    return found->second;
}

bool Features::OffersRestStream() const {
    std::optional<std::string> parameters = Parameters("REST");
    return parameters && UpperCase(*parameters) == "STREAM";
}
