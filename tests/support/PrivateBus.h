#pragma once

#include <QProcess>
#include <QString>

// A dbus-daemon of a test's own: a bus that goes away, or a system bus with the services halvaned talks to.
class PrivateBus
{
public:
    PrivateBus() = default;
    ~PrivateBus() { kill(); }

    // Starts a session-type bus; false when it did not start.
    bool start();
    QString address() const { return m_address; }
    // The bus dies at once, as in a crash.
    void kill();

private:
    QProcess m_daemon;
    QString m_address;
};
