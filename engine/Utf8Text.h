#pragma once

#include <string>
#include <string_view>

// File names travel as bytes: the engine keeps a server's bytes as they came and sends them back
// unchanged. These tell whether such bytes are UTF-8 and give the form to show a person.
class Utf8Text {
public:
    // Well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
    static bool IsValid(std::string_view bytes);
    // The bytes as UTF-8 text, each ill-formed piece shown as U+FFFD. For display only: never
    // send it back to the server or use it as a local name.
    static std::string DisplayForm(std::string_view bytes);

private:
    // The length of the well-formed sequence at `at`, or 0 and in `bad` the length of the
    // ill-formed piece that one U+FFFD stands for.
    static std::size_t SequenceAt(std::string_view bytes, std::size_t at, std::size_t& bad);
};
