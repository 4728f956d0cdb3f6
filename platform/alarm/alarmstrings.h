#pragma once

#include <cstdlib>
#include <cstring>

// The C strings of events and actions live in malloc'ed memory, so that a C
// caller may free or replace them as it likes.
namespace alarm_strings {

inline char* copy(const char* text) {
    return text ? strdup(text) : nullptr;
}

inline const char* orEmpty(const char* text) {
    return text ? text : "";
}

inline void replace(char** field, const char* text) {
    char* fresh = copy(text);
    free(*field);
    *field = fresh;
}

} // namespace alarm_strings
