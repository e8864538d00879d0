#include "PrivateBus.h"

namespace {
const int kStartTimeout = 10000;
}

PrivateBus::~PrivateBus()
{
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        m_daemon.waitForFinished(kStartTimeout);
    }
}

bool PrivateBus::start(const QString &configFile)
{
    QStringList arguments { QStringLiteral("--print-address"), QStringLiteral("--nofork") };
    arguments.prepend(configFile.isEmpty() ? QStringLiteral("--session")
                                           : QStringLiteral("--config-file=") + configFile);
    m_daemon.start(QStringLiteral("dbus-daemon"), arguments);
    if (!m_daemon.waitForReadyRead(kStartTimeout))
        return false;
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    return !m_address.isEmpty();
}

void PrivateBus::kill()
{
    m_daemon.kill();
    m_daemon.waitForFinished(kStartTimeout);
}
