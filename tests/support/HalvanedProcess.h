#pragma once

#include "TriskVXServiceLocation.h"

#include <QDateTime>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

class QDBusMessage;

// The real halvaned, run by a test on the test's session bus (dbus-run-session) under a name of its own.
class HalvanedProcess : public QObject
{
    Q_OBJECT

public:
    explicit HalvanedProcess(QObject *parent = nullptr);
    ~HalvanedProcess() override;

    static QString uniqueServiceName();
    QString serviceName() const { return m_serviceName; }
    // The state folder, kept across stop and start of this process, removed with the object.
    QString stateDirectory() const { return m_stateDirectory.path(); }
    QString stateFile() const { return m_stateDirectory.filePath(QStringLiteral("store.plist")); }
    TriskVXServiceLocation location() const;

    // Starts it with its own state folder and waits until it owns its bus name.
    bool start(const QStringList &extraArguments = {});
    // SIGTERM, then waits for the exit and for the name to be released.
    bool stop();
    // SIGKILL: a crash.
    bool kill();
    void pause();
    void resume();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    QString output();
    // The service's test clock (started with --test-clock): moves its time, sets its zone (an IANA id).
    bool setTestNow(const QDateTime &now) const;
    bool setTestTimeZone(const QByteArray &zone) const;

private:
    bool waitForOwner(bool owned);
    QDBusMessage callTestClock(const QString &method, const QVariant &argument) const;

    QString m_serviceName;
    QTemporaryDir m_stateDirectory;
    QProcess m_process;
};
