#pragma once

#include <QLabel>

#include <string>

// A directory line over a pane, shortened in the middle to fit its width.
class PathLabel : public QLabel {
    Q_OBJECT

public:
    PathLabel(const QString& name, QWidget* parent = nullptr);

    void SetFullText(const std::string& text);
    const QString& FullText() const { return full_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void Elide();

    QString full_;
};
