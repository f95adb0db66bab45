#include "IndicatorModel.h"

#include "StatusTexts.h"

#include <algorithm>
#include <climits>

void IndicatorModel::SetMax(int max) {
    if (max > 0) {
        max_ = max;
    }
    position_ = 0;
}

void IndicatorModel::SetPosition(int position) {
    if (position > position_) {
        Add(position - position_);
    } else if (position < position_ && position > 0) {
        position_ = position;
    }
}

void IndicatorModel::Add(int amount) {
    const long long sum = static_cast<long long>(position_) + amount;
    position_ = static_cast<int>(std::clamp<long long>(sum, INT_MIN, INT_MAX));
}

void IndicatorModel::SetText1(const std::string& text) {
    text1_ = Bounded(text);
}

void IndicatorModel::SetText2(const std::string& text) {
    text2_ = Bounded(text);
}
