#pragma once

#include <QDateTime>
#include <QLocale>
#include <QTimeZone>
#include <QVariant>

class TriskVXClock;

// Turns trigger dates into the short localised text the menus and panels show, and counts calendar
// days from today.
class TriskVXIDateTransformer
{
public:
    // An invalid zone (QTimeZone()) means the clock's zone at each call.
    explicit TriskVXIDateTransformer(const TriskVXClock *clock = nullptr, const QLocale &locale = QLocale(),
                                     const QTimeZone &zone = QTimeZone::systemTimeZone());

    // A date in, its text out: the time alone for today, the weekday and time within the coming week,
    // the short date and time otherwise. Anything but a date gives nil.
    QVariant transformedValue(const QVariant &value) const;

    // Calendar days from today to the date in the zone (0 today, 1 tomorrow, -1 yesterday), whatever the
    // hour; nil dates count as today.
    static qint64 relativeDaysAway(const QDateTime &date, const TriskVXClock *clock = nullptr,
                                   const QTimeZone &zone = QTimeZone::systemTimeZone());

private:
    const TriskVXClock *m_clock;
    QLocale m_locale;
    QTimeZone m_zone;
};
