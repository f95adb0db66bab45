#include "TransferMeter.h"

#include "StatusTexts.h"

void TransferMeter::StartFile(std::int64_t total) {
    bytes_ = 0;
    speed_ = kSpeedStalled;
    stopArmed_ = false;
    total_ = total;
}

void TransferMeter::RestartClock(std::int64_t now) {
    bytes_ = 0;
    startTime_ = now;
}

bool TransferMeter::Count(std::int64_t n, std::int64_t now) {
    // The first chunk of a file starts the clock.
    if (bytes_ == 0) {
        startTime_ = now;
    }
    bytes_ += n;
    if (stopArmed_ || bytes_ <= kStopThreshold) {
        return false;
    }
    stopArmed_ = true;
    return true;
}

std::optional<TransferMeter::Reading> TransferMeter::Update(
    std::int64_t now, const std::optional<std::string>& name) {
    if (!name || bytes_ == 0) {
        speed_ = kSpeedStalled;
        bytesAtLastUpdate_ = bytes_;
        return std::nullopt;
    }
    if (bytes_ == bytesAtLastUpdate_) {
        speed_ = kSpeedStalled;
    } else if (now <= startTime_) {
        speed_ = kSpeedUnknown;
    } else {
        speed_ = bytes_ / (now - startTime_);
    }
    bytesAtLastUpdate_ = bytes_;
    return Reading{SpeedText(bytes_, total_, speed_), RemainingText(*name, total_, bytes_, speed_),
                   bytes_};
}

void TransferMeter::Reset() {
    speed_ = kSpeedStalled;
    bytes_ = 0;
}
