#include "queuefeed.h"

#include "alarmevent.h"
#include "alarmqueue.h"

qint64 QueueFeed::add(AlarmQueue& queue, const AlarmEvent& event) {
    QString refusal;
    const qint64 cookie = queue.add(event, &refusal);
    if (cookie == 0) {
        qWarning("refused: %s", qPrintable(refusal));
    }
    return cookie;
}
