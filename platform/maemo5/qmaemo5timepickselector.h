#pragma once

#include <QTime>

#include "qmaemo5abstractpickselector.h"

// Picks a time of day to the minute; the value reads "HH:mm".
class QMaemo5TimePickSelector : public QMaemo5AbstractPickSelector {
    Q_OBJECT
public:
    explicit QMaemo5TimePickSelector(QObject* parent = nullptr);

    QTime currentTime() const { return time; }
    // Seconds are dropped: the picker offers whole minutes only, and the value
    // must be one it can show.
    void setCurrentTime(const QTime& time);

    QWidget* widget(QWidget* parent) override;
    QString currentValueText() const override;

private:
    QTime time;
};
