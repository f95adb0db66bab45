#pragma once

#include <QValidator>

// Refuses input beyond 100 bytes of UTF-8: the settings file cannot load a longer string.
class FieldLimit : public QValidator {
    Q_OBJECT

public:
    static constexpr int kBytes = 100;

    explicit FieldLimit(QObject* parent = nullptr) : QValidator(parent) {}
    State validate(QString& input, int& position) const override;
    // Cuts a text to the limit at a character boundary.
    static QString Fitted(const QString& text);
};
