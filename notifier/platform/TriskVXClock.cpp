#include "TriskVXClock.h"

TriskVXClock::TriskVXClock(QObject *parent)
    : QObject(parent)
{
}

QDateTime TriskVXClock::now() const
{
    return m_manual ? m_now : QDateTime::currentDateTimeUtc();
}

void TriskVXClock::setNow(const QDateTime &now)
{
    m_manual = true;
    m_now = now.toUTC();
    Q_EMIT timeChanged();
}

void TriskVXClock::advance(qint64 milliseconds)
{
    setNow(now().addMSecs(milliseconds));
}

void TriskVXClock::useSystemTime()
{
    m_manual = false;
    Q_EMIT timeChanged();
}

TriskVXClock *TriskVXClock::systemClock()
{
    static TriskVXClock clock;
    return &clock;
}
