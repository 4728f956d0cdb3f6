#pragma once

// Most users run with TZ unset, the zone read from /etc/localtime; a bench
// measures both that and a set zone, each in a fresh process of its own.
class BothZones {
public:
    // True in the child measuring one zone; false in the parent, which should
    // call run() instead of measuring.
    static bool isChild();
    // Runs this executable again with TZ unset, then with TZ=Europe/Berlin, a
    // blank line after each; 0 when both children succeeded.
    static int run(char** argv);
};
