#include "notes.h"

#include <QApplication>

#include "qmaemo5informationbox.h"

namespace Notes {

QList<QMaemo5InformationBox*> visible() {
    QList<QMaemo5InformationBox*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMaemo5InformationBox*>(widget); box && box->isVisible()) {
            found << box;
        }
    }
    return found;
}

QStringList visibleTexts() {
    QStringList texts;
    for (const QMaemo5InformationBox* box : visible()) {
        texts << box->text();
    }
    return texts;
}

void closeAll() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<QMaemo5InformationBox*>(widget)) {
            widget->close();
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace Notes
