#pragma once

#include <QAccessible>
#include <QList>
#include <QString>

class QWidget;

// Looks at a window the way a screen reader does: through the accessibility tree that Qt
// builds for it, not through the widgets.
class AccessibilityCheck {
public:
    struct Control {
        QAccessible::Role role = QAccessible::NoRole;
        QString className;
        QString objectName;
        // From the window down: each step "Class#objectName", or "Class[index]" when unnamed.
        QString path;
    };

    // Makes Qt build the interfaces and send its updates, as when a screen reader runs.
    static void activate();

    // Visible controls a user can operate (buttons, fields, lists, ...) without a name.
    static QList<Control> unnamedControls(QWidget* window);
    // Visible buttons that show only an icon and have no tooltip saying what they do.
    static QList<Control> iconButtonsWithoutToolTip(QWidget* window);
    // One line per control, for a failure message.
    static QString describe(const QList<Control>& controls);

    static QAccessible::Role role(QWidget* widget);
    static QString name(QWidget* widget);
    // The text of the label that labels `widget` in the tree (its buddy label), if any.
    static QString labelledBy(QWidget* widget);
    static bool isInteractive(QAccessible::Role role);
};

// Fails the current test when `window` has a visible control without an accessible name.
#define PARDO_VERIFY_ALL_NAMED(window)                                                             \
    do {                                                                                           \
        const QList<AccessibilityCheck::Control> pardoUnnamed =                                    \
            AccessibilityCheck::unnamedControls(window);                                           \
        QVERIFY2(pardoUnnamed.isEmpty(), qPrintable(QStringLiteral("unnamed controls:\n") +        \
                                                    AccessibilityCheck::describe(pardoUnnamed)));  \
    } while (false)
