#include "qmaemo5informationbox.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QScreen>
#include <QTimer>
#include <QWindow>

QMaemo5InformationBox::QMaemo5InformationBox(QWidget* anchor, const QString& text, int timeout)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus |
                           Qt::WindowTransparentForInput)
    , label(new QLabel(text, this))
    , timeoutMs(timeout > 0 ? timeout : int(NoTimeout)) {
    setObjectName(QStringLiteral("qt_maemo5_information_box"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    setStyleSheet(QStringLiteral("QMaemo5InformationBox {background-color: #303030; border-bottom: "
                                 "2px solid #199909;} QLabel {color: #f0f0f0; font-size: 20px;}"));
    setAttribute(Qt::WA_StyledBackground);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(label);

    QRect area;
    if (anchor) {
        area = QRect(anchor->mapToGlobal(QPoint(0, 0)), anchor->size());
    } else if (QScreen* screen = QGuiApplication::primaryScreen()) {
        area = screen->availableGeometry();
    }
    const int height = qMax(sizeHint().height(), 56);
    setGeometry(area.x(), area.y(), area.width() > 0 ? area.width() : 400, height);

    if (timeout > 0) {
        QTimer::singleShot(timeout, this, &QWidget::close);
    }
}

void QMaemo5InformationBox::information(QWidget* parent, const QString& text, int timeout) {
    QWidget* anchor = parent ? parent->window() : QApplication::activeWindow();
    auto* box = new QMaemo5InformationBox(anchor, text, timeout);
    box->show();
    if (QWindow* window = box->windowHandle()) {
        window->installEventFilter(box);
    }
}

bool QMaemo5InformationBox::eventFilter(QObject* watched, QEvent* event) {
    const QEvent::Type type = event->type();
    if (watched != windowHandle() ||
        (type != QEvent::MouseButtonPress && type != QEvent::MouseButtonRelease &&
         type != QEvent::MouseButtonDblClick && type != QEvent::MouseMove)) {
        return QWidget::eventFilter(watched, event);
    }
    // Window systems that honour input transparency never send these. Where a click's window
    // is found by position alone (offscreen, framebuffers), the banner gets it: hand it on.
    auto* mouse = static_cast<QMouseEvent*>(event);
    const QPointF global = mouse->globalPosition();
    const bool held = type != QEvent::MouseButtonPress && pressTarget;
    QWindow* target = held ? pressTarget.data() : windowBelow(global.toPoint());
    if (type == QEvent::MouseButtonPress) {
        pressTarget = target;
    } else if (type == QEvent::MouseButtonRelease && mouse->buttons() == Qt::NoButton) {
        pressTarget = nullptr;
    }
    if (target) {
        const QPointF local = target->mapFromGlobal(global);
        QMouseEvent passed(type, local, local, global, mouse->button(), mouse->buttons(),
                           mouse->modifiers(), mouse->pointingDevice());
        passed.setTimestamp(mouse->timestamp());
        QCoreApplication::sendEvent(target, &passed);
    }
    return true;
}

QWindow* QMaemo5InformationBox::windowBelow(const QPoint& globalPosition) const {
    QWidget* modal = QApplication::activeModalWidget();
    auto takesClick = [this, modal, globalPosition](QWidget* window) {
        return window && window != this && window->isVisible() &&
               window->windowType() != Qt::ToolTip &&
               !window->testAttribute(Qt::WA_TransparentForMouseEvents) &&
               window->geometry().contains(globalPosition) && window->windowHandle() &&
               (!modal || modal == window || modal->isAncestorOf(window));
    };
    // The active window is the one the user works in, on top of the others.
    QWidget* active = QApplication::activeWindow();
    if (takesClick(active)) {
        return active->windowHandle();
    }
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (auto it = windows.crbegin(); it != windows.crend(); ++it) {
        if (takesClick(*it)) {
            return (*it)->windowHandle();
        }
    }
    return nullptr;
}

QString QMaemo5InformationBox::text() const {
    return label->text();
}
