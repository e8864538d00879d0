#include "HalvaneTestClock.h"

#include "HalvaneServiceLogging.h"
#include "TriskVXClock.h"
#include "halvane_test_adaptor.h"

#include <QTimeZone>

HalvaneTestClock::HalvaneTestClock(TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
    new SchedulerTestAdaptor(this);
}

void HalvaneTestClock::SetNow(qlonglong msecsSinceEpoch)
{
    m_clock->setNow(QDateTime::fromMSecsSinceEpoch(msecsSinceEpoch, QTimeZone::utc()));
}

qlonglong HalvaneTestClock::Now()
{
    return m_clock->now().toMSecsSinceEpoch();
}

bool HalvaneTestClock::SetTimeZone(const QString &ianaId)
{
    const QTimeZone zone(ianaId.toUtf8());
    if (!zone.isValid()) {
        qCWarning(lcHalvaned).noquote() << QStringLiteral("test clock: unknown time zone %1").arg(ianaId);
        return false;
    }
    m_clock->setTimeZone(zone);
    return true;
}
