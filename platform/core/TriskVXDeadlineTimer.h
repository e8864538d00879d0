#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>

class QSocketNotifier;
class TriskVXClock;

// Fires at a wall-clock instant, whatever happens to the clock meanwhile: a suspend (the timer fires at
// once on resume when its time has passed), a clock step (clockChanged, then it fires or waits on).
// With a manual clock nothing real is armed: moving the clock is what makes it fire.
class TriskVXDeadlineTimer : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXDeadlineTimer(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXDeadlineTimer() override;

    void start(const QDateTime &deadline);
    void stop();
    bool isActive() const { return m_deadline.isValid(); }
    QDateTime deadline() const { return m_deadline; }

Q_SIGNALS:
    // The deadline has come (also when a clock change or a resume carried the time past it).
    void timeout();
    // The wall clock was set, or the manual clock or its zone moved, and the deadline has not come:
    // deadlines computed from the old time may be wrong. Exactly one of the two signals per event.
    void clockChanged();

private:
    void arm();
    void readTimer();
    void clockMoved();

    QPointer<const TriskVXClock> m_clock;
    QDateTime m_deadline;
    int m_fd = -1;
    QSocketNotifier *m_notifier = nullptr;
};
