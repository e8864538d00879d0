#include "TriskVXClock.h"

#include "TriskVXNotificationCenter.h"

#include <QFileSystemWatcher>

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

QTimeZone TriskVXClock::timeZone() const
{
    if (m_manualZone)
        return m_zone;
    // Asking the system stats /etc/localtime each time; while it is watched, the last answer stands.
    return m_watchingZone ? m_systemZone : QTimeZone::systemTimeZone();
}

void TriskVXClock::setTimeZone(const QTimeZone &zone)
{
    m_manualZone = true;
    m_zone = zone;
    Q_EMIT timeChanged();
}

void TriskVXClock::useSystemTimeZone()
{
    m_manualZone = false;
    Q_EMIT timeChanged();
}

void TriskVXClock::watchSystemTimeZone()
{
    if (m_watchingZone)
        return;
    m_watchingZone = true;
    m_systemZone = QTimeZone::systemTimeZone();
    m_systemZoneId = m_systemZone.id();
    // timedated replaces the /etc/localtime link, which a watch on the file alone would lose.
    auto *watcher = new QFileSystemWatcher(this);
    watcher->addPath(QStringLiteral("/etc"));
    watcher->addPath(QStringLiteral("/etc/localtime"));
    auto check = [this, watcher] {
        if (!watcher->files().contains(QStringLiteral("/etc/localtime")))
            watcher->addPath(QStringLiteral("/etc/localtime"));
        const QTimeZone zone = QTimeZone::systemTimeZone();
        if (zone.id() == m_systemZoneId)
            return;
        m_systemZone = zone;
        m_systemZoneId = zone.id();
        TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(
            TriskVXSystemTimeZoneDidChangeNotification(), this);
        if (!m_manualZone)
            Q_EMIT timeChanged();
    };
    connect(watcher, &QFileSystemWatcher::fileChanged, this, check);
    connect(watcher, &QFileSystemWatcher::directoryChanged, this, check);
}

QString TriskVXClock::TriskVXSystemTimeZoneDidChangeNotification()
{
    return QStringLiteral("NSSystemTimeZoneDidChangeNotification");
}

TriskVXClock *TriskVXClock::systemClock()
{
    static TriskVXClock clock;
    return &clock;
}
