#include "modalanswerer.h"

#include <QAbstractButton>
#include <QPushButton>
#include <QApplication>

ModalAnswerer::ModalAnswerer(QMessageBox::StandardButton answer)
    : answer(answer) {
    connect(&timer, &QTimer::timeout, this, &ModalAnswerer::poll);
    timer.start(10);
}

void ModalAnswerer::poll() {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box || !box->isVisible()) {
        return;
    }
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    if (box->defaultButton()) {
        defaultButton = box->standardButton(box->defaultButton());
    }
    boxes.append({box->windowTitle(), box->text(), box->icon(), box->standardButtons(),
                  defaultButton, box->parentWidget() != nullptr});
    if (QAbstractButton* button = box->button(answer)) {
        button->click();
    } else {
        box->reject();
    }
}
