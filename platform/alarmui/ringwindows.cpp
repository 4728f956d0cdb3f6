#include "ringwindows.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QScreen>

#include "alarmdialog.h"
#include "ringmessage.h"
#include "ringrequest.h"

namespace {

const char* const daemonPath = "/org/velmar/alarmd";
const char* const daemonInterface = "org.velmar.alarmd";

// Room kept between windows, and for a window manager's frame not known before
// the window is shown.
constexpr int gap = 8;
constexpr int frameSide = 4;
constexpr int frameTop = 32;
// Each window of a full screen is this far right and down of the one before,
// so that every title stays in sight.
constexpr int cascadeStep = 40;

} // namespace

RingWindows::RingWindows(const QDBusConnection& bus, const QString& service, QObject* parent)
    : QObject(parent)
    , bus_(bus)
    , service_(service) {}

RingWindows::~RingWindows() {
    for (const QPointer<AlarmDialog>& dialog : std::as_const(dialogs_)) {
        delete dialog.data();
    }
}

void RingWindows::feed(const QByteArray& bytes) {
    pending_.append(bytes);
    qsizetype start = 0;
    for (qsizetype end = pending_.indexOf('\n'); end >= 0; end = pending_.indexOf('\n', start)) {
        if (skipping_) {
            skipping_ = false;
        } else {
            handle(pending_.mid(start, end - start));
        }
        start = end + 1;
    }
    pending_.remove(0, start);
    // A line that never ends is not kept: the rest of it is skipped up to its newline.
    if (pending_.size() > RingMessage::maxLineBytes) {
        if (!skipping_) {
            qWarning("pardo-alarm-ui: ignoring a line longer than %d bytes",
                     RingMessage::maxLineBytes);
        }
        skipping_ = true;
        pending_.clear();
    }
}

AlarmDialog* RingWindows::window(qint64 cookie) const {
    return dialogs_.value(cookie).data();
}

QList<AlarmDialog*> RingWindows::windows() const {
    QList<AlarmDialog*> open;
    for (qint64 cookie : order_) {
        if (AlarmDialog* dialog = window(cookie)) {
            open.append(dialog);
        }
    }
    return open;
}

void RingWindows::handle(const QByteArray& text) {
    if (text.trimmed().isEmpty()) {
        return;
    }
    const RingMessage message = RingMessage::parse(text);
    switch (message.kind) {
    case RingMessage::Show:
        show(message.request);
        break;
    case RingMessage::Withdraw:
        withdraw(message.cookie);
        break;
    case RingMessage::Invalid:
        qWarning("pardo-alarm-ui: ignoring a line: %s", qPrintable(message.error));
        break;
    }
}

void RingWindows::show(const RingRequest& request) {
    const qint64 cookie = request.cookie;
    AlarmDialog* old = window(cookie);
    auto* dialog = new AlarmDialog(request);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &AlarmDialog::answered, this,
            [this, cookie](int actionIndex) { respond(cookie, actionIndex); });
    if (old) {
        // New content in the old window's place.
        dialog->move(old->pos());
        dialogs_.insert(cookie, dialog);
        old->dismiss();
    } else {
        order_.append(cookie);
        dialogs_.insert(cookie, dialog);
        dialog->move(place(dialog));
    }
    dialog->show();
    Q_EMIT line("shown " + QByteArray::number(cookie));
}

void RingWindows::withdraw(qint64 cookie) {
    if (AlarmDialog* dialog = window(cookie)) {
        forget(cookie);
        dialog->dismiss();
    }
}

void RingWindows::withdrawAll() {
    const QList<qint64> cookies = order_;
    for (qint64 cookie : cookies) {
        withdraw(cookie);
    }
}

void RingWindows::respond(qint64 cookie, int actionIndex) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service_, QLatin1String(daemonPath),
                                       QLatin1String(daemonInterface), QStringLiteral("respond"));
    call << cookie << actionIndex;
    // Never waits for the daemon: the window goes at once, the answer travels on its own.
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, respondTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [cookie](QDBusPendingCallWatcher* finished) {
                const QDBusPendingReply<bool> reply = *finished;
                if (reply.isError()) {
                    qWarning("pardo-alarm-ui: the daemon did not take the answer to %lld: %s",
                             cookie, qPrintable(reply.error().message()));
                }
                finished->deleteLater();
            });
    if (AlarmDialog* dialog = window(cookie)) {
        forget(cookie);
        dialog->dismiss();
    }
}

void RingWindows::forget(qint64 cookie) {
    dialogs_.remove(cookie);
    order_.removeAll(cookie);
    if (dialogs_.isEmpty()) {
        cascaded_ = 0;
    }
}

QPoint RingWindows::place(AlarmDialog* dialog) {
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    // A window manager's frame is known only once it framed a window: until then, assume one.
    QMargins frame(frameSide, frameTop, frameSide, frameSide);
    for (AlarmDialog* other : windows()) {
        const QRect outer = other->frameGeometry();
        const QRect inner = other->geometry();
        if (other != dialog && other->isVisible() && outer != inner) {
            frame = QMargins(inner.left() - outer.left(), inner.top() - outer.top(),
                             outer.right() - inner.right(), outer.bottom() - inner.bottom());
            break;
        }
    }
    // The size it will be shown at: a wrapped message makes it taller than its hint says.
    dialog->adjustSize();
    // A very long message: wider, up to the screen's width, rather than cut short.
    if (dialog->hasHeightForWidth() && dialog->heightForWidth(dialog->width()) > dialog->height()) {
        const int widest = area.width() - frame.left() - frame.right();
        const int highest = area.height() - frame.top() - frame.bottom();
        int width = dialog->width();
        while (dialog->heightForWidth(width) > highest && width < widest) {
            width = std::min(widest, width + width / 2);
        }
        dialog->resize(width, std::min(highest, dialog->heightForWidth(width)));
    }
    const QSize size = dialog->size().grownBy(frame);
    QList<QRect> taken;
    for (AlarmDialog* other : windows()) {
        if (other != dialog) {
            const QRect outer = other->frameGeometry();
            // A frame still to come grows it right and down: move() places the frame's corner.
            taken.append(outer == other->geometry()
                             ? QRect(outer.topLeft(), outer.size().grownBy(frame))
                             : outer);
        }
    }
    const auto fits = [&](const QRect& wanted) {
        return area.contains(wanted) &&
               std::none_of(taken.cbegin(), taken.cend(), [&](const QRect& rect) {
                   return rect.marginsAdded(QMargins(gap - 1, gap - 1, gap - 1, gap - 1))
                       .intersects(wanted);
               });
    };
    // The first free place, row by row: the screen's corner, right of a window, below one.
    QList<QPoint> candidates{area.topLeft()};
    for (const QRect& rect : std::as_const(taken)) {
        candidates << QPoint(rect.right() + 1 + gap, rect.top())
                   << QPoint(area.left(), rect.bottom() + 1 + gap)
                   << QPoint(rect.left(), rect.bottom() + 1 + gap);
    }
    std::sort(candidates.begin(), candidates.end(), [](const QPoint& a, const QPoint& b) {
        return a.y() != b.y() ? a.y() < b.y() : a.x() < b.x();
    });
    for (const QPoint& corner : std::as_const(candidates)) {
        if (fits(QRect(corner, size))) {
            return corner;
        }
    }
    // No free place: over the others, but leaving every title's corner in sight.
    for (int y = area.top() + cascadeStep; y + size.height() <= area.bottom() + 1;
         y += cascadeStep) {
        for (int x = area.left() + cascadeStep; x + size.width() <= area.right() + 1;
             x += cascadeStep) {
            const QRect wanted(QPoint(x, y), size);
            const bool coversATitle =
                std::any_of(taken.cbegin(), taken.cend(), [&](const QRect& rect) {
                    return wanted.intersects(
                        QRect(rect.topLeft(), QSize(cascadeStep, cascadeStep)));
                });
            if (!coversATitle) {
                return wanted.topLeft();
            }
        }
    }
    // The screen is full even of titles: a plain cascade.
    const int stepsAcross = std::max(1, (area.width() - size.width()) / cascadeStep + 1);
    const int stepsDown = std::max(1, (area.height() - size.height()) / cascadeStep + 1);
    const int step = cascaded_++ % std::min(stepsAcross, stepsDown);
    return area.topLeft() + QPoint(step * cascadeStep, step * cascadeStep);
}
