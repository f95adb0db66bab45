#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

// Reads a sectioned text file of connection entries:
//
//   [name]
//   ADD=host
//   LOGIN=user
//   PASS=password
//   FONT=font
//
// It does not parse lines: it feeds the bytes through a rolling match window that holds the last
// 49 characters read, so a key or section marker longer than 49 characters never matches.
//
// Two things differ from the reader this one replaces: the match window belongs to each Init
// object instead of being one global window shared by all readers, and the progress lines go to
// an optional trace stream (none by default) without ever showing a value, since one of them is a
// password.
class Init {
public:
    static constexpr std::size_t kWindowBytes = 51;  // 49 characters, one being added, a zero
    static constexpr std::size_t kKept = 49;
    static constexpr std::size_t kMaxText = 255;  // longer values and names are cut here
    static constexpr const char* kRejectedSection = "InitQvftp";
    // No init file of connections comes near this; a larger file is none.
    static constexpr std::size_t kMaxBytes = 16u << 20;

    // The values of one section; a key that was not found leaves its value empty.
    struct Entry {
        std::optional<std::string> address;   // ADD=
        std::optional<std::string> login;     // LOGIN=
        std::optional<std::string> password;  // PASS=
        std::optional<std::string> font;      // FONT=
    };

    Init() = default;
    Init(const Init&) = delete;
    Init& operator=(const Init&) = delete;

    // Reads the whole file, a plain one of at most kMaxBytes; a missing file is first created
    // empty. It may block on a hung mount: not for the GUI thread.
    bool OpenFile(const std::string& path);
    // The file's bytes, read elsewhere.
    void OpenText(std::string text);

    // Adds c to the match window (reset empties it first) and returns 1 when the window holds the
    // pattern, else 0. A zero character is not added and never matches.
    int Search(char c, std::string_view pattern, bool reset);

    // The rest of the line after the key, reading on from where the last read stopped; nothing
    // when a "[" (the next section) or the end of the file comes first, or the line never ends.
    std::optional<std::string> GetField(std::string_view key);

    // The four values of the section whose header line is exactly the marker ("[name]"), or
    // nothing when there is no such line. The keys are read in file order: a missing one uses up
    // the rest of its section, so the keys after it come from the following section.
    // The file is read from its start again afterwards.
    std::optional<Entry> FoundEntry(std::string_view marker);

    // The names of the sections in file order, "InitQvftp" left out. Only a header that follows a
    // line feed counts, so a header on the very first line is not listed.
    std::vector<std::string> GetListSection();

    // Where the progress lines go; null for nowhere.
    void SetTrace(std::ostream* trace) { trace_ = trace; }

private:
    void Reopen() { at_ = 0; }
    int Next();  // the next byte, or EOF
    std::optional<std::string> ReadUntil(std::string_view ends, bool endOfFileEnds);
    void Trace(std::string_view text) const;

    std::string text_;
    std::size_t at_ = 0;
    std::array<char, kWindowBytes> window_{};
    std::size_t count_ = 0;
    std::ostream* trace_ = nullptr;
};
