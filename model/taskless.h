#pragma once

class Task;

// Display order for std::sort over task pointers: active first, then by name.
struct TaskLess {
    bool operator()(const Task* a, const Task* b) const;
};
