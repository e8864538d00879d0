#include "HalvanedProcess.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>

#include <csignal>

namespace {
const int kStartTimeout = 10000;
const QString kTestClockPath = QStringLiteral("/org/halvane/SchedulerTest");
const QString kTestClockInterface = QStringLiteral("org.halvane.SchedulerTest1");
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
    if (isRunning()) {
        resume();
        m_process.kill();
        m_process.waitForFinished(kStartTimeout);
    }
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
    if (!m_process.waitForStarted(kStartTimeout))
        return false;
    return waitForOwner(true);
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

bool HalvanedProcess::setTestNow(const QDateTime &now) const
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(m_serviceName, kTestClockPath, kTestClockInterface, QStringLiteral("SetNow"));
    call << now.toMSecsSinceEpoch();
    return QDBusConnection::sessionBus().call(call).type() == QDBusMessage::ReplyMessage;
}

bool HalvanedProcess::setTestTimeZone(const QByteArray &zone) const
{
    QDBusMessage call = QDBusMessage::createMethodCall(m_serviceName, kTestClockPath, kTestClockInterface,
                                                       QStringLiteral("SetTimeZone"));
    call << QString::fromLatin1(zone);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    // It answers whether it knew the zone.
    return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toBool();
}
