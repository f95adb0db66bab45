#pragma once

#include <cstdint>
#include <string>

// The figures of a progress indicator: the value that fills the bar, the current value and the
// two texts. The rules are the original's, asymmetry included: a bar never moves back through 0.
class IndicatorModel {
public:
    // A max above 0 replaces the old one; the position goes back to 0 either way.
    void SetMax(std::int64_t max);
    // Forward moves add; a move back is taken only to a value above 0.
    void SetPosition(std::int64_t position);
    void Add(std::int64_t amount);
    void SetText1(const std::string& text);
    void SetText2(const std::string& text);

    std::int64_t Max() const { return max_; }
    std::int64_t Position() const { return position_; }
    const std::string& Text1() const { return text1_; }
    const std::string& Text2() const { return text2_; }

    bool operator==(const IndicatorModel&) const = default;

private:
    std::int64_t max_ = 0;
    std::int64_t position_ = 0;
    std::string text1_;
    std::string text2_;
};
