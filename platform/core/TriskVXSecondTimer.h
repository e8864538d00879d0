#pragma once

#include <QObject>
#include <QPointer>

#include <functional>

class TriskVXClock;

// A repeating timer that fires just after each whole second of its clock, for count-downs. All such
// timers of one clock share one wake-up, so the process wakes once a second however many count-downs
// run. On a manual clock the timers fire when the clock moves and never by themselves: a test steps a
// count-down by moving its clock.
class TriskVXSecondTimer : public QObject
{
    Q_OBJECT

public:
    // Started at once; the clock must outlive the timer.
    explicit TriskVXSecondTimer(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXSecondTimer() override;

    void start();
    void stop();
    // Puts timer in slot, its ticks calling fired in receiver's context. The timer it replaces stops and
    // is deleted at the next turn, since its own tick may be what asked for the change.
    static void replace(QPointer<TriskVXSecondTimer> &slot, TriskVXSecondTimer *timer, QObject *receiver,
                        const std::function<void()> &fired);
    bool isActive() const { return m_active; }
    const TriskVXClock *clock() const { return m_clock; }

Q_SIGNALS:
    void timeout();

private:
    const TriskVXClock *m_clock;
    bool m_active = false;
};
