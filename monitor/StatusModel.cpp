#include "StatusModel.h"

#include <algorithm>
#include <chrono>
#include <climits>

StatusModel::StatusModel(Clock clock) : clock_(std::move(clock)) {}

std::int64_t StatusModel::SteadySeconds() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void StatusModel::SetTypeOperation(const std::string& text) {
    std::lock_guard lock(mutex_);
    view_.operation = Bounded(text);
}

void StatusModel::SetNameFichier(const std::string& name) {
    std::lock_guard lock(mutex_);
    fileName_ = Bounded(name);
    view_.file.figures.SetText1(*fileName_);
}

void StatusModel::LoadFD(int files, int directories) {
    std::lock_guard lock(mutex_);
    view_.counts = CountsText(files, directories);
}

bool StatusModel::SetNbFile(int index, int count) {
    if (count == 1) {
        return false;
    }
    std::lock_guard lock(mutex_);
    meter_.RestartClock(clock_());
    IndicatorView& group = view_.group;
    group.visible = true;
    if (index == 1) {
        group.figures.SetMax(count);
    }
    group.figures.SetPosition(index);
    group.figures.SetText2(IndexText(index, count));
    return true;
}

void StatusModel::SetMax(std::int64_t size) {
    std::lock_guard lock(mutex_);
    meter_.StartFile(size);
    view_.stopEnabled = false;
    view_.group.figures.SetText1(kGroupText);
    view_.file.visible = true;
    view_.file.figures.SetMax(size);
}

bool StatusModel::SetNbOctet(std::int64_t bytes) {
    std::lock_guard lock(mutex_);
    if (!meter_.Count(bytes, clock_())) {
        return false;
    }
    view_.stopEnabled = true;
    return true;
}

bool StatusModel::Update() {
    std::lock_guard lock(mutex_);
    const std::optional<TransferMeter::Reading> reading = meter_.Update(clock_(), fileName_);
    if (!reading) {
        return false;
    }
    IndicatorModel& file = view_.file.figures;
    file.SetText2(reading->speedText);
    file.SetText1(reading->remainingText);
    file.SetPosition(reading->bytes);
    return true;
}

void StatusModel::Reset() {
    std::lock_guard lock(mutex_);
    meter_.Reset();
    for (IndicatorView* indicator : {&view_.group, &view_.file}) {
        // Kept from the original: this only redraws, it does not move the bar back.
        indicator->figures.SetPosition(0);
        indicator->figures.SetText1({});
        indicator->figures.SetText2({});
        indicator->visible = false;
    }
    view_.counts.clear();
    view_.title = kStatusTitle;
    view_.controlChecked = true;
}

void StatusModel::SetEnabledSHControl(bool enabled) {
    std::lock_guard lock(mutex_);
    view_.controlEnabled = enabled;
}

void StatusModel::SetEtatLog(bool checked) {
    std::lock_guard lock(mutex_);
    view_.logChecked = checked;
}

void StatusModel::SetControlChecked(bool checked) {
    std::lock_guard lock(mutex_);
    view_.controlChecked = checked;
}

void StatusModel::SetTitle(const std::string& title) {
    std::lock_guard lock(mutex_);
    view_.title = Bounded(title);
}

std::string StatusModel::Text() const {
    std::lock_guard lock(mutex_);
    return view_.counts;
}

std::int64_t StatusModel::Bytes() const {
    std::lock_guard lock(mutex_);
    return meter_.Bytes();
}

std::int64_t StatusModel::Speed() const {
    std::lock_guard lock(mutex_);
    return meter_.Speed();
}

StatusView StatusModel::View() const {
    std::lock_guard lock(mutex_);
    return view_;
}
