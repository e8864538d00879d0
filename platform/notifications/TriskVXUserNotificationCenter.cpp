#include "TriskVXUserNotificationCenter.h"

#include "TriskVXUserNotificationCenterDelegate.h"
#include "TriskVXUserNotificationLogging.h"
#include "notifications_interface.h"

#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>

namespace {
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
// The action servers run when the body is clicked; ours for the button.
const QString kDefaultAction = QStringLiteral("default");
const QString kButtonAction = QStringLiteral("action-button");
const QString kActions = QStringLiteral("actions");
const QString kBodyMarkup = QStringLiteral("body-markup");
const QString kSound = QStringLiteral("sound");
// The server chooses how long a notification stays.
const int kServerTimeout = -1;
} // namespace

QString TriskVXUserNotificationCenter::defaultService()
{
    return QStringLiteral("org.freedesktop.Notifications");
}

TriskVXUserNotificationCenter::TriskVXUserNotificationCenter(const QDBusConnection &bus, const QString &service,
                                                             QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_service(service)
    , m_server(new OrgFreedesktopNotificationsInterface(service, kPath, bus, this))
    , m_watcher(new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange, this))
{
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &TriskVXUserNotificationCenter::ownerChanged);
    connect(m_server, &OrgFreedesktopNotificationsInterface::ActionInvoked, this,
            &TriskVXUserNotificationCenter::actionInvoked);
    connect(m_server, &OrgFreedesktopNotificationsInterface::NotificationClosed, this,
            &TriskVXUserNotificationCenter::notificationClosed);
    askCapabilities();
}

TriskVXUserNotificationCenter::~TriskVXUserNotificationCenter() = default;

void TriskVXUserNotificationCenter::askCapabilities()
{
    // Asking also starts a server that the bus can activate. A server that came or went while a question
    // was out is asked again once it is answered.
    if (m_asking) {
        m_askAgain = true;
        return;
    }
    m_asking = true;
    m_askAgain = false;
    auto *watcher = new QDBusPendingCallWatcher(m_server->GetCapabilities(), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        m_asking = false;
        const QDBusPendingReply<QStringList> reply = *watcher;
        if (m_askAgain) {
            askCapabilities();
            return;
        }
        if (reply.isError()) {
            qCInfo(lcTriskUserNotifications).noquote()
                << QStringLiteral("no notification server on the bus yet (%1); notifications wait for one")
                       .arg(reply.error().message());
            return;
        }
        m_capabilities = reply.value();
        setAvailable(true);
        for (Entry &entry : m_entries) {
            if (entry.serverId == 0 && entry.sending == 0)
                send(entry);
        }
    });
}

void TriskVXUserNotificationCenter::ownerChanged(const QString &service, const QString &oldOwner,
                                                 const QString &newOwner)
{
    Q_UNUSED(service)
    if (!oldOwner.isEmpty()) {
        // What the old server showed went with it; its ids mean nothing to the next one.
        ++m_serverGeneration;
        m_askAgain = m_asking;
        for (Entry &entry : m_entries) {
            entry.serverId = 0;
            entry.sending = 0;
            entry.changed = false;
        }
        setAvailable(false);
    }
    if (!newOwner.isEmpty())
        askCapabilities();
}

void TriskVXUserNotificationCenter::setAvailable(bool available)
{
    if (m_available == available)
        return;
    m_available = available;
    Q_EMIT serverAvailableChanged(available);
}

void TriskVXUserNotificationCenter::deliverNotification(const TriskVXUserNotification &notification)
{
    TriskVXUserNotification delivered = notification;
    if (delivered.identifier().isEmpty())
        delivered.setIdentifier(QStringLiteral("trisk-%1").arg(++m_nextIdentifier));
    Entry *entry = entryWithIdentifier(delivered.identifier());
    if (!entry) {
        m_entries.append(Entry { delivered });
        entry = &m_entries.last();
    } else {
        entry->notification = delivered;
    }
    if (entry->sending != 0)
        entry->changed = true;
    else if (m_available)
        send(*entry);
}

QList<TriskVXUserNotification> TriskVXUserNotificationCenter::deliveredNotifications() const
{
    QList<TriskVXUserNotification> delivered;
    delivered.reserve(m_entries.size());
    for (const Entry &entry : m_entries)
        delivered.append(entry.notification);
    return delivered;
}

void TriskVXUserNotificationCenter::removeDeliveredNotification(const TriskVXUserNotification &notification)
{
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        if (m_entries.at(i).notification.identifier() != notification.identifier())
            continue;
        // One still being sent is closed when its id comes back (the answer finds no entry).
        const uint serverId = m_entries.at(i).serverId;
        m_entries.removeAt(i);
        if (serverId != 0)
            close(serverId);
        return;
    }
}

void TriskVXUserNotificationCenter::removeAllDeliveredNotifications()
{
    const QList<TriskVXUserNotification> delivered = deliveredNotifications();
    for (const TriskVXUserNotification &notification : delivered)
        removeDeliveredNotification(notification);
}

void TriskVXUserNotificationCenter::send(Entry &entry)
{
    const TriskVXUserNotification &notification = entry.notification;
    const quint64 call = ++m_nextCall;
    const quint64 generation = m_serverGeneration;
    const QString identifier = notification.identifier();
    entry.sending = call;
    entry.changed = false;
    auto *watcher = new QDBusPendingCallWatcher(
        m_server->Notify(m_applicationName, entry.serverId, m_applicationIcon, notification.title(),
                         bodyOf(notification), actionsOf(notification), hintsOf(notification), kServerTimeout),
        this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, call, generation, identifier] {
        watcher->deleteLater();
        const QDBusPendingReply<uint> reply = *watcher;
        if (generation != m_serverGeneration)
            return;
        Entry *sent = entryWithIdentifier(identifier);
        const bool current = sent && sent->sending == call;
        if (reply.isError()) {
            const QString reason = reply.error().message();
            qCWarning(lcTriskUserNotifications).noquote()
                << QStringLiteral("cannot show the notification %1: %2").arg(identifier, reason);
            if (current)
                sent->sending = 0;
            Q_EMIT notificationFailed(identifier, reason);
            return;
        }
        if (!current) {
            // Withdrawn (or replaced by a later delivery) while the server was showing it.
            if (!sent || sent->serverId != reply.value())
                close(reply.value());
            return;
        }
        sent->serverId = reply.value();
        sent->sending = 0;
        Q_EMIT notificationShown(identifier, sent->serverId);
        if (sent->changed)
            send(*sent);
    });
}

void TriskVXUserNotificationCenter::close(uint serverId)
{
    auto *watcher = new QDBusPendingCallWatcher(m_server->CloseNotification(serverId), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, serverId] {
        watcher->deleteLater();
        // A notification the person closed already is an error to some servers, and harmless.
        if (watcher->isError())
            qCDebug(lcTriskUserNotifications).noquote()
                << QStringLiteral("cannot close notification %1: %2").arg(serverId).arg(watcher->error().message());
    });
}

QString TriskVXUserNotificationCenter::bodyOf(const TriskVXUserNotification &notification) const
{
    QStringList lines;
    for (const QString &line : { notification.subtitle(), notification.informativeText() }) {
        if (!line.isEmpty())
            lines.append(m_capabilities.contains(kBodyMarkup) ? line.toHtmlEscaped() : line);
    }
    return lines.join(QLatin1Char('\n'));
}

QStringList TriskVXUserNotificationCenter::actionsOf(const TriskVXUserNotification &notification) const
{
    // Without the capability a server would show action keys as text, or refuse them.
    if (!m_capabilities.contains(kActions))
        return {};
    QStringList actions { kDefaultAction, notification.title() };
    if (notification.hasActionButton() && !notification.actionButtonTitle().isEmpty())
        actions << kButtonAction << notification.actionButtonTitle();
    return actions;
}

QVariantMap TriskVXUserNotificationCenter::hintsOf(const TriskVXUserNotification &notification) const
{
    QVariantMap hints { { QStringLiteral("urgency"), QVariant::fromValue(uchar(notification.urgency())) } };
    if (!m_desktopEntry.isEmpty())
        hints.insert(QStringLiteral("desktop-entry"), m_desktopEntry);
    if (!notification.soundName().isEmpty() && m_capabilities.contains(kSound))
        hints.insert(QStringLiteral("sound-name"), notification.soundName());
    return hints;
}

TriskVXUserNotificationCenter::Entry *TriskVXUserNotificationCenter::entryWithIdentifier(const QString &identifier)
{
    for (Entry &entry : m_entries) {
        if (entry.notification.identifier() == identifier)
            return &entry;
    }
    return nullptr;
}

TriskVXUserNotificationCenter::Entry *TriskVXUserNotificationCenter::entryWithServerId(uint serverId)
{
    for (Entry &entry : m_entries) {
        if (entry.serverId == serverId && serverId != 0)
            return &entry;
    }
    return nullptr;
}

void TriskVXUserNotificationCenter::actionInvoked(uint serverId, const QString &actionKey)
{
    const Entry *entry = entryWithServerId(serverId);
    if (!entry || !m_delegate)
        return;
    TriskVXUserNotification notification = entry->notification;
    notification.setActivationType(actionKey == kButtonAction ? TriskVXUserNotification::ActionButtonClicked
                                                              : TriskVXUserNotification::ContentsClicked);
    m_delegate->userNotificationCenterDidActivateNotification(this, notification);
}

void TriskVXUserNotificationCenter::notificationClosed(uint serverId, uint reason)
{
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        if (m_entries.at(i).serverId == serverId && serverId != 0) {
            qCDebug(lcTriskUserNotifications).noquote() << QStringLiteral("notification %1 closed (reason %2)")
                                                               .arg(m_entries.at(i).notification.identifier())
                                                               .arg(reason);
            m_entries.removeAt(i);
            return;
        }
    }
}
