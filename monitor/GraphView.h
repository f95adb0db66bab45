#pragma once

#include <QWidget>

#include <string>
#include <vector>

// Plots a series of values (transfer speeds) as vertical lines, one pixel column per value from
// left to right. When a value does not fit, the scale halves until every value does; it never
// grows back. Once the columns are used up the graph starts again at the left edge. A negative or
// not-a-number value is a red column.
class GraphView : public QWidget {
    Q_OBJECT

public:
    explicit GraphView(const std::string& name, QWidget* parent = nullptr);

    // Callable from any thread; the samples belong to the GUI thread, so other threads queue the
    // value there. The widget must outlive what they queued, as every window here does.
    void AddValue(float value);

    // GUI thread only.
    float Scale() const { return scale_; }
    int Count() const { return static_cast<int>(samples_.size()); }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Append(float value);
    void FitScale(int bottom);

    std::vector<float> samples_;
    float scale_ = 1.0F;
};
