#include "strictintvalidator.h"

StrictIntValidator::StrictIntValidator(int bottom, int top, QObject* parent)
    : QIntValidator(bottom, top, parent) {}

QValidator::State StrictIntValidator::validate(QString& input, int& pos) const {
    const State state = QIntValidator::validate(input, pos);
    if (state == Invalid) {
        return Invalid;
    }
    // QIntValidator lets "0" through as a start that more digits could complete.
    if (bottom() > 0 && input.startsWith(QLatin1Char('0'))) {
        return Invalid;
    }
    return state;
}
