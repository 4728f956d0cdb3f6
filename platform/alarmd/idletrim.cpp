#include "idletrim.h"

#include <QFile>

#include <sys/mman.h>

#ifndef MADV_PAGEOUT
#define MADV_PAGEOUT 21
#endif

IdleTrim::IdleTrim(QObject* parent)
    : QObject(parent) {
    quiet_.setSingleShot(true);
    quiet_.setInterval(quietMs);
    // Late by a few milliseconds is fine; waking up for it exactly is not needed.
    quiet_.setTimerType(Qt::CoarseTimer);
    connect(&quiet_, &QTimer::timeout, this, [this] { supported_ = trimNow(); });
}

void IdleTrim::touch() {
    if (supported_) {
        quiet_.start();
    }
}

bool IdleTrim::trimNow() {
    QFile smaps(QStringLiteral("/proc/self/smaps"));
    if (!smaps.open(QIODevice::ReadOnly)) {
        return false;
    }
    int trimmed = 0;
    quintptr start = 0;
    quintptr end = 0;
    bool ofFile = false;
    bool writablePrivate = false;
    const auto trim = [&](bool clean) {
        if (!ofFile || end <= start) {
            return;
        }
        // A read-only or shared mapping with no page of its own (nothing copied on
        // write) is the file as it is: its pages are dropped and read again on
        // use. In any other the kernel pages out what is clean and keeps the rest.
        const int advice = clean ? MADV_DONTNEED : MADV_PAGEOUT;
        if (::madvise(reinterpret_cast<void*>(start), end - start, advice) == 0) {
            ++trimmed;
        }
    };
    // A header line "start-end perms offset dev inode path", then "Key: value kB" lines.
    for (const QByteArray& line : smaps.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.isEmpty()) {
            continue;
        }
        if (fields.at(0) == "Anonymous:") {
            trim(fields.value(1) == "0" && !writablePrivate);
            ofFile = false;
            continue;
        }
        const QList<QByteArray> range = fields.at(0).split('-');
        if (range.size() != 2 || fields.size() < 5) {
            continue;
        }
        bool startOk = false;
        bool endOk = false;
        start = range.at(0).toULongLong(&startOk, 16);
        end = range.at(1).toULongLong(&endOk, 16);
        ofFile = startOk && endOk && fields.size() >= 6 && fields.at(5).startsWith('/');
        writablePrivate = fields.at(1).contains('w') && fields.at(1).endsWith('p');
    }
    // None at all: a kernel before 5.4, which knows no such advice.
    return trimmed > 0;
}
