#include "fakeinstance.h"

#include <QDBusConnection>

namespace {
const QString kService = QStringLiteral("org.velmar.pardoreminder");
const QString kPath = QStringLiteral("/org/velmar/pardoreminder");
} // namespace

FakeInstance::FakeInstance(const QString& connection)
    : connectionName(connection)
    , serving(false)
    , calls(0) {
    QDBusConnection bus(connectionName);
    serving = bus.isConnected() && bus.registerService(kService) &&
              bus.registerObject(kPath, this, QDBusConnection::ExportScriptableSlots);
}

FakeInstance::~FakeInstance() {
    QDBusConnection bus(connectionName);
    bus.unregisterObject(kPath);
    bus.unregisterService(kService);
}

int FakeInstance::top_application() {
    ++calls;
    Q_EMIT raisedNow();
    return 0;
}
