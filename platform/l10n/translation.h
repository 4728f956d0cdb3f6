#pragma once

#include <QLocale>

class QTranslator;

// The application's texts in the user's language, when a translation for it is installed
// (share/pardo-reminder/translations/pardo-reminder_<language>.qm in any data folder).
class Translation {
public:
    // Installs the first translation found for `locale`; false when there is none, and the
    // texts stay as written.
    static bool install(const QLocale& locale = QLocale());
    // The translator install() put in place, or nullptr.
    static QTranslator* installed();
};
