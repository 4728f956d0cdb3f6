#pragma once

#include <QMainWindow>

class QLineEdit;

// The snooze interval of the alarm dialog, a short usage note and the
// feedback text. The interval is the meta row "gs_snooze_interval".
class SettingsWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit SettingsWindow(QWidget* parent);

    int getSnoozeIntervalFromDatabase();
    // Brings the quick start text into view and gives it the keyboard focus.
    void showQuickStart();

public Q_SLOTS:
    void saveSettings();

private:
    QLineEdit* snoozeIntervalEdit;
};
