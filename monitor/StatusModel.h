#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "IndicatorModel.h"
#include "StatusTexts.h"
#include "TransferMeter.h"

// What one progress indicator of the status window shows.
struct IndicatorView {
    IndicatorModel figures;
    bool visible = false;

    bool operator==(const IndicatorView&) const = default;
};

// Everything the status window shows, as plain values.
struct StatusView {
    std::string title = kStatusTitle;
    std::string operation;
    std::string counts;
    IndicatorView group;  // position in a group of files
    IndicatorView file;   // bytes of the current file
    bool stopEnabled = true;
    bool logChecked = false;
    bool controlChecked = true;
    bool controlEnabled = true;

    bool operator==(const StatusView&) const = default;
};

// The status window without its widgets: every operation of the window, callable from any
// thread, changes this under one lock; the window draws View() when told that it changed.
class StatusModel {
public:
    // Whole seconds from a steady clock.
    using Clock = std::function<std::int64_t()>;
    static std::int64_t SteadySeconds();

    explicit StatusModel(Clock clock = SteadySeconds);

    void SetTypeOperation(const std::string& text);
    void SetNameFichier(const std::string& name);
    void LoadFD(int files, int directories);
    // File index (from 1) of a group of count files. False, and nothing done, for a count of 1.
    bool SetNbFile(int index, int count);
    void SetMax(std::int64_t size);
    // True when the view changed: Stop has just been enabled.
    bool SetNbOctet(std::int64_t bytes);
    // The once-a-second figures. True when the view changed.
    bool Update();
    void Reset();
    void SetEnabledSHControl(bool enabled);
    void SetEtatLog(bool checked);
    void SetControlChecked(bool checked);
    void SetTitle(const std::string& title);

    // The counts line shown now.
    std::string Text() const;
    std::int64_t Bytes() const;
    // Bytes per second as the last Update measured it: 0 stalled, -1 in the first second.
    std::int64_t Speed() const;
    StatusView View() const;

private:
    mutable std::mutex mutex_;
    Clock clock_;
    TransferMeter meter_;
    std::optional<std::string> fileName_;
    StatusView view_;
};
