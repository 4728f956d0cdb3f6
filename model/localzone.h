#pragma once

class QByteArray;

// With TZ unset the C library looks at /etc/localtime again on every local time
// conversion, which made recurrence queries up to fifteen times slower. The first
// call names the file in TZ, which the C library then takes as read; each call
// looks at the file once and has it read again when it changed (a new zone set by
// the user), so a query's conversions all use the zone as it was when it began.
// A TZ that someone else set is left alone.
class LocalZone {
public:
    static void refresh();
    // The same for another zone file, for the tests.
    static void refresh(const QByteArray& zoneFile);
};
