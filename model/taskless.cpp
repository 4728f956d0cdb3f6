#include "taskless.h"

#include "task.h"

bool TaskLess::operator()(const Task* a, const Task* b) const {
    return *a < *b;
}
