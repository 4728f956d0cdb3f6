#pragma once

#include <QPointer>
#include <QPushButton>

class QMaemo5AbstractPickSelector;

// A push button that shows its text together with a value; with a pick
// selector, a click opens the selector's picker and the value follows the choice.
class QMaemo5ValueButton : public QPushButton {
    Q_OBJECT
public:
    enum ValueLayout { ValueBesideText, ValueUnderText, ValueUnderTextCentered };

    explicit QMaemo5ValueButton(QWidget* parent = nullptr);
    explicit QMaemo5ValueButton(const QString& text, QWidget* parent = nullptr);
    ~QMaemo5ValueButton() override;

    ValueLayout valueLayout() const { return layout; }
    void setValueLayout(ValueLayout layout);

    QMaemo5AbstractPickSelector* pickSelector() const;
    // The button takes ownership of a selector that has no parent yet.
    void setPickSelector(QMaemo5AbstractPickSelector* selector);

    QString valueText() const { return value; }
    void setValueText(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void openPicker();
    QRect contentsArea() const;

    ValueLayout layout = ValueBesideText;
    QPointer<QMaemo5AbstractPickSelector> selector;
    QString value;
};
