#include "PortValidator.h"

#include <algorithm>

QValidator::State PortValidator::validate(QString& input, int&) const {
    if (input.isEmpty()) {
        return Intermediate;
    }
    if (input.size() > 5 || !std::all_of(input.begin(), input.end(), [](QChar c) {
            return c.unicode() >= u'0' && c.unicode() <= u'9';
        })) {
        return Invalid;
    }
    const int port = input.toInt();
    return port > 65535 ? Invalid : port == 0 ? Intermediate : Acceptable;
}
