#include "FakeSystemServices.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>

using PolkitDetails = QMap<QString, QString>;

FakeSystemServices::FakeSystemServices(QObject *parent)
    : QDBusVirtualObject(parent)
    , m_connectionName(QStringLiteral("fake-system-%1").arg(quintptr(this)))
{
    qDBusRegisterMetaType<PolkitDetails>();
}

bool FakeSystemServices::start(const QString &address)
{
    QDBusConnection bus = QDBusConnection::connectToBus(address, m_connectionName);
    return bus.isConnected() && bus.registerVirtualObject(QStringLiteral("/org/freedesktop/PolicyKit1/Authority"), this)
        && bus.registerVirtualObject(QStringLiteral("/org/freedesktop/login1"), this)
        && bus.registerService(QStringLiteral("org.freedesktop.PolicyKit1"))
        && bus.registerService(QStringLiteral("org.freedesktop.login1"));
}

bool FakeSystemServices::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.interface() == QLatin1String("org.freedesktop.login1.Manager")) {
        powerCalls.append(message.member());
        if (failPowerCalls)
            return connection.send(message.createErrorReply(
                QStringLiteral("org.freedesktop.login1.OperationInProgress"), QStringLiteral("busy")));
        return connection.send(message.createReply());
    }
    if (message.interface() != QLatin1String("org.freedesktop.PolicyKit1.Authority")
        || message.member() != QLatin1String("CheckAuthorization"))
        return false;
    const QList<QVariant> arguments = message.arguments();
    const QDBusArgument subject = arguments.value(0).value<QDBusArgument>();
    QString kind;
    QVariantMap details;
    subject.beginStructure();
    subject >> kind >> details;
    subject.endStructure();
    subjects.append(details.value(QStringLiteral("name")).toString());
    interactive.append(arguments.value(3).toUInt() & 1);
    const Answer answer = answers.value(arguments.value(1).toString(), Answer::No);
    QDBusArgument result;
    result.beginStructure();
    result << (answer == Answer::Yes) << (answer == Answer::Authenticate) << PolkitDetails();
    result.endStructure();
    return connection.send(message.createReply(QVariant::fromValue(result)));
}
