#pragma once

#include <QDBusConnection>
#include <QObject>

// Tells when a D-Bus connection is lost (the bus daemon stopped or dropped us), so that a service
// does not outlive its bus.
class TriskVXBusWatcher : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXBusWatcher(const QDBusConnection &bus, QObject *parent = nullptr);

    bool isWatching() const { return m_watching; }

Q_SIGNALS:
    void busDisconnected();

private Q_SLOTS:
    // libdbus reports the loss as the local signal org.freedesktop.DBus.Local.Disconnected.
    void localDisconnected();

private:
    bool m_watching = false;
};
