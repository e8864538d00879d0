#include "HalvanedProcess.h"

#include "WaitFor.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>

namespace {
const int kStartTimeout = 10000;
} // namespace

HalvanedProcess::HalvanedProcess(QObject *parent)
    : QObject(parent)
    , m_serviceName(uniqueServiceName())
{
    m_process.setProgram(QStringLiteral(HALVANED_PATH));
    m_process.setProcessChannelMode(QProcess::MergedChannels);
}

HalvanedProcess::~HalvanedProcess()
{
    // A clean stop first: the service then writes what it must on exit (coverage data among it).
    if (!stop())
        kill();
}

QString HalvanedProcess::uniqueServiceName()
{
    static int counter = 0;
    return QStringLiteral("org.halvane.Test.p%1.n%2").arg(QCoreApplication::applicationPid()).arg(++counter);
}

bool HalvanedProcess::waitForOwner(bool owned)
{
    // The bus announces the change of owner, which ends the wait at once; a process that ended will never
    // own its name.
    const QDBusServiceWatcher watcher(m_serviceName, bus());
    return waitFor(
               [&] {
                   return bus().interface()->isServiceRegistered(m_serviceName).value() == owned
                       || (owned && !isRunning());
               },
               kStartTimeout)
        && (!owned || isRunning());
}

bool HalvanedProcess::start(const QStringList &extraArguments)
{
    m_process.setArguments(QStringList { QStringLiteral("--bus"), m_bus, QStringLiteral("--name"), m_serviceName,
                                         QStringLiteral("--state-dir"), m_stateDirectory.path() }
                           + extraArguments);
    m_process.start();
    return m_process.waitForStarted(kStartTimeout) && waitForOwner(true);
}

bool HalvanedProcess::stop()
{
    if (!isRunning())
        return true;
    resume();
    m_process.terminate();
    return m_process.waitForFinished(kStartTimeout) && m_process.exitStatus() == QProcess::NormalExit
        && m_process.exitCode() == 0 && waitForOwner(false);
}

bool HalvanedProcess::kill()
{
    if (!isRunning())
        return true;
    m_process.kill();
    return m_process.waitForFinished(kStartTimeout) && waitForOwner(false);
}

void HalvanedProcess::sendSignal(int signalNumber)
{
    if (isRunning())
        ::kill(pid_t(m_process.processId()), signalNumber);
}

QDBusMessage HalvanedProcess::callTestClock(const QString &method, const QVariant &argument) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_serviceName, QStringLiteral("/org/halvane/SchedulerTest"),
                                                       QStringLiteral("org.halvane.SchedulerTest1"), method);
    call << argument;
    return bus().call(call);
}

bool HalvanedProcess::control(const QStringList &arguments) const
{
    QProcess process;
    process.start(QStringLiteral(HALVANECTL_PATH),
                  QStringList { QStringLiteral("--bus"), m_bus, QStringLiteral("--name"), m_serviceName } + arguments);
    if (process.waitForFinished(10000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return true;
    qWarning().noquote() << "halvanectl" << arguments.join(QLatin1Char(' '))
                         << "failed:" << process.readAllStandardError();
    return false;
}
