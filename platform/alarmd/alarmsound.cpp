#include "alarmsound.h"

#include <canberra.h>

#include "eventrules.h"

namespace {

const char* const defaultSound = "alarm-clock-elapsed";

ca_context* openContext(const char* driver) {
    ca_context* context = nullptr;
    if (ca_context_create(&context) != CA_SUCCESS) {
        return nullptr;
    }
    ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "pardo-alarmd",
                            CA_PROP_APPLICATION_ID, "org.velmar.alarmd", nullptr);
    if ((driver && ca_context_set_driver(context, driver) != CA_SUCCESS) ||
        ca_context_open(context) != CA_SUCCESS) {
        ca_context_destroy(context);
        return nullptr;
    }
    return context;
}

// One context for the whole process, never destroyed: destroying it unloads
// the audio driver while the driver's own threads may still be finishing.
ca_context* sharedContext() {
    static ca_context* context = nullptr;
    if (!context) {
        // The sound server first; without one, the sound card directly.
        context = openContext(nullptr);
    }
    if (!context) {
        context = openContext("alsa");
    }
    return context;
}

uint32_t nextSoundId() {
    static uint32_t id = 0;
    return ++id;
}

} // namespace

AlarmSound::AlarmSound(QObject* parent)
    : QObject(parent)
    , soundId_(nextSoundId()) {
    // Only runs while an alarm rings, to start the sound again when it ends.
    tick_.setInterval(1000);
    connect(&tick_, &QTimer::timeout, this, &AlarmSound::tick);
}

AlarmSound::~AlarmSound() {
    stop();
}

void AlarmSound::start(const QString& sound) {
    // The file may have changed since the event was queued.
    sound_ = sound.isEmpty() || !EventRules::isAllowedSound(sound)
                 ? QString::fromLatin1(defaultSound)
                 : sound;
    since_.start();
    ringing_ = openContext() && playOnce();
    if (ringing_) {
        tick_.start();
    } else {
        tick_.stop();
    }
}

void AlarmSound::stop() {
    tick_.stop();
    if (context_ && ringing_) {
        ca_context_cancel(context_, soundId_);
    }
    ringing_ = false;
}

bool AlarmSound::openContext() {
    context_ = sharedContext();
    return context_ != nullptr;
}

bool AlarmSound::playOnce() {
    const QByteArray name = sound_.toUtf8();
    const bool file = sound_.startsWith(QLatin1Char('/'));
    ca_context_cancel(context_, soundId_);
    int result = ca_context_play(
        context_, soundId_, file ? CA_PROP_MEDIA_FILENAME : CA_PROP_EVENT_ID, name.constData(),
        CA_PROP_MEDIA_ROLE, "alarm", CA_PROP_EVENT_DESCRIPTION, "Alarm", nullptr);
    if (result != CA_SUCCESS && sound_ != QLatin1String(defaultSound)) {
        // The event's own sound is missing: ring the usual one instead.
        sound_ = QString::fromLatin1(defaultSound);
        result =
            ca_context_play(context_, soundId_, CA_PROP_EVENT_ID, defaultSound, CA_PROP_MEDIA_ROLE,
                            "alarm", CA_PROP_EVENT_DESCRIPTION, "Alarm", nullptr);
    }
    if (result != CA_SUCCESS) {
        return false;
    }
    ++plays_;
    return true;
}

void AlarmSound::tick() {
    if (since_.elapsed() >= limitMs_) {
        stop();
        return;
    }
    int playing = 0;
    if (ca_context_playing(context_, soundId_, &playing) == CA_SUCCESS && !playing && !playOnce()) {
        stop();
    }
}
