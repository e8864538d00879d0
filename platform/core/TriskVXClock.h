#pragma once

#include <QDateTime>
#include <QObject>
#include <QTimeZone>

// The source of the current time for everything that counts down or compares with now; tests move a
// manual clock instead of sleeping.
class TriskVXClock : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXClock(QObject *parent = nullptr);

    // The wall clock, or a fixed instant once setNow() has been called.
    QDateTime now() const;
    bool isManual() const { return m_manual; }

    void setNow(const QDateTime &now);
    void advance(qint64 milliseconds);
    void useSystemTime();

    // The zone local times are read in: the system's, or the one set for a test.
    QTimeZone timeZone() const;
    void setTimeZone(const QTimeZone &zone);
    void useSystemTimeZone();
    // Emits timeChanged when the system's time zone changes (/etc/localtime is replaced); the system
    // clock's owner turns this on once.
    void watchSystemTimeZone();

    // Posted on the default notification centre, with the clock as object, when the system zone changes.
    static QString TriskVXSystemTimeZoneDidChangeNotification();

    // The clock everything uses unless it was handed another one.
    static TriskVXClock *systemClock();

Q_SIGNALS:
    // The manual time or the zone moved; a timer armed from the old time should be re-armed.
    void timeChanged();

private:
    bool m_manual = false;
    QDateTime m_now;
    bool m_manualZone = false;
    QTimeZone m_zone;
    QTimeZone m_systemZone;
    QByteArray m_systemZoneId;
    bool m_watchingZone = false;
};
