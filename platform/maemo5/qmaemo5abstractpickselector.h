#pragma once

#include <QObject>
#include <QString>

class QDialog;
class QPushButton;
class QWidget;

// A value that the user picks in a modal picker dialog. A value button shows
// the value's text and opens the picker when clicked.
class QMaemo5AbstractPickSelector : public QObject {
    Q_OBJECT
public:
    explicit QMaemo5AbstractPickSelector(QObject* parent = nullptr);
    ~QMaemo5AbstractPickSelector() override;

    // Builds a new picker dialog (the caller owns and runs it); "Done" in it
    // stores the chosen value and emits selected().
    virtual QWidget* widget(QWidget* parent) = 0;
    virtual QString currentValueText() const = 0;

Q_SIGNALS:
    void selected(const QString& valueText);

protected:
    // A modal dialog with `content` on the left and "Done" on the right,
    // titled after the value button that opens it.
    static QDialog* pickerDialog(QWidget* parent, QWidget* content, QPushButton** done);
};
