#include "sessiondisplay.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QTimer>

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QString displayKey = QStringLiteral("DISPLAY");
const QString waylandKey = QStringLiteral("WAYLAND_DISPLAY");
const QString xauthorityKey = QStringLiteral("XAUTHORITY");
const QString runtimeDirKey = QStringLiteral("XDG_RUNTIME_DIR");
const QString sessionTypeKey = QStringLiteral("XDG_SESSION_TYPE");
const QString platformKey = QStringLiteral("QT_QPA_PLATFORM");

// Empty when the value may be passed to a program, else why not.
QString valueProblem(const QString& value) {
    if (value.toUtf8().size() > SessionDisplay::maxValueBytes) {
        return QStringLiteral("longer than %1 bytes").arg(SessionDisplay::maxValueBytes);
    }
    for (const QChar c : value) {
        if (c.unicode() < 0x20 || c.category() == QChar::Other_Control) {
            return QStringLiteral("contains control characters");
        }
    }
    return QString();
}

// The display variables of `environment` whose values can be used; anything else is dropped.
QMap<QString, QString> displayPart(const QMap<QString, QString>& environment) {
    QMap<QString, QString> part;
    for (const QString& key : SessionDisplay::displayVariables()) {
        const auto it = environment.constFind(key);
        if (it != environment.constEnd() && !it->isEmpty() && valueProblem(*it).isEmpty()) {
            part.insert(key, *it);
        }
    }
    return part;
}

QMap<QString, QString> fromEnvironment(const QProcessEnvironment& environment) {
    QMap<QString, QString> all;
    for (const QString& key : SessionDisplay::displayVariables()) {
        if (environment.contains(key)) {
            all.insert(key, environment.value(key));
        }
    }
    return displayPart(all);
}

// "KEY=value" strings, as the systemd manager lists its environment; later ones win.
QMap<QString, QString> fromAssignments(const QStringList& assignments) {
    QMap<QString, QString> all;
    for (const QString& assignment : assignments) {
        const qsizetype equals = assignment.indexOf(QLatin1Char('='));
        if (equals <= 0) {
            continue;
        }
        const QString key = assignment.left(equals);
        if (SessionDisplay::displayVariables().contains(key)) {
            all.insert(key, assignment.mid(equals + 1));
        }
    }
    return displayPart(all);
}

class Socket {
public:
    Socket(int domain, int type)
        : fd(::socket(domain, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd;
};

// A listener on a Unix socket; a file left behind by a dead server refuses.
bool acceptsUnix(const QByteArray& path, bool abstract) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const size_t offset = abstract ? 1 : 0;
    // A path name needs its terminating zero; an abstract one has none.
    if (path.isEmpty() ||
        size_t(path.size()) + offset + (abstract ? 0 : 1) > sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path + offset, path.constData(), size_t(path.size()));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + offset + size_t(path.size()) +
                                  (abstract ? 0 : 1));
    Socket socket(AF_UNIX, SOCK_STREAM);
    if (socket.fd < 0) {
        return false;
    }
    if (::connect(socket.fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
        return true;
    }
    // A full backlog still means a server is there.
    return errno == EAGAIN;
}

bool acceptsTcp(const QString& host, int port) {
    sockaddr_storage address{};
    socklen_t length = 0;
    QString name = host;
    if (name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']'))) {
        name = name.mid(1, name.size() - 2);
    }
    // Only addresses that need no name server: a lookup could hang the daemon for seconds.
    if (name == QLatin1String("localhost")) {
        name = QStringLiteral("127.0.0.1");
    }
    const QByteArray text = name.toLatin1();
    auto* v4 = reinterpret_cast<sockaddr_in*>(&address);
    auto* v6 = reinterpret_cast<sockaddr_in6*>(&address);
    if (::inet_pton(AF_INET, text.constData(), &v4->sin_addr) == 1) {
        v4->sin_family = AF_INET;
        v4->sin_port = htons(quint16(port));
        length = sizeof(sockaddr_in);
    } else if (::inet_pton(AF_INET6, text.constData(), &v6->sin6_addr) == 1) {
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(quint16(port));
        length = sizeof(sockaddr_in6);
    } else {
        return false;
    }
    Socket socket(address.ss_family, SOCK_STREAM);
    if (socket.fd < 0) {
        return false;
    }
    if (::connect(socket.fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) {
        return true;
    }
    if (errno != EINPROGRESS) {
        return false;
    }
    pollfd waiting{socket.fd, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, SessionDisplay::tcpTimeoutMs);
    } while (ready < 0 && errno == EINTR);
    if (ready != 1) {
        return false;
    }
    int error = 0;
    socklen_t errorLength = sizeof(error);
    return ::getsockopt(socket.fd, SOL_SOCKET, SO_ERROR, &error, &errorLength) == 0 && error == 0;
}

struct X11Address {
    // Empty for the local socket.
    QString host;
    QString socket;
    // -1 when the name is no display.
    int port = -1;
};

// [host]:number[.screen]; no host or "unix" is the local socket.
X11Address x11Address(const QString& display, const QString& x11SocketDir) {
    X11Address address;
    const qsizetype colon = display.lastIndexOf(QLatin1Char(':'));
    if (colon < 0) {
        return address;
    }
    const QString host = display.left(colon);
    QString number = display.mid(colon + 1);
    const qsizetype dot = number.indexOf(QLatin1Char('.'));
    if (dot >= 0) {
        number.truncate(dot);
    }
    bool ok = false;
    const int n = number.toInt(&ok);
    if (!ok || n < 0 || n > 65535 - 6000 || number.isEmpty() || !number.front().isDigit()) {
        return address;
    }
    if (host.isEmpty() || host == QLatin1String("unix")) {
        address.socket = x11SocketDir + QStringLiteral("/X%1").arg(n);
    } else {
        address.host = host;
    }
    address.port = 6000 + n;
    return address;
}

QString waylandSocket(const QString& waylandDisplay, const QString& runtimeDir) {
    if (waylandDisplay.startsWith(QLatin1Char('/'))) {
        return waylandDisplay;
    }
    return runtimeDir.isEmpty() ? QString() : runtimeDir + QLatin1Char('/') + waylandDisplay;
}

// Which socket file this is: a server started again on the same name makes a new one.
QString socketIdentity(const QString& path) {
    struct stat info {};
    if (path.isEmpty() || ::stat(path.toLocal8Bit().constData(), &info) != 0) {
        return QString();
    }
    return QStringLiteral("%1.%2.%3")
        .arg(info.st_ino)
        .arg(info.st_mtim.tv_sec)
        .arg(info.st_mtim.tv_nsec);
}

} // namespace

SessionDisplay::SessionDisplay(const QDBusConnection& connection,
                               const QProcessEnvironment& environment, QObject* parent,
                               const QString& socketDir)
    : QObject(parent)
    , bus(connection)
    , own(fromEnvironment(environment))
    , x11SocketDir(socketDir) {}

SessionDisplay::~SessionDisplay() = default;

const QStringList& SessionDisplay::displayVariables() {
    static const QStringList names{displayKey, waylandKey, xauthorityKey, runtimeDirKey,
                                   sessionTypeKey};
    return names;
}

bool SessionDisplay::announce(const QMap<QString, QString>& variables, QString* error) {
    const auto refuse = [error](const QString& why) {
        if (error) {
            *error = why;
        }
        return false;
    };
    for (auto it = variables.constBegin(); it != variables.constEnd(); ++it) {
        if (!displayVariables().contains(it.key())) {
            return refuse(
                QStringLiteral("unknown variable %1; only %2 are taken")
                    .arg(it.key().left(64), displayVariables().join(QStringLiteral(", "))));
        }
        const QString problem = valueProblem(it.value());
        if (!problem.isEmpty()) {
            return refuse(QStringLiteral("the value of %1 is %2").arg(it.key(), problem));
        }
    }
    if (variables.value(displayKey).isEmpty() && variables.value(waylandKey).isEmpty()) {
        return refuse(QStringLiteral("neither DISPLAY nor WAYLAND_DISPLAY is given"));
    }
    announcedDisplay = displayPart(variables);
    failed.clear();
    Q_EMIT announced();
    return true;
}

void SessionDisplay::find() {
    if (isFinding()) {
        return;
    }
    if (!bus.isConnected()) {
        // Answered from the event loop all the same, so that callers see one way of answering.
        answerQueued = true;
        unanswered = true;
        QTimer::singleShot(0, this, [this] { finish(QStringList()); });
        return;
    }
    QDBusMessage get = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.systemd1"), QStringLiteral("/org/freedesktop/systemd1"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QStringLiteral("org.freedesktop.systemd1.Manager") << QStringLiteral("Environment");
    // A session without a manager answers "no such service" at once; it must not start one.
    get.setAutoStartService(false);
    watcher = new QDBusPendingCallWatcher(bus.asyncCall(get, managerTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &SessionDisplay::managerAnswered);
}

void SessionDisplay::managerAnswered(QDBusPendingCallWatcher* call) {
    QStringList environment;
    const QDBusPendingReply<QDBusVariant> reply = *call;
    const QDBusError::ErrorType error =
        reply.isError() ? reply.error().type() : QDBusError::NoError;
    unanswered = error == QDBusError::NoReply || error == QDBusError::Timeout ||
                 error == QDBusError::TimedOut || error == QDBusError::Disconnected;
    if (unanswered) {
        qWarning("pardo-alarmd: the systemd user manager did not answer: %s",
                 qPrintable(reply.error().message()));
    }
    if (!reply.isError()) {
        const QVariant value = reply.value().variant();
        if (value.metaType() == QMetaType::fromType<QStringList>()) {
            environment = value.toStringList();
        } else if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
            const auto argument = value.value<QDBusArgument>();
            if (argument.currentSignature() == QLatin1String("as")) {
                argument >> environment;
            }
        }
    }
    call->deleteLater();
    watcher = nullptr;
    finish(environment);
}

void SessionDisplay::finish(const QStringList& managerEnvironment) {
    answerQueued = false;
    const QProcessEnvironment display =
        firstLive({fromAssignments(managerEnvironment), announcedDisplay, own});
    if (display.isEmpty()) {
        Q_EMIT notFound();
    } else {
        Q_EMIT found(display);
    }
}

QProcessEnvironment
SessionDisplay::firstLive(const QList<QMap<QString, QString>>& candidates) const {
    for (const auto& candidate : candidates) {
        if (candidate.isEmpty()) {
            continue;
        }
        const QProcessEnvironment display =
            liveDisplay(candidate, own.value(runtimeDirKey), x11SocketDir);
        if (!display.isEmpty() && !failed.contains(fingerprint(display))) {
            return display;
        }
    }
    return QProcessEnvironment();
}

void SessionDisplay::markFailed(const QProcessEnvironment& display) {
    failed.insert(fingerprint(display));
}

QString SessionDisplay::fingerprint(const QProcessEnvironment& display) const {
    QString text;
    for (const QString& key : displayVariables()) {
        if (display.contains(key)) {
            text += key + QLatin1Char('=') + display.value(key) + QLatin1Char('\n');
        }
    }
    // The same name on a server started again is another display.
    text += socketIdentity(x11Address(display.value(displayKey), x11SocketDir).socket) +
            QLatin1Char('\n') +
            socketIdentity(waylandSocket(display.value(waylandKey), display.value(runtimeDirKey)));
    return text;
}

QProcessEnvironment SessionDisplay::liveDisplay(const QMap<QString, QString>& variables,
                                                const QString& fallbackRuntimeDir,
                                                const QString& x11SocketDir) {
    const QMap<QString, QString> part = displayPart(variables);
    const QString runtimeDir = part.value(runtimeDirKey, fallbackRuntimeDir);
    const bool wayland =
        part.contains(waylandKey) && isWaylandLive(part.value(waylandKey), runtimeDir);
    const bool x11 = part.contains(displayKey) && isX11Live(part.value(displayKey), x11SocketDir);
    QProcessEnvironment display;
    if (!wayland && !x11) {
        return display;
    }
    if (wayland) {
        display.insert(waylandKey, part.value(waylandKey));
    }
    if (x11) {
        display.insert(displayKey, part.value(displayKey));
        if (part.contains(xauthorityKey)) {
            display.insert(xauthorityKey, part.value(xauthorityKey));
        }
    }
    if (!runtimeDir.isEmpty() && valueProblem(runtimeDir).isEmpty()) {
        display.insert(runtimeDirKey, runtimeDir);
    }
    if (part.contains(sessionTypeKey)) {
        display.insert(sessionTypeKey, part.value(sessionTypeKey));
    }
    display.insert(platformKey, wayland ? QStringLiteral("wayland;xcb") : QStringLiteral("xcb"));
    return display;
}

bool SessionDisplay::isX11Live(const QString& display, const QString& x11SocketDir) {
    const X11Address address = x11Address(display, x11SocketDir);
    if (address.port < 0) {
        return false;
    }
    if (address.host.isEmpty()) {
        const QByteArray path = address.socket.toLocal8Bit();
        return acceptsUnix(path, false) || acceptsUnix(path, true);
    }
    return acceptsTcp(address.host, address.port);
}

bool SessionDisplay::isWaylandLive(const QString& waylandDisplay, const QString& runtimeDir) {
    const QString path = waylandSocket(waylandDisplay, runtimeDir);
    return !path.isEmpty() && acceptsUnix(path.toLocal8Bit(), false);
}
