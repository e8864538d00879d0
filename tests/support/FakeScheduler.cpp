#include "FakeScheduler.h"

#include "HalvanedProcess.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"

#include <QDBusVariant>

namespace {
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
}

FakeScheduler::FakeScheduler(QObject *parent)
    : QDBusVirtualObject(parent)
    , m_serviceName(HalvanedProcess::uniqueServiceName())
    , m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_serviceName))
{
    TriskVXDBusPropertyList::registerTypes();
}

FakeScheduler::~FakeScheduler()
{
    // Closing the connection gives the name back.
    m_connection.unregisterObject(kVXDBusObjectPath);
    QDBusConnection::disconnectFromBus(m_serviceName);
}

bool FakeScheduler::start()
{
    return m_connection.registerVirtualObject(kVXDBusObjectPath, this) && m_connection.registerService(m_serviceName);
}

TriskVXServiceLocation FakeScheduler::location() const
{
    return TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), m_serviceName);
}

QString FakeScheduler::introspect(const QString &path) const
{
    Q_UNUSED(path)
    return QString();
}

void FakeScheduler::publish(const QVariantMap &changed, const QStringList &invalidated)
{
    QDBusMessage signal
        = QDBusMessage::createSignal(kVXDBusObjectPath, kProperties, QStringLiteral("PropertiesChanged"));
    signal << kVXDBusInterface << changed << invalidated;
    m_connection.send(signal);
}

bool FakeScheduler::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    Q_UNUSED(connection)
    if (message.interface() == kProperties) {
        if (message.member() == QLatin1String("GetAll")) {
            QVariantMap properties = published;
            properties.remove(kVXObserveAuthorisationRights);
            m_connection.send(message.createReply(QVariantList { properties }));
            return true;
        }
        if (message.member() == QLatin1String("Get")) {
            const QString name = message.arguments().value(1).toString();
            m_connection.send(
                message.createReply(QVariantList { QVariant::fromValue(QDBusVariant(published.value(name))) }));
            return true;
        }
        return false;
    }
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Peer"))
        return false;
    if (message.member() == kVXObserveAuthorisationRights) {
        // The rights as published, raw, or none.
        const QVariant rights
            = published.value(kVXObserveAuthorisationRights, QVariant::fromValue(QList<QVariantMap>()));
        m_connection.send(message.createReply(QVariantList { rights }));
        return true;
    }
    if (message.member() == kVXDBusMethodAuthenticate) {
        m_connection.send(message.createReply(QVariantList { acceptClients, protocolVersion }));
        return true;
    }
    m_received.append({ message.member(), TriskVXDBusPropertyList::decode(message.arguments().value(0)).toMap() });
    m_connection.send(malformedReplies
                          ? message.createReply(QVariantList { QStringLiteral("not a response") })
                          : message.createReply(QVariantList { true, QVariant::fromValue(qlonglong(0)), QString() }));
    return true;
}
