#pragma once

#include "TriskVXUserNotification.h"

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QStringList>

class OrgFreedesktopNotificationsInterface;
class QDBusServiceWatcher;
class TriskVXUserNotificationCenterDelegate;

// The program's notifications on the desktop's notification server: delivers them, keeps the list of
// those that should be on screen, withdraws them, and tells its delegate of clicks. The list outlives
// the server: while none answers, deliveries wait, and when one starts (or restarts) everything on the
// list is shown again. No call ever waits for the server.
class TriskVXUserNotificationCenter : public QObject
{
    Q_OBJECT

public:
    // The server's well-known name on the bus.
    static QString defaultService();

    explicit TriskVXUserNotificationCenter(const QDBusConnection &bus, const QString &service = defaultService(),
                                           QObject *parent = nullptr);
    ~TriskVXUserNotificationCenter() override;

    // Who the notifications say they come from: the name servers group by, the icon, and the desktop
    // entry (without .desktop) that servers read the program's name, icon and settings from.
    void setApplicationName(const QString &name) { m_applicationName = name; }
    void setApplicationIcon(const QString &icon) { m_applicationIcon = icon; }
    void setDesktopEntry(const QString &entry) { m_desktopEntry = entry; }

    // Shows it, replacing the one on the list with the same identifier; one without an identifier gets a
    // fresh one. It is on the list at once, whether or not a server has answered yet.
    void deliverNotification(const TriskVXUserNotification &notification);
    // Those that should be on screen, oldest first: delivered and neither withdrawn nor closed by the
    // server or the person.
    QList<TriskVXUserNotification> deliveredNotifications() const;
    // Takes it (by identifier) off the list and off the screen.
    void removeDeliveredNotification(const TriskVXUserNotification &notification);
    void removeAllDeliveredNotifications();

    TriskVXUserNotificationCenterDelegate *delegate() const { return m_delegate; }
    void setDelegate(TriskVXUserNotificationCenterDelegate *delegate) { m_delegate = delegate; }

    // Whether a server answered and is still on the bus, and what it said it can do.
    bool isServerAvailable() const { return m_available; }
    QStringList capabilities() const { return m_capabilities; }

Q_SIGNALS:
    // The server has shown it (under the server's id) or has refused it.
    void notificationShown(const QString &identifier, uint serverId);
    void notificationFailed(const QString &identifier, const QString &reason);
    void serverAvailableChanged(bool available);

private:
    struct Entry
    {
        TriskVXUserNotification notification;
        uint serverId = 0;
        // The Notify call in flight for this entry (0: none); an answer with another number is stale.
        quint64 sending = 0;
        // Changed while a Notify was in flight: sent again, replacing, once the id is known.
        bool changed = false;
    };

    void askCapabilities();
    void ownerChanged(const QString &service, const QString &oldOwner, const QString &newOwner);
    void send(Entry &entry);
    void close(uint serverId);
    QString bodyOf(const TriskVXUserNotification &notification) const;
    QStringList actionsOf(const TriskVXUserNotification &notification) const;
    QVariantMap hintsOf(const TriskVXUserNotification &notification) const;
    Entry *entryWithIdentifier(const QString &identifier);
    Entry *entryWithServerId(uint serverId);
    void actionInvoked(uint serverId, const QString &actionKey);
    void notificationClosed(uint serverId, uint reason);
    void setAvailable(bool available);

    QDBusConnection m_bus;
    QString m_service;
    OrgFreedesktopNotificationsInterface *m_server;
    QDBusServiceWatcher *m_watcher;
    QList<Entry> m_entries;
    TriskVXUserNotificationCenterDelegate *m_delegate = nullptr;
    QString m_applicationName;
    QString m_applicationIcon;
    QString m_desktopEntry;
    QStringList m_capabilities;
    bool m_available = false;
    bool m_asking = false;
    bool m_askAgain = false;
    // Bumped when the server goes: answers of the old server are not applied.
    quint64 m_serverGeneration = 0;
    quint64 m_nextCall = 0;
    quint64 m_nextIdentifier = 0;
};
