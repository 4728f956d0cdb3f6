#pragma once

#include <QString>

// Gives the test's HOME an ALSA default device that swallows all sound, so the
// alarm sound really plays (and ends at once) on machines without audio.
class SilentSoundDevice {
public:
    // Writes $HOME/.asoundrc; call before anything opens audio.
    static bool install();
};
