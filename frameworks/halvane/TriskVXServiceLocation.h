#pragma once

#include <QDBusConnection>
#include <QString>
#include <QUrl>

// Where the scheduler service is reached: a bus and a bus name. Everything that talks to the service
// is handed one; fromEnvironment() is the process's default (HALVANE_BUS, HALVANE_SERVICE).
class TriskVXServiceLocation
{
public:
    TriskVXServiceLocation(const QDBusConnection &bus, const QString &serviceName, const QString &busDescription);

    // HALVANE_BUS is "session", "system" or a D-Bus address, defaultBus when unset; HALVANE_SERVICE the
    // bus name (default org.halvane.Scheduler).
    static TriskVXServiceLocation fromEnvironment(const QString &defaultBus = QStringLiteral("session"));
    static TriskVXServiceLocation onBus(const QDBusConnection &bus, const QString &serviceName);

    QDBusConnection bus() const { return m_bus; }
    QString serviceName() const { return m_serviceName; }
    // "session", "system" or the address, for logs and the service URL.
    QString busDescription() const { return m_busDescription; }
    // dbus:<service name>?bus=<bus description>
    QUrl url() const;

private:
    QDBusConnection m_bus;
    QString m_serviceName;
    QString m_busDescription;
};
