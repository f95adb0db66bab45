#include "FieldLimit.h"

QValidator::State FieldLimit::validate(QString& input, int&) const {
    return input.toUtf8().size() <= kBytes ? Acceptable : Invalid;
}

QString FieldLimit::Fitted(const QString& text) {
    QString fitted = text;
    while (fitted.toUtf8().size() > kBytes) {
        fitted.chop(1);
    }
    return fitted;
}
