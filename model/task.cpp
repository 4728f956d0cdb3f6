#include "task.h"

#include <QEvent>
#include <QGridLayout>
#include <QTimer>

#include "taskbutton.h"
#include "taskhost.h"
#include "timesource.h"

Task::Task(TaskHost& taskManager, int id, const QString& name, bool active, Task::Type type,
           QObject* parent)
    : QObject(parent)
    , button(new TaskButton(nullptr))
    , manager(taskManager)
    , id_(id)
    , name_(name)
    , active_(active)
    , type_(type)
    , nextAlarmTimer(new QTimer(this)) {
    nextAlarmTimer->setSingleShot(true);
    nextAlarmTimer->setTimerType(Qt::PreciseTimer);
    connect(nextAlarmTimer, &QTimer::timeout, this, &Task::refreshNextAlarm);
    button->installEventFilter(this);
    button->setText(name_);
    button->setActivated(active_);
    connect(button, &TaskButton::doubleClicked, this, &Task::changeActivationState);
    connect(button, &TaskButton::clicked, this, &Task::processSelectionChanged);
    // The grid's container takes the button as its child and may destroy it first at shutdown.
    connect(button, &QObject::destroyed, this, [this] { button = nullptr; });
    rule_.setCountdown(type_ == T);
    if (type_ == T) {
        const QDateTime now = TimeSource::currentDateTime();
        rule_.setDate(now.date());
        rule_.setTime(now.time());
    }
}

Task::~Task() {
    // The alarms are our QObject children and go with the base destructor.
    delete button;
}

void Task::addAlarm(bool isBefore, int units, Alarm::Unit unitType, const QString& description) {
    alarms.append(new Alarm(*this, isBefore, units, unitType, description));
}

RepetitionRule Task::repetitionRule() const {
    return rule_;
}

void Task::setRepetitionFields(int repetition, int stopNumber, const QDate& stopDate,
                               int intervalNumber, int intervalType, const QList<int>& weekdays,
                               int monthlyType) {
    rule_.setRepetitionFields(repetition, stopNumber, stopDate, intervalNumber, intervalType,
                              weekdays, monthlyType);
}

bool Task::hasRepetition() const {
    return repetitionRule().hasRepetition();
}

bool Task::hasTrivialRepetition() const {
    return repetitionRule().hasTrivialRepetition();
}

QDateTime Task::nthRepetitionFromDateTime(const QDateTime& from, int n) const {
    return repetitionRule().nthRepetitionFromDateTime(from, n);
}

QDateTime Task::nthRepetition(int n) const {
    return repetitionRule().nthRepetition(n);
}

QDateTime Task::calculateEndDateTime() const {
    return repetitionRule().calculateEndDateTime();
}

int Task::getNumberOfRepetitionsFromDateTime(const QDateTime* from) const {
    return repetitionRule().getNumberOfRepetitionsFromDateTime(from);
}

void Task::setSelected(bool selected) {
    button->setSelected(selected, active_);
}

void Task::display(QGridLayout* grid) {
    const int n = grid->count();
    grid->addWidget(button, n / 2, n % 2);
    // Tab walks the grid in the order it is shown, not in the order the tasks were loaded.
    if (n > 0) {
        if (QWidget* previous = grid->itemAt(n - 1)->widget()) {
            QWidget::setTabOrder(previous, button);
        }
    }
    refreshNextAlarm();
}

void Task::refreshNextAlarm() {
    if (!button) {
        return;
    }
    const QDateTime now = TimeSource::currentDateTime();
    const QDateTime next = manager.nextAlarmOf(*this, now);
    button->setNextAlarm(next);
    if (!next.isValid()) {
        nextAlarmTimer->stop();
        return;
    }
    // Timers stand still while the machine sleeps: look again at least every hour.
    const qint64 hour = 3600 * 1000;
    nextAlarmTimer->start(int(qBound<qint64>(1, now.msecsTo(next) + 1, hour)));
}

QDateTime Task::countdownStart() const {
    return countdownStart_.isValid() ? countdownStart_ : QDateTime(rule_.date(), rule_.time());
}

void Task::restartCountdown() {
    countdownStart_ = TimeSource::currentDateTime();
}

bool Task::eventFilter(QObject* watched, QEvent* event) {
    // A tooltip shows what is true now, even if the machine slept through the timer.
    if (watched == button && event->type() == QEvent::ToolTip) {
        refreshNextAlarm();
    }
    return QObject::eventFilter(watched, event);
}

void Task::updateDisplay() {
    button->setText(name_);
}

void Task::processSelectionChanged() {
    manager.setSelectedTask(this);
}

void Task::changeActivationState() {
    active_ = !active_;
    button->setActivated(active_);
    // A T task stores the moment of its last toggle, also when switched off.
    if (type_ == T) {
        const QDateTime now = TimeSource::currentDateTime();
        rule_.setDate(now.date());
        rule_.setTime(now.time());
        countdownStart_ = QDateTime(rule_.date(), rule_.time());
    }
    manager.saveTaskActivationState(*this);
}

bool Task::operator<(const Task& other) const {
    if (active_ != other.active_) {
        return active_;
    }
    return name_ < other.name_;
}
