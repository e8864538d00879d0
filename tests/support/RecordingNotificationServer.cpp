#include "RecordingNotificationServer.h"

namespace {
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
// NotificationClosed reasons.
const uint kDismissed = 2;
const uint kClosedByCall = 3;
int gConnections = 0;
} // namespace

RecordingNotificationServer::RecordingNotificationServer(const QStringList &capabilities, QObject *parent)
    : QObject(parent)
    , m_capabilities(capabilities)
{
}

RecordingNotificationServer::~RecordingNotificationServer()
{
    stop();
}

bool RecordingNotificationServer::start()
{
    stop();
    // A new process numbers its notifications afresh.
    m_nextId = 0;
    m_connectionName = QStringLiteral("recording-notification-server-%1").arg(++gConnections);
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    return bus.registerObject(kPath, this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals)
        && bus.registerService(testService());
}

void RecordingNotificationServer::stop()
{
    if (m_connectionName.isEmpty())
        return;
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_connectionName.clear();
    m_open.clear();
}

RecordingNotificationServer::Notification RecordingNotificationServer::last(const QString &summary) const
{
    for (auto it = m_received.crbegin(); it != m_received.crend(); ++it) {
        if (it->summary == summary)
            return *it;
    }
    return {};
}

void RecordingNotificationServer::invokeAction(uint id, const QString &actionKey)
{
    Q_EMIT ActionInvoked(id, actionKey);
}

void RecordingNotificationServer::closeByPerson(uint id)
{
    m_open.removeAll(id);
    Q_EMIT NotificationClosed(id, kDismissed);
}

QStringList RecordingNotificationServer::GetCapabilities()
{
    return m_capabilities;
}

uint RecordingNotificationServer::Notify(const QString &app_name, uint replaces_id, const QString &app_icon,
                                         const QString &summary, const QString &body, const QStringList &actions,
                                         const QVariantMap &hints, int expire_timeout)
{
    const uint id = replaces_id != 0 && m_open.contains(replaces_id) ? replaces_id : ++m_nextId;
    if (!m_open.contains(id))
        m_open.append(id);
    m_received.append({ id, replaces_id, app_name, app_icon, summary, body, actions, hints, expire_timeout });
    if (m_onNotify)
        m_onNotify(m_received.constLast());
    return id;
}

void RecordingNotificationServer::CloseNotification(uint id)
{
    m_closedByClient.append(id);
    if (m_open.removeAll(id) > 0)
        Q_EMIT NotificationClosed(id, kClosedByCall);
}

QString RecordingNotificationServer::GetServerInformation(QString &vendor, QString &version, QString &protocol_version)
{
    vendor = QStringLiteral("Halvane tests");
    version = QStringLiteral("1");
    protocol_version = QStringLiteral("1.2");
    return QStringLiteral("recording");
}
