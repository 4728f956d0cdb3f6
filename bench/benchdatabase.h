#pragma once

// The application's database under $HOME, as a bench needs it.
class BenchDatabase {
public:
    // Creates the application's own schema, then adds `count` tasks in one transaction: every
    // third a countdown, the others dated and weekly, each with two alarms.
    static bool fill(int count);
};
