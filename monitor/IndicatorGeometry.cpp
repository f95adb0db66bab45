#include "IndicatorGeometry.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

double Share(std::int64_t position, std::int64_t max) {
    return std::clamp(static_cast<double>(position) / static_cast<double>(max), 0.0, 1.0);
}

}  // namespace

int ValidInfoMode(int infoMode) {
    return (infoMode < 1 || infoMode > 3) ? 1 : infoMode;
}

IndicatorGeometry IndicatorGeometry::For(int width, int height, int infoMode) {
    IndicatorGeometry geometry;
    geometry.bounds = {0, 0, width - 1, height - 1};
    geometry.box = geometry.bounds;
    if (infoMode == 2) {
        geometry.box.top += kTextLineHeight;
    } else if (infoMode == 3) {
        geometry.box.bottom -= kTextLineHeight;
    }
    geometry.bar = {geometry.box.left + 2, geometry.box.top + 2, geometry.box.right - 2,
                    geometry.box.bottom - 2};
    return geometry;
}

int LeadingEdge(const PixelRect& bar, std::int64_t position, std::int64_t max) {
    const double share = Share(position, max);
    const int height = bar.Height();
    const int width = bar.Width();
    const double edge = std::trunc(share * (width + height)) - height;
    return static_cast<int>(std::trunc(edge + share * 100.0 * 0.03));
}

std::string PercentText(std::int64_t position, std::int64_t max) {
    char text[16];
    std::snprintf(text, sizeof text, "%u%%",
                  static_cast<unsigned>(std::trunc(Share(position, max) * 100.0)));
    return text;
}

int PercentBaseline(const PixelRect& bar) {
    return static_cast<int>(std::trunc((bar.top + bar.bottom) / 2.0 + 5.0));
}
