#pragma once

#include <QDateTime>
#include <QList>
#include <QTime>
#include <QTimeZone>
#include <QVariantMap>

// The firing rule of one trigger record: once at a date, daily at a time of day, weekly at a time on
// some weekdays, all local times read in the given zone.
class HalvaneTrigger
{
public:
    HalvaneTrigger() = default;
    explicit HalvaneTrigger(const QVariantMap &record);

    // Whether a record is a trigger the scheduler can queue; a message in error when not.
    static bool isValid(const QVariantMap &record, QString *error);

    bool isRepeating() const { return m_type != Type::Once; }
    QString identifier() const { return m_identifier; }

    // The first firing strictly after `after` (nil: no bound) whose local date is later than
    // `lastFiredDate` (nil: no bound), in the zone. Invalid when there is none (a once trigger whose
    // date is not after the bound). A local time that a clock change skips fires at the first moment
    // after the gap; one that occurs twice fires at its first occurrence.
    QDateTime nextFiring(const QDateTime &after, const QDate &lastFiredDate, const QTimeZone &zone) const;

    static QTime parseTime(const QVariant &value);

private:
    enum class Type { Once, Daily, Weekly, Invalid };

    Type m_type = Type::Invalid;
    QString m_identifier;
    QDateTime m_date;
    QTime m_time;
    QList<int> m_weekdays;
};
