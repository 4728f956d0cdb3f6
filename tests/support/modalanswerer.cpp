#include "modalanswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QPushButton>

ModalAnswerer::ModalAnswerer(QMessageBox::StandardButton button, Reach scope)
    : answer(button)
    , reach(scope) {
    connect(&timer, &QTimer::timeout, this, &ModalAnswerer::poll);
    timer.start(10);
}

QString ModalAnswerer::describe() const {
    QStringList lines;
    for (const Seen& box : boxes) {
        lines << QStringLiteral("%1 \"%2\": %3").arg(box.className, box.title, box.text);
    }
    return lines.join(QLatin1Char('\n'));
}

void ModalAnswerer::poll() {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible()) {
        return;
    }
    const QString className = QString::fromLatin1(modal->metaObject()->className());
    auto* box = qobject_cast<QMessageBox*>(modal);
    if (!box) {
        if (reach == AnyModal) {
            boxes.append({modal->windowTitle(), QString(), QMessageBox::NoIcon,
                          QMessageBox::NoButton, QMessageBox::NoButton,
                          modal->parentWidget() != nullptr, className});
            if (auto* dialog = qobject_cast<QDialog*>(modal)) {
                dialog->reject();
            } else {
                modal->close();
            }
        }
        return;
    }
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    if (box->defaultButton()) {
        defaultButton = box->standardButton(box->defaultButton());
    }
    boxes.append({box->windowTitle(), box->text(), box->icon(), box->standardButtons(),
                  defaultButton, box->parentWidget() != nullptr, className});
    if (QAbstractButton* button = box->button(answer)) {
        button->click();
    } else {
        box->reject();
    }
}
