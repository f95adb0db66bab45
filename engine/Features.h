#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

struct FtpReply;

// What a server says it offers in its answer to FEAT: feature names (compared without regard to
// case) with their parameters, such as "MLST" with "type*;size*;modify*;" or "REST" with
// "STREAM". A server that refuses FEAT, as servers from before FEAT do, offers nothing.
class Features {
public:
    // Reads a whole FEAT reply; anything but a 211 reply gives no features.
    static Features FromReply(const FtpReply& reply);

    bool Has(std::string_view name) const;
    // The parameters after a feature's name, as sent; nothing for a feature not offered.
    std::optional<std::string> Parameters(std::string_view name) const;
    bool Empty() const { return features_.empty(); }

    // MLSD comes with the MLST feature; some servers name MLSD itself.
    bool OffersMlsd() const { return Has("MLST") || Has("MLSD"); }
    bool OffersUtf8() const { return Has("UTF8"); }
    bool OffersSize() const { return Has("SIZE"); }
    bool OffersRestStream() const;

private:
    void AddLine(std::string_view line);

    // Keyed by the upper-case name.
    std::map<std::string, std::string> features_;
};
