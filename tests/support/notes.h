#pragma once

#include <QList>
#include <QStringList>

class QMaemo5InformationBox;

// The transient information notes on screen.
namespace Notes {

QList<QMaemo5InformationBox*> visible();
QStringList visibleTexts();
// Closes every note at once, so that the next test starts without any.
void closeAll();

} // namespace Notes
