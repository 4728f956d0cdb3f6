#pragma once

#include <QDate>

#include "qmaemo5abstractpickselector.h"

// Picks a date in a calendar; the value reads in the system locale's short format.
class QMaemo5DatePickSelector : public QMaemo5AbstractPickSelector {
    Q_OBJECT
public:
    explicit QMaemo5DatePickSelector(QObject* parent = nullptr);

    QDate currentDate() const { return date; }
    void setCurrentDate(const QDate& date);

    QWidget* widget(QWidget* parent) override;
    QString currentValueText() const override;

private:
    QDate date;
};
