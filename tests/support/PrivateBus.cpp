#include "PrivateBus.h"

namespace {
const int kStartTimeout = 10000;
}

bool PrivateBus::start()
{
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   { QStringLiteral("--session"), QStringLiteral("--print-address"), QStringLiteral("--nofork") });
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
