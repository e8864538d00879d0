#pragma once

#include "TriskVXServiceLocation.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDateTime>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimeZone>

#include <csignal>

// The real halvaned on the test's session bus or the one playing the system bus, under a name of its own.
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
    QString stateFile() const { return m_stateDirectory.filePath(QStringLiteral("store.db")); }
    // The state file of earlier versions, moved into the store at the first start.
    QString legacyStateFile() const { return m_stateDirectory.filePath(QStringLiteral("store.plist")); }
    TriskVXServiceLocation location() const { return TriskVXServiceLocation::onBus(bus(), m_serviceName); }
    // The bus it serves on, "session" (the test's bus) or "system"; set before start.
    void setBus(const QString &bus) { m_bus = bus; }
    QDBusConnection bus() const
    {
        return m_bus == QLatin1String("system") ? QDBusConnection::systemBus() : QDBusConnection::sessionBus();
    }

    // Starts it with its own state folder and waits until it owns its bus name.
    bool start(const QStringList &extraArguments = {});
    // SIGTERM, then waits for the exit and for the name to be released; false unless it exited cleanly.
    bool stop();
    bool kill();
    void pause() { sendSignal(SIGSTOP); }
    void resume() { sendSignal(SIGCONT); }
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    QString output() { return QString::fromUtf8(m_process.readAll()); }
    // The service's test clock (started with --test-clock): moves its time, sets its zone (an IANA id).
    bool setTestNow(const QDateTime &now) const
    {
        return callTestClock(QStringLiteral("SetNow"), now.toMSecsSinceEpoch()).type() == QDBusMessage::ReplyMessage;
    }
    // It answers whether it knew the zone.
    bool setTestTimeZone(const QByteArray &zone) const
    {
        return callTestClock(QStringLiteral("SetTimeZone"), QString::fromLatin1(zone)).arguments().value(0).toBool();
    }

    // Starts it on its test clock at now, in now's zone, performing no action (--dry-run).
    bool startAt(const QDateTime &now, const QStringList &extraArguments = {})
    {
        return start(QStringList { QStringLiteral("--test-clock"), QStringLiteral("--dry-run") } + extraArguments)
            && setTestTimeZone(now.timeZone().id()) && setTestNow(now);
    }
    // Runs halvanectl against this service; false, with its complaint logged, when it fails.
    bool control(const QStringList &arguments) const;
    // halvanectl add name, with the name in lower case as the event's id.
    bool add(const QString &name, const QStringList &arguments) const
    {
        return control(QStringList { QStringLiteral("add"), name, QStringLiteral("--id"), name.toLower() } + arguments);
    }

private:
    bool waitForOwner(bool owned);
    void sendSignal(int signalNumber);
    QDBusMessage callTestClock(const QString &method, const QVariant &argument) const;

    QString m_serviceName;
    QString m_bus = QStringLiteral("session");
    QTemporaryDir m_stateDirectory;
    QProcess m_process;
};
