#include "TriskVXLocalService.h"

#include "TriskVXHalvaneLogging.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

TriskVXLocalService::TriskVXLocalService(QObject *parent)
    : TriskVXLocalService(TriskVXServiceLocation::fromEnvironment(), parent)
{
}

TriskVXLocalService::TriskVXLocalService(const TriskVXServiceLocation &location, QObject *parent)
    : QObject(parent)
    , m_location(location)
{
    if (!m_location.bus().isConnected())
        return;
    auto *watcher = new QDBusServiceWatcher(location.serviceName(), location.bus(),
                                            QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, &TriskVXLocalService::refresh);
    refresh();
}

QUrl TriskVXLocalService::url() const
{
    return m_activatable || m_running ? m_location.url() : QUrl();
}

void TriskVXLocalService::refresh()
{
    if (!m_location.bus().isConnected())
        return;
    const QString busService = QStringLiteral("org.freedesktop.DBus");
    const QString busPath = QStringLiteral("/org/freedesktop/DBus");
    m_answersAwaited = 2;
    auto finishOne = [this] {
        if (--m_answersAwaited == 0)
            Q_EMIT refreshed();
    };

    QDBusMessage activatable
        = QDBusMessage::createMethodCall(busService, busPath, busService, QStringLiteral("ListActivatableNames"));
    auto *activatableWatcher = new QDBusPendingCallWatcher(m_location.bus().asyncCall(activatable), this);
    connect(activatableWatcher, &QDBusPendingCallWatcher::finished, this,
            [this, finishOne](QDBusPendingCallWatcher *call) {
                call->deleteLater();
                QDBusPendingReply<QStringList> reply = *call;
                if (reply.isError())
                    qCWarning(lcHalvane).noquote()
                        << QStringLiteral("cannot list activatable services: %1").arg(reply.error().message());
                else
                    setState(reply.value().contains(m_location.serviceName()), m_running);
                finishOne();
            });

    QDBusMessage owner
        = QDBusMessage::createMethodCall(busService, busPath, busService, QStringLiteral("NameHasOwner"));
    owner << m_location.serviceName();
    auto *ownerWatcher = new QDBusPendingCallWatcher(m_location.bus().asyncCall(owner), this);
    connect(ownerWatcher, &QDBusPendingCallWatcher::finished, this, [this, finishOne](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        QDBusPendingReply<bool> reply = *call;
        if (!reply.isError())
            setState(m_activatable, reply.value());
        finishOne();
    });
}

void TriskVXLocalService::setState(bool activatable, bool running)
{
    const QUrl before = url();
    m_activatable = activatable;
    m_running = running;
    if (url() != before)
        Q_EMIT urlChanged();
}
