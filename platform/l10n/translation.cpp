#include "translation.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QTranslator>

namespace {

QTranslator*& current() {
    static QTranslator* translator = nullptr;
    return translator;
}

} // namespace

bool Translation::install(const QLocale& locale) {
    const QStringList folders = QStandardPaths::locateAll(
        QStandardPaths::GenericDataLocation, QStringLiteral("pardo-reminder/translations"),
        QStandardPaths::LocateDirectory);
    for (const QString& folder : folders) {
        auto* translator = new QTranslator(QCoreApplication::instance());
        if (translator->load(locale, QStringLiteral("pardo-reminder"), QStringLiteral("_"),
                             folder) &&
            QCoreApplication::installTranslator(translator)) {
            if (QTranslator* old = current()) {
                QCoreApplication::removeTranslator(old);
                delete old;
            }
            current() = translator;
            return true;
        }
        delete translator;
    }
    return false;
}

QTranslator* Translation::installed() {
    return current();
}
