#pragma once

#include <QColor>
#include <QWidget>

#include <string>

#include "IndicatorGeometry.h"
#include "IndicatorModel.h"

class QPainter;

// A progress bar in a sunken frame with a left and a right text above or below it (info mode
// 2 or 3; mode 1 shows the bar alone). The filled part ends in a slanted edge and may carry its
// percentage. A click with the primary button shows or hides the percentage; any other click
// moves the texts between above and below. GUI thread only.
class Indicator : public QWidget {
    Q_OBJECT

public:
    Indicator(const std::string& name, int infoMode, QWidget* parent = nullptr);

    void SetMax(std::int64_t max);
    void SetPosition(std::int64_t position);
    void Add(std::int64_t amount);
    void SetText1(const std::string& text);
    void SetText2(const std::string& text);
    // Null is ignored.
    void SetText1(const char* text);
    void SetText2(const char* text);
    std::string Text1() const { return figures_.Text1(); }
    std::string Text2() const { return figures_.Text2(); }
    std::int64_t Max() const { return figures_.Max(); }
    std::int64_t Position() const { return figures_.Position(); }

    // Replaces all the figures at once, as the status window does when it redraws.
    void SetFigures(const IndicatorModel& figures);
    const IndicatorModel& Figures() const { return figures_; }

    void SetBlueBar();
    // The view's name on the left and "position/max" on the right instead of the two texts.
    void SetDefaultInfo(bool on);
    void SetPercentInBar(bool on);
    bool PercentInBar() const { return percentInBar_; }
    int InfoMode() const { return infoMode_; }
    QColor BarColour() const { return barColour_; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    void DrawBar(QPainter& painter, const PixelRect& bar) const;
    void WritePercentInBar(QPainter& painter, const PixelRect& bar) const;
    void WriteText(QPainter& painter, const IndicatorGeometry& geometry) const;
    void DrawBox(QPainter& painter, const PixelRect& box) const;

    IndicatorModel figures_;
    int infoMode_;
    QColor barColour_;
    bool defaultInfo_ = false;
    bool percentInBar_ = false;
};
