#include "TriskVXIDateTransformer.h"

#include "TriskVXClock.h"

namespace {
const TriskVXClock *clockOrSystem(const TriskVXClock *clock)
{
    return clock ? clock : TriskVXClock::systemClock();
}
} // namespace

TriskVXIDateTransformer::TriskVXIDateTransformer(const TriskVXClock *clock, const QLocale &locale,
                                                 const QTimeZone &zone)
    : m_clock(clockOrSystem(clock))
    , m_locale(locale)
    , m_zone(zone)
{
}

QVariant TriskVXIDateTransformer::transformedValue(const QVariant &value) const
{
    if (value.typeId() != QMetaType::QDateTime)
        return QVariant();
    const QDateTime date = value.toDateTime();
    if (!date.isValid())
        return QVariant();
    // Without a zone of its own the transformer follows the clock's, which moves with the system's.
    const QTimeZone zone = m_zone.isValid() ? m_zone : m_clock->timeZone();
    const QDateTime local = date.toTimeZone(zone);
    const QString time = m_locale.toString(local.time(), QLocale::ShortFormat);
    const qint64 days = relativeDaysAway(date, m_clock, zone);
    if (days == 0)
        return QVariant(time);
    if (days > 0 && days < 7)
        return QVariant(m_locale.dayName(local.date().dayOfWeek(), QLocale::LongFormat) + QLatin1Char(' ') + time);
    return QVariant(m_locale.toString(local.date(), QLocale::ShortFormat) + QLatin1Char(' ') + time);
}

qint64 TriskVXIDateTransformer::relativeDaysAway(const QDateTime &date, const TriskVXClock *clock,
                                                 const QTimeZone &zone)
{
    if (!date.isValid())
        return 0;
    const QDate today = clockOrSystem(clock)->now().toTimeZone(zone).date();
    return today.daysTo(date.toTimeZone(zone).date());
}
