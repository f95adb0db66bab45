#pragma once

#include <QValidator>

// Lets a port field hold digits only, never more than 65535; an empty field or 0 may be typed
// on the way to a port but does not connect.
class PortValidator : public QValidator {
    Q_OBJECT

public:
    explicit PortValidator(QObject* parent = nullptr) : QValidator(parent) {}
    State validate(QString& input, int& position) const override;
};
