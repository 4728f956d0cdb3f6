#include "accessibilitycheck.h"

#include <QAbstractButton>
#include <QWidget>

namespace {

QString step(QObject* object, int index) {
    if (!object) {
        return QStringLiteral("[%1]").arg(index);
    }
    const QString className = QString::fromLatin1(object->metaObject()->className());
    if (!object->objectName().isEmpty()) {
        return className + QLatin1Char('#') + object->objectName();
    }
    return className + QStringLiteral("[%1]").arg(index);
}

AccessibilityCheck::Control control(QAccessibleInterface* iface, const QString& path) {
    AccessibilityCheck::Control found;
    found.role = iface->role();
    found.path = path;
    if (QObject* object = iface->object()) {
        found.className = QString::fromLatin1(object->metaObject()->className());
        found.objectName = object->objectName();
    }
    return found;
}

template <typename Visit>
void walk(QAccessibleInterface* iface, const QString& path, const Visit& visit) {
    if (!iface || !iface->isValid() || iface->state().invisible) {
        return;
    }
    visit(iface, path);
    for (int i = 0; i < iface->childCount(); ++i) {
        QAccessibleInterface* child = iface->child(i);
        if (child) {
            walk(child, path + QLatin1Char('/') + step(child->object(), i), visit);
        }
    }
}

QAccessibleInterface* interfaceOf(QWidget* widget) {
    AccessibilityCheck::activate();
    return QAccessible::queryAccessibleInterface(widget);
}

} // namespace

void AccessibilityCheck::activate() {
    // Platforms without a bridge (offscreen) stay "inactive", but build the interfaces on request
    // all the same; this tells the widgets that listen that someone reads them.
    QAccessible::setActive(true);
}

bool AccessibilityCheck::isInteractive(QAccessible::Role role) {
    switch (role) {
    case QAccessible::PushButton:
    case QAccessible::CheckBox:
    case QAccessible::RadioButton:
    case QAccessible::ButtonMenu:
    case QAccessible::ButtonDropDown:
    case QAccessible::ButtonDropGrid:
    case QAccessible::EditableText:
    case QAccessible::ComboBox:
    case QAccessible::SpinBox:
    case QAccessible::Slider:
    case QAccessible::Dial:
    case QAccessible::ScrollBar:
    case QAccessible::List:
    case QAccessible::Table:
    case QAccessible::Tree:
    case QAccessible::PageTab:
    case QAccessible::Link:
    case QAccessible::MenuItem:
        return true;
    default:
        return false;
    }
}

QList<AccessibilityCheck::Control> AccessibilityCheck::unnamedControls(QWidget* window) {
    QList<Control> found;
    walk(interfaceOf(window), step(window, 0),
         [&found](QAccessibleInterface* iface, const QString& path) {
             if (isInteractive(iface->role()) &&
                 iface->text(QAccessible::Name).trimmed().isEmpty()) {
                 found.append(control(iface, path));
             }
         });
    return found;
}

QList<AccessibilityCheck::Control> AccessibilityCheck::iconButtonsWithoutToolTip(QWidget* window) {
    QList<Control> found;
    walk(interfaceOf(window), step(window, 0),
         [&found](QAccessibleInterface* iface, const QString& path) {
             auto* button = qobject_cast<QAbstractButton*>(iface->object());
             if (button && button->text().isEmpty() && !button->icon().isNull() &&
                 button->toolTip().isEmpty()) {
                 found.append(control(iface, path));
             }
         });
    return found;
}

QString AccessibilityCheck::describe(const QList<Control>& controls) {
    QStringList lines;
    for (const Control& c : controls) {
        lines << QStringLiteral("%1 (role %2, objectName \"%3\") at %4")
                     .arg(c.className)
                     .arg(int(c.role))
                     .arg(c.objectName, c.path);
    }
    return lines.join(QLatin1Char('\n'));
}

QAccessible::Role AccessibilityCheck::role(QWidget* widget) {
    QAccessibleInterface* iface = interfaceOf(widget);
    return iface ? iface->role() : QAccessible::NoRole;
}

QString AccessibilityCheck::name(QWidget* widget) {
    QAccessibleInterface* iface = interfaceOf(widget);
    return iface ? iface->text(QAccessible::Name) : QString();
}

QString AccessibilityCheck::labelledBy(QWidget* widget) {
    QAccessibleInterface* iface = interfaceOf(widget);
    if (!iface) {
        return QString();
    }
    const auto relations = iface->relations(QAccessible::Label);
    for (const auto& relation : relations) {
        if (relation.first) {
            return relation.first->text(QAccessible::Name);
        }
    }
    return QString();
}
