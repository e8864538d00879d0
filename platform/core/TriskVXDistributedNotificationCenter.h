#pragma once

#include "TriskVXNotification.h"

#include <QDBusConnection>
#include <QObject>

#include <functional>

// Notifications between processes, on the session bus: a notification is the signal named after it on
// org.halvane.DistributedNotifications1 at /org/halvane/DistributedNotifications, with its object (a
// string) and user info; every process that observes the name and object hears it, the poster too.
class TriskVXDistributedNotificationCenter : public QObject
{
    Q_OBJECT

public:
    using Block = std::function<void(const QString &name, const QString &object, const QVariantMap &userInfo)>;

    explicit TriskVXDistributedNotificationCenter(const QDBusConnection &bus, QObject *parent = nullptr);

    // The session bus's centre.
    static TriskVXDistributedNotificationCenter *defaultCenter();
    static QString path();
    static QString interfaceName();

    // Posts; false when the name cannot be a D-Bus member name or the bus is gone.
    bool postNotificationNameObjectUserInfo(const QString &name, const QString &object,
                                            const QVariantMap &userInfo = {});
    // An empty object matches any. The registration ends with the observer.
    bool addObserverSelectorNameObject(QObject *observer, Block selector, const QString &name, const QString &object);
    void removeObserverNameObject(QObject *observer, const QString &name, const QString &object);

private Q_SLOTS:
    void received(const QDBusMessage &message);

private:
    struct Registration
    {
        QPointer<QObject> observer;
        QString name;
        QString object;
        Block block;
    };

    QDBusConnection m_bus;
    QList<Registration> m_registrations;
    QStringList m_subscribed;
};
