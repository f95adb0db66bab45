#pragma once

#include <QPoint>
#include <QRect>
#include <QWidget>

#include <string>

// Two panes and a tab between them that the user drags: side by side (tab mode 4, the tab is
// vertical) or stacked (tab mode 3, the tab is horizontal). The tab position is the middle of the
// tab along the split axis. A resize of the whole is shared out by the lock mode:
// 1 the first pane keeps its size, 2 the second pane keeps its size, 5 both keep their share.
class Framer : public QWidget {
    Q_OBJECT

public:
    static constexpr int kStacked = 3;
    static constexpr int kSideBySide = 4;

    Framer(const std::string& name, int tabMode, int lockMode, QWidget* parent = nullptr);

    // Null is ignored. The old pane is taken out and handed back to whoever made it (the empty
    // panes made by the constructor are deleted).
    void SetView1(QWidget* view);
    void SetView2(QWidget* view);
    QWidget* GetView1() const { return view1_; }
    QWidget* GetView2() const { return view2_; }
    QRect GetRect1() const;
    QRect GetRect2() const;

    QPoint GetTabPosition() const;
    // Only the coordinate along the split axis is used; it is kept between 1 and the far edge
    // less 2 pixels.
    void SetTabPosition(QPoint point);
    int GetTabMode() const { return tabMode_; }
    void SetTabSize(int size);
    int GetTabSize() const { return tabSize_; }
    // Clamped to 0..1; puts the tab at that share of the size.
    void SetRatio(float ratio);
    float GetRatio() const { return ratio_; }
    void SetLockMode(int lockMode);
    int GetLockMode() const { return lockMode_; }
    // A code of 1 or more is posted to the window when a drag of the tab ends.
    void SendMessageIfMoved(int code) { messageCode_ = code; }
    int GetMessW() const { return messageCode_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    int Along(QPoint point) const { return tabMode_ == kStacked ? point.y() : point.x(); }
    int Along(QSize size) const { return tabMode_ == kStacked ? size.height() : size.width(); }
    int Extent() const { return Along(size()); }
    int TabStart() const { return position_ - tabSize_ / 2; }
    QRect TabRect() const;
    void PlaceAtRatio();
    void ReplaceView(QWidget*& slot, QWidget* view);
    void LayOut();
    void EndDrag();
    int DragLimit(int along) const;

    QWidget* view1_;
    QWidget* view2_;
    QWidget* emptyView1_;
    QWidget* emptyView2_;
    int tabMode_;
    int lockMode_;
    int tabSize_ = 7;
    int position_ = 0;
    float ratio_ = 0.5F;
    int messageCode_ = 0;
    bool shown_ = false;
    bool dragging_ = false;
};
