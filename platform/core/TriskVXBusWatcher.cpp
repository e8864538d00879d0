#include "TriskVXBusWatcher.h"

TriskVXBusWatcher::TriskVXBusWatcher(const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
{
    QDBusConnection connection = bus;
    // QDBusConnection::connect has only the string form for its receiver.
    m_watching = connection.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                                    QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
                                    SLOT(localDisconnected()));
}

void TriskVXBusWatcher::localDisconnected()
{
    Q_EMIT busDisconnected();
}
