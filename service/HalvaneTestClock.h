#pragma once

#include <QObject>

class TriskVXClock;

// The manual clock of halvaned --test-clock on D-Bus (org.halvane.SchedulerTest1), so that tests of the
// running service move time and the zone instead of sleeping.
class HalvaneTestClock : public QObject
{
    Q_OBJECT

public:
    explicit HalvaneTestClock(TriskVXClock *clock, QObject *parent = nullptr);

public Q_SLOTS:
    void SetNow(qlonglong msecsSinceEpoch);
    qlonglong Now();
    bool SetTimeZone(const QString &ianaId);

private:
    TriskVXClock *m_clock;
};
