#include "TriskVXDistributedNotificationCenter.h"

#include "TriskVXPlatformLogging.h"

#include <QDBusArgument>
#include <QDBusMessage>

#include <algorithm>

namespace {
// Checked by hand: a regular expression here would map and compile the PCRE engine at every start for
// one check.
bool isMemberName(const QString &name)
{
    const auto isLetter = [](QChar c) {
        return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || c == u'_';
    };
    if (name.isEmpty() || name.size() > 255 || !isLetter(name.front()))
        return false;
    return std::all_of(name.cbegin(), name.cend(), [&](QChar c) {
        return isLetter(c) || (c >= u'0' && c <= u'9');
    });
}
} // namespace

TriskVXDistributedNotificationCenter::TriskVXDistributedNotificationCenter(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
{
}

TriskVXDistributedNotificationCenter *TriskVXDistributedNotificationCenter::defaultCenter()
{
    static TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    return &center;
}

QString TriskVXDistributedNotificationCenter::path()
{
    return QStringLiteral("/org/halvane/DistributedNotifications");
}

QString TriskVXDistributedNotificationCenter::interfaceName()
{
    return QStringLiteral("org.halvane.DistributedNotifications1");
}

bool TriskVXDistributedNotificationCenter::postNotificationNameObjectUserInfo(const QString &name,
                                                                              const QString &object,
                                                                              const QVariantMap &userInfo)
{
    if (!isMemberName(name)) {
        qCWarning(lcTriskPlatform).noquote() << QStringLiteral("cannot post %1: not a D-Bus member name").arg(name);
        return false;
    }
    QDBusMessage signal = QDBusMessage::createSignal(path(), interfaceName(), name);
    signal << object << userInfo;
    return m_bus.send(signal);
}

bool TriskVXDistributedNotificationCenter::addObserverSelectorNameObject(QObject *observer, Block selector,
                                                                         const QString &name, const QString &object)
{
    if (!isMemberName(name))
        return false;
    if (!m_subscribed.contains(name)) {
        // QDBusConnection::connect has only the string form for its receiver.
        if (!m_bus.connect(QString(), path(), interfaceName(), name, this, SLOT(received(QDBusMessage))))
            return false;
        m_subscribed.append(name);
    }
    m_registrations.append({ observer, name, object, std::move(selector) });
    return true;
}

void TriskVXDistributedNotificationCenter::removeObserverNameObject(QObject *observer, const QString &name,
                                                                    const QString &object)
{
    m_registrations.removeIf([&](const Registration &registration) {
        return registration.observer == observer && (name.isEmpty() || registration.name == name)
            && (object.isEmpty() || registration.object == object);
    });
}

void TriskVXDistributedNotificationCenter::received(const QDBusMessage &message)
{
    const QList<QVariant> arguments = message.arguments();
    const QString object = arguments.value(0).toString();
    const QVariantMap userInfo = qdbus_cast<QVariantMap>(arguments.value(1));
    m_registrations.removeIf([](const Registration &registration) {
        return registration.observer.isNull();
    });
    const QList<Registration> snapshot = m_registrations;
    for (const Registration &registration : snapshot) {
        if (registration.observer.isNull() || registration.name != message.member())
            continue;
        if (!registration.object.isEmpty() && registration.object != object)
            continue;
        registration.block(message.member(), object, userInfo);
    }
}
