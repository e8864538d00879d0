#include "HalvaneTrigger.h"

#include "TriskVXConstants.h"

namespace {
bool fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
    return false;
}

// The instant of a local date and time in a zone; a time inside a spring-forward gap moves to the end
// of the gap, and an ambiguous autumn time takes its first occurrence.
QDateTime localInstant(const QDate &date, const QTime &time, const QTimeZone &zone)
{
    const QDateTime candidate(date, time, zone);
    if (candidate.isValid() && candidate.time() == time && candidate.date() == date) {
        // The earlier of the two instants an ambiguous local time names.
        const QDateTime earlier = candidate.addSecs(-3600);
        if (earlier.toTimeZone(zone).time() == time && earlier.toTimeZone(zone).date() == date)
            return earlier;
        return candidate;
    }
    // In a gap: the first minute after it with a local time at or past the wanted one.
    QDateTime start(date, QTime(0, 0), zone);
    for (int minute = 0; minute < 24 * 60; ++minute) {
        const QDateTime probe = start.addSecs(minute * 60);
        if (probe.toTimeZone(zone).date() == date && probe.toTimeZone(zone).time() >= time)
            return probe;
    }
    return QDateTime();
}
} // namespace

HalvaneTrigger::HalvaneTrigger(const QVariantMap &record)
{
    m_identifier = record.value(kVXTriggerIdentifier).toString();
    const QString type = record.value(kVXTriggerType).toString();
    if (type == kVXTriggerType_Once) {
        m_type = Type::Once;
        m_date = record.value(kVXTriggerDate).toDateTime().toUTC();
    } else if (type == kVXTriggerType_Daily || type == kVXTriggerType_Weekly) {
        m_type = type == kVXTriggerType_Daily ? Type::Daily : Type::Weekly;
        m_time = parseTime(record.value(kVXTriggerTime));
        const QVariantList weekdays = record.value(kVXTriggerWeekdays).toList();
        for (const QVariant &weekday : weekdays)
            m_weekdays.append(int(weekday.toLongLong()));
    }
}

QTime HalvaneTrigger::parseTime(const QVariant &value)
{
    if (value.typeId() != QMetaType::QString)
        return QTime();
    const QString text = value.toString();
    QTime time = QTime::fromString(text, QStringLiteral("HH:mm:ss"));
    if (!time.isValid())
        time = QTime::fromString(text, QStringLiteral("HH:mm"));
    return time;
}

bool HalvaneTrigger::isValid(const QVariantMap &record, QString *error)
{
    const QString type = record.value(kVXTriggerType).toString();
    if (type == kVXTriggerType_Once) {
        if (record.value(kVXTriggerDate).typeId() != QMetaType::QDateTime
            || !record.value(kVXTriggerDate).toDateTime().isValid())
            return fail(error, QStringLiteral("a once trigger has no date"));
        return true;
    }
    if (type != kVXTriggerType_Daily && type != kVXTriggerType_Weekly)
        return fail(error, QStringLiteral("unknown trigger type %1").arg(type));
    if (!parseTime(record.value(kVXTriggerTime)).isValid())
        return fail(error, QStringLiteral("a %1 trigger needs a Time of day as HH:MM or HH:MM:SS").arg(type.toLower()));
    if (type == kVXTriggerType_Weekly) {
        const QVariant weekdays = record.value(kVXTriggerWeekdays);
        if (weekdays.typeId() != QMetaType::QVariantList || weekdays.toList().isEmpty())
            return fail(error, QStringLiteral("a weekly trigger needs Weekdays, an array of 1 (Monday) to 7 (Sunday)"));
        const QVariantList list = weekdays.toList();
        for (const QVariant &weekday : list) {
            const bool integer = weekday.typeId() == QMetaType::LongLong || weekday.typeId() == QMetaType::Int;
            if (!integer || weekday.toLongLong() < 1 || weekday.toLongLong() > 7)
                return fail(error, QStringLiteral("a weekday is not a number from 1 (Monday) to 7 (Sunday)"));
        }
    } else if (record.contains(kVXTriggerWeekdays)) {
        return fail(error, QStringLiteral("a daily trigger has no Weekdays"));
    }
    return true;
}

QDateTime HalvaneTrigger::nextFiring(const QDateTime &after, const QDate &lastFiredDate, const QTimeZone &zone) const
{
    switch (m_type) {
    case Type::Once:
        return !after.isValid() || m_date > after ? m_date : QDateTime();
    case Type::Daily:
    case Type::Weekly: {
        QDate day = after.isValid() ? after.toTimeZone(zone).date() : QDate::currentDate();
        if (lastFiredDate.isValid() && day <= lastFiredDate)
            day = lastFiredDate.addDays(1);
        // Any weekday comes round within a week; one more day covers a firing earlier today.
        for (int i = 0; i < 9; ++i, day = day.addDays(1)) {
            if (m_type == Type::Weekly && !m_weekdays.contains(day.dayOfWeek()))
                continue;
            const QDateTime candidate = localInstant(day, m_time, zone);
            if (candidate.isValid() && (!after.isValid() || candidate > after))
                return candidate.toUTC();
        }
        return QDateTime();
    }
    case Type::Invalid:
        break;
    }
    return QDateTime();
}
