#pragma once

#include <alarmd/libalarm.h>

#include <string>

// The bounds of <alarmd/libalarm.h> that the daemon enforces, checked before
// an event goes out, so that the caller learns why instead of getting a bare 0.
namespace alarm_limits {

// Why the daemon would refuse `event` for a bound, or an empty string.
std::string breach(const alarm_event_t* event);

} // namespace alarm_limits
