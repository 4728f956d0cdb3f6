#pragma once

#include <QDateTime>

#include "timesource.h"

// The application's time stands at a moment the test chooses, for as long as this lives.
class FixedTime : public TimeSource {
public:
    explicit FixedTime(const QDateTime& moment);
    ~FixedTime() override;
    FixedTime(const FixedTime&) = delete;
    FixedTime& operator=(const FixedTime&) = delete;

    void set(const QDateTime& moment) { moment_ = moment; }
    QDateTime now() const override { return moment_; }

private:
    QDateTime moment_;
};
