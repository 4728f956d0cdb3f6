#include "fingers.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QtTest>

namespace Fingers {

void retype(QLineEdit* field, const QString& text) {
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, text);
}

void tap(QAbstractButton* button) {
    QTest::mouseClick(button, Qt::LeftButton, {},
                      QPoint(qMin(12, button->width() / 2), button->height() / 2));
}

} // namespace Fingers
