#include "qmaemo5informationbox.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QTimer>

QMaemo5InformationBox::QMaemo5InformationBox(QWidget* anchor, const QString& text, int timeout)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus)
    , label(new QLabel(text, this))
    , timeoutMs(timeout > 0 ? timeout : int(NoTimeout)) {
    setObjectName(QStringLiteral("qt_maemo5_information_box"));
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_ShowWithoutActivating);
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
}

QString QMaemo5InformationBox::text() const {
    return label->text();
}
