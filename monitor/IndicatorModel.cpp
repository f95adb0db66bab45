#include "IndicatorModel.h"

#include "StatusTexts.h"

void IndicatorModel::SetMax(std::int64_t max) {
    if (max > 0) {
        max_ = max;
    }
    position_ = 0;
}

void IndicatorModel::SetPosition(std::int64_t position) {
    if (position > position_) {
        Add(position - position_);
    } else if (position < position_ && position > 0) {
        position_ = position;
    }
}

void IndicatorModel::Add(std::int64_t amount) {
    position_ += amount;
}

void IndicatorModel::SetText1(const std::string& text) {
    text1_ = Bounded(text);
}

void IndicatorModel::SetText2(const std::string& text) {
    text2_ = Bounded(text);
}
