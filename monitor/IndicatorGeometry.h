#pragma once

#include <cstdint>
#include <string>

// Where an indicator draws, in pixels with inclusive edges: a rect from 0 to 9 is 10 pixels wide.
struct PixelRect {
    int left = 0;
    int top = 0;
    int right = -1;
    int bottom = -1;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool operator==(const PixelRect&) const = default;
};

// Text placement of an indicator: 1 bar only, 2 texts above the bar, 3 texts below it.
int ValidInfoMode(int infoMode);

struct IndicatorGeometry {
    static constexpr int kTextLineHeight = 13;

    PixelRect bounds;
    PixelRect box;  // the sunken frame
    PixelRect bar;  // inside the frame

    static IndicatorGeometry For(int width, int height, int infoMode);
};

// The filled part of the bar ends in a 45-degree slant from (x, bar top) to (x + bar height,
// bar bottom); this is x, from the view's left edge. At a full bar it lies up to 3 pixels past
// the plain share so that the slant clears the end. Meaningful only for max > 0.
int LeadingEdge(const PixelRect& bar, std::int64_t position, std::int64_t max);
// "42%" of position over max, position taken between 0 and max.
std::string PercentText(std::int64_t position, std::int64_t max);
// Baseline of the percentage, a little below the bar's middle.
int PercentBaseline(const PixelRect& bar);
