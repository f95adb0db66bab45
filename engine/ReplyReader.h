#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One whole server reply: its code and every line as received (without line ends).
struct FtpReply {
    // The three digits that start the first line; 0 for a line that does not start with a code
    // (text a server should not send). A code outside 1xx-5xx (RFC 2228's 633) is final.
    int code = 0;
    std::vector<std::string> lines;

    bool IsPreliminary() const { return code >= 100 && code < 200; }
    bool IsFinal() const { return code != 0 && !IsPreliminary(); }
    // The lines joined with line feeds, for the log and for alerts.
    std::string Text() const;
};

// Frames the bytes of a control connection into replies. A reply's code is the first three
// digits of its first line; "ddd-" opens a multi-line reply that ends at the first line that
// begins with the same code and a space. Digits anywhere else mean nothing. Lines end at LF, with
// an optional CR before it; over-long lines are cut.
class ReplyReader {
public:
    static constexpr std::size_t kLineCapacity = 5119;
    // A server that streams continuation lines for ever must not grow memory for ever.
    static constexpr std::size_t kMaxLines = 10000;

    // Takes received bytes; whole replies become available through Next().
    void Feed(std::string_view bytes);
    // For the reply to a Telnet negotiation: the server's own negotiations are dropped. A
    // doubled 0xFF is one byte either way.
    void SetTelnet(bool on) { telnet_ = on; }
    std::optional<FtpReply> Next();
    // True once a reply passed kMaxLines: what follows can no longer be read in step.
    bool Overflowed() const { return overflowed_; }
    // Drops everything buffered, for a new connection.
    void Reset();
    // Nothing received that is not yet handed out.
    bool IsEmpty() const { return partial_.empty() && open_.lines.empty() && ready_.empty(); }

    // The code of a line that starts a reply, or 0.
    static int CodeOf(std::string_view line);

private:
    enum class TelnetState { Text, Command, Option };

    void FeedText(std::string_view bytes);
    std::string Unescaped(std::string_view bytes);
    void AddLine(std::string line);

    bool telnet_ = false;
    TelnetState telnetState_ = TelnetState::Text;

    std::string partial_;
    bool cutting_ = false;  // the current line passed kLineCapacity; the rest is dropped
    FtpReply open_;         // a multi-line reply still waiting for its last line
    std::deque<FtpReply> ready_;
    bool overflowed_ = false;
};
