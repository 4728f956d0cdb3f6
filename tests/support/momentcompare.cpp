#include "momentcompare.h"

bool MomentCompare::identical(const QDateTime& a, const QDateTime& b) {
    if (a.isNull() != b.isNull() || a.isValid() != b.isValid() || a.date() != b.date() ||
        a.time() != b.time()) {
        return false;
    }
    return !a.isValid() || (a.toMSecsSinceEpoch() == b.toMSecsSinceEpoch() &&
                            a.offsetFromUtc() == b.offsetFromUtc());
}

QString MomentCompare::describe(const QDateTime& moment) {
    if (moment.isNull()) {
        return QStringLiteral("null");
    }
    if (!moment.isValid()) {
        return QStringLiteral("invalid(%1 %2)")
            .arg(moment.date().toString(Qt::ISODate), moment.time().toString(Qt::ISODate));
    }
    return moment.toString(Qt::ISODateWithMs) + QStringLiteral(" [%1]").arg(moment.offsetFromUtc());
}
