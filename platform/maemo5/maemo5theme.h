#pragma once

class QApplication;

// The handheld's dark theme: the style sheets of the buttons assume light text
// on a dark window, as the device shows them.
class Maemo5Theme {
public:
    static void apply(QApplication& app);
};
