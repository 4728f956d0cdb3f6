#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>

struct ca_context;

// The alarm sound: the sound theme's "alarm-clock-elapsed" (or the event's own
// sound), played again each time it ends, for at most a minute. Without an
// audio device it stays silent and says nothing.
class AlarmSound : public QObject {
    Q_OBJECT
public:
    explicit AlarmSound(QObject* parent = nullptr);
    ~AlarmSound() override;

    // Rings (again) for at most a minute from now. `sound` is a sound theme
    // name or an absolute file name; empty means the alarm clock sound.
    void start(const QString& sound);
    void stop();
    bool isRinging() const { return ringing_; }
    // How many times the sound was started since this object exists.
    int plays() const { return plays_; }
    // The longest an alarm rings unanswered.
    void setLimit(int milliseconds) { limitMs_ = milliseconds; }

private:
    bool openContext();
    bool playOnce();
    void tick();

    ca_context* context_ = nullptr;
    uint32_t soundId_ = 0;
    QTimer tick_;
    QElapsedTimer since_;
    QString sound_;
    bool ringing_ = false;
    int plays_ = 0;
    int limitMs_ = 60000;
};
