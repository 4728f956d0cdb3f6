#include "localzonepin.h"

#include <QByteArray>

#include <ctime>

LocalZonePin::LocalZonePin() {
    if (qEnvironmentVariableIsSet("TZ")) {
        return;
    }
    // Reads the file now if it changed; the leading colon then names the same
    // file, which the C library takes as unchanged and does not look at again.
    tzset();
    pinned_ = qputenv("TZ", QByteArrayLiteral(":/etc/localtime"));
}

LocalZonePin::~LocalZonePin() {
    if (pinned_) {
        qunsetenv("TZ");
    }
}
