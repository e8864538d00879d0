#include "HalvanedProcess.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>

#include <csignal>

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
    resume();
    kill();
}

QString HalvanedProcess::uniqueServiceName()
{
    static int counter = 0;
    return QStringLiteral("org.halvane.Test.p%1.n%2").arg(QCoreApplication::applicationPid()).arg(++counter);
}

TriskVXServiceLocation HalvanedProcess::location() const
{
    return TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), m_serviceName);
}

bool HalvanedProcess::waitForOwner(bool owned)
{
    QDeadlineTimer deadline(kStartTimeout);
    while (!deadline.hasExpired()) {
        if (QDBusConnection::sessionBus().interface()->isServiceRegistered(m_serviceName).value() == owned)
            return true;
        if (owned && m_process.state() == QProcess::NotRunning)
            return false;
        // Waiting for another process; the event loop keeps running so that QtDBus delivers.
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        m_process.waitForReadyRead(10);
    }
    return false;
}

bool HalvanedProcess::start(const QStringList &extraArguments)
{
    m_process.setArguments(QStringList { QStringLiteral("--bus"), QStringLiteral("session"), QStringLiteral("--name"),
                                         m_serviceName, QStringLiteral("--state-dir"), m_stateDirectory.path() }
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
    return m_process.waitForFinished(kStartTimeout) && waitForOwner(false);
}

bool HalvanedProcess::kill()
{
    if (!isRunning())
        return true;
    m_process.kill();
    return m_process.waitForFinished(kStartTimeout) && waitForOwner(false);
}

void HalvanedProcess::pause()
{
    if (isRunning())
        ::kill(pid_t(m_process.processId()), SIGSTOP);
}

void HalvanedProcess::resume()
{
    if (isRunning())
        ::kill(pid_t(m_process.processId()), SIGCONT);
}

QString HalvanedProcess::output()
{
    return QString::fromUtf8(m_process.readAll());
}

QDBusMessage HalvanedProcess::callTestClock(const QString &method, const QVariant &argument) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_serviceName, QStringLiteral("/org/halvane/SchedulerTest"),
                                                       QStringLiteral("org.halvane.SchedulerTest1"), method);
    call << argument;
    return QDBusConnection::sessionBus().call(call);
}

bool HalvanedProcess::setTestNow(const QDateTime &now) const
{
    return callTestClock(QStringLiteral("SetNow"), now.toMSecsSinceEpoch()).type() == QDBusMessage::ReplyMessage;
}

bool HalvanedProcess::setTestTimeZone(const QByteArray &zone) const
{
    // It answers whether it knew the zone.
    return callTestClock(QStringLiteral("SetTimeZone"), QString::fromLatin1(zone)).arguments().value(0).toBool();
}
