#pragma once

#include <QPushButton>

class ActionButton : public QPushButton {
    Q_OBJECT
public:
    explicit ActionButton(bool isUpper, QWidget* parent = nullptr);

public Q_SLOTS:
    void setPrimaryAction();
    void setSecondaryAction();

private:
    void nameAction(const QString& name);

    bool isUpper;
};
