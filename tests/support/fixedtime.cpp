#include "fixedtime.h"

FixedTime::FixedTime(const QDateTime& moment)
    : moment_(moment) {
    TimeSource::install(this);
}

FixedTime::~FixedTime() {
    TimeSource::install(nullptr);
}
