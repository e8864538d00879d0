#pragma once

#include <QProcess>
#include <QString>

// A dbus-daemon of a test's own, for what the shared test bus cannot show: a bus that goes away, a bus
// with service files (D-Bus activation).
class PrivateBus
{
public:
    PrivateBus() = default;
    ~PrivateBus() { kill(); }

    // Starts a session-type bus, or one made from a configuration file; false when it did not start.
    bool start(const QString &configFile = QString());
    QString address() const { return m_address; }
    // The bus dies at once, as in a crash.
    void kill();

private:
    QProcess m_daemon;
    QString m_address;
};
