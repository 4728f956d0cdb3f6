#pragma once

#include <QIntValidator>

// A QIntValidator that also refuses a leading zero when the range starts above
// zero, so that "0" cannot even be typed into a field whose least value is 1.
class StrictIntValidator : public QIntValidator {
    Q_OBJECT
public:
    StrictIntValidator(int bottom, int top, QObject* parent);

    State validate(QString& input, int& pos) const override;
};
