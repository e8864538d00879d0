#include "BusMonitor.h"

#include "TriskVXDBusPropertyList.h"

#include <QDBusArgument>
#include <QUuid>

BusMonitor::BusMonitor(const QString &interface, QObject *parent)
    : QDBusVirtualObject(parent)
    , m_interface(interface)
    , m_name(QStringLiteral("monitor-") + QUuid::createUuid().toString(QUuid::Id128))
    , m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_name))
{
}

BusMonitor::~BusMonitor()
{
    QDBusConnection::disconnectFromBus(m_name);
}

bool BusMonitor::start()
{
    // A monitor never answers: every call it sees is taken here, so that nothing replies on its behalf.
    if (!m_connection.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath))
        return false;
    QDBusMessage become = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus.Monitoring"), QStringLiteral("BecomeMonitor"));
    become << QStringList { QStringLiteral("type='method_call',interface='%1'").arg(m_interface) } << 0u;
    const QDBusMessage reply = m_connection.call(become);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qWarning().noquote() << "cannot monitor the bus:" << reply.errorMessage();
        return false;
    }
    return true;
}

QList<QVariantMap> BusMonitor::parametersOf(const QString &member) const
{
    QList<QVariantMap> parameters;
    for (const QDBusMessage &call : m_calls) {
        if (call.member() == member)
            parameters.append(TriskVXDBusPropertyList::decode(call.arguments().value(0)).toMap());
    }
    return parameters;
}

QString BusMonitor::introspect(const QString &path) const
{
    Q_UNUSED(path)
    return QString();
}

bool BusMonitor::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    Q_UNUSED(connection)
    if (message.type() == QDBusMessage::MethodCallMessage && message.interface() == m_interface)
        m_calls.append(message);
    return true;
}
