#pragma once

// With TZ unset, the C library looks at /etc/localtime again on every local
// time conversion Qt makes. For its lifetime this names that file in TZ, read
// once on entry, so a query's conversions use the zone as it was when the
// query began; a change of the file is seen by the next one. Does nothing
// when TZ is set, so nesting is free.
class LocalZonePin {
public:
    LocalZonePin();
    ~LocalZonePin();
    LocalZonePin(const LocalZonePin&) = delete;
    LocalZonePin& operator=(const LocalZonePin&) = delete;

private:
    bool pinned_ = false;
};
