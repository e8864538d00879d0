#include "TriskVXServiceLocation.h"

#include "TriskVXConstants.h"

#include <QUrlQuery>

TriskVXServiceLocation::TriskVXServiceLocation(const QDBusConnection &bus, const QString &serviceName,
                                               const QString &busDescription)
    : m_bus(bus)
    , m_serviceName(serviceName)
    , m_busDescription(busDescription)
{
}

TriskVXServiceLocation TriskVXServiceLocation::fromEnvironment(const QString &defaultBus)
{
    // Set but empty counts as unset.
    QString busSetting = qEnvironmentVariable("HALVANE_BUS");
    if (busSetting.isEmpty())
        busSetting = defaultBus;
    QString serviceName = qEnvironmentVariable("HALVANE_SERVICE");
    if (serviceName.isEmpty())
        serviceName = kVXDBusServiceName;
    if (busSetting == QLatin1String("session"))
        return TriskVXServiceLocation(QDBusConnection::sessionBus(), serviceName, busSetting);
    if (busSetting == QLatin1String("system"))
        return TriskVXServiceLocation(QDBusConnection::systemBus(), serviceName, busSetting);
    // Any other value is a bus address; the connection name keeps one connection per address.
    return TriskVXServiceLocation(QDBusConnection::connectToBus(busSetting, QStringLiteral("halvane:") + busSetting),
                                  serviceName, busSetting);
}

TriskVXServiceLocation TriskVXServiceLocation::onBus(const QDBusConnection &bus, const QString &serviceName)
{
    return TriskVXServiceLocation(bus, serviceName, bus.name());
}

QUrl TriskVXServiceLocation::url() const
{
    QUrl url;
    url.setScheme(QStringLiteral("dbus"));
    url.setPath(m_serviceName);
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("bus"), m_busDescription);
    url.setQuery(query);
    return url;
}
