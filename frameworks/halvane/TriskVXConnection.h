#pragma once

#include "TriskVXRequest.h"
#include "TriskVXResponse.h"
#include "TriskVXServiceLocation.h"

#include <QDBusError>
#include <QObject>
#include <QPointer>

#include <functional>

class OrgHalvaneScheduler1Interface;
class OrgFreedesktopDBusPeerInterface;
class QDBusServiceWatcher;
class QTimer;
class TriskVXClock;
class TriskVXConnectionDelegate;
class TriskVXDeadlineTimer;

// The client's link to the scheduler service over D-Bus: authenticates, carries requests, notices the
// service leaving and coming back, and reconnects.
class TriskVXConnection : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool valid READ isValid NOTIFY validChanged)
    Q_PROPERTY(bool authenticated READ isAuthenticated NOTIFY authenticatedChanged)
    Q_PROPERTY(bool autoReconnect READ autoReconnect WRITE setAutoReconnect)
    Q_PROPERTY(bool keepAlive READ keepAlive WRITE setKeepAlive)
    Q_PROPERTY(int keepAliveInterval READ keepAliveInterval WRITE setKeepAliveInterval)

public:
    using CompletionHandler = std::function<void(const TriskVXResponse &)>;

    // The connection to the local service at the process's default location, already connecting; nil
    // (nullptr) when no bus can be reached.
    static TriskVXConnection *connection(QObject *parent = nullptr);
    static TriskVXConnection *connectionWithLocation(const TriskVXServiceLocation &location, QObject *parent = nullptr);

    ~TriskVXConnection() override;

    void setAutoReconnect(bool autoReconnect);
    bool autoReconnect() const { return m_autoReconnect; }
    // Keeping alive follows the service's bus name: its owner leaving or changing ends the link at once,
    // with no traffic and no wake-up while nothing happens. A ping every keepAliveInterval also notices a
    // service that hangs while it keeps its name; 0, the default, sends none.
    void setKeepAlive(bool keepAlive);
    bool keepAlive() const { return m_keepAlive; }
    void setKeepAliveInterval(int milliseconds);
    int keepAliveInterval() const { return m_keepAliveInterval; }
    // The clock the keep-alive counts its intervals on; the system clock unless set. With a manual
    // clock, moving it is what sends the pings and notices an unanswered one.
    void setClock(const TriskVXClock *clock);
    void setDelegate(TriskVXConnectionDelegate *delegate) { m_delegate = delegate; }
    TriskVXConnectionDelegate *delegate() const { return m_delegate; }

    // Starts (or restarts) connecting; the outcome arrives as TriskVXConnectionNotificationDidAuthenticate.
    void connect();
    bool isValid() const { return m_valid; }
    bool isAuthenticated() const { return m_authenticated; }

    // Queues the request. False when it cannot be sent (the handler then never runs); otherwise the
    // handler runs exactly once, on this object's thread, always after send has returned.
    bool send(const TriskVXRequest *request, CompletionHandler completionHandler);

    TriskVXServiceLocation location() const { return m_location; }
    // Maps a D-Bus error of a failed call to a status code (docs/protocol.md).
    static qint64 statusForError(const QDBusError &error);

Q_SIGNALS:
    void validChanged(bool valid);
    void authenticatedChanged(bool authenticated);
    void didAuthenticate();
    void didBecomeInvalid();
    // An attempt to connect failed while the connection was not valid (no invalidation follows).
    void connectionAttemptFailed(const QString &reason);

private:
    TriskVXConnection(const TriskVXServiceLocation &location, QObject *parent);

    void serviceOwnerChanged(const QString &service, const QString &oldOwner, const QString &newOwner);
    void authenticationFinished(bool accepted, const QDBusError &error);
    void invalidate(const QString &why);
    void scheduleRetry();
    void keepAliveTick();
    void updateKeepAliveTimer();

    TriskVXServiceLocation m_location;
    OrgHalvaneScheduler1Interface *m_scheduler = nullptr;
    OrgFreedesktopDBusPeerInterface *m_peer = nullptr;
    QDBusServiceWatcher *m_watcher = nullptr;
    const TriskVXClock *m_clock = nullptr;
    TriskVXDeadlineTimer *m_keepAliveTimer = nullptr;
    QTimer *m_retryTimer = nullptr;
    TriskVXConnectionDelegate *m_delegate = nullptr;
    bool m_autoReconnect = false;
    bool m_keepAlive = false;
    int m_keepAliveInterval = 0;
    int m_retryDelay = 0;
    bool m_valid = false;
    bool m_authenticated = false;
    bool m_connecting = false;
    bool m_pingInFlight = false;
    quint64 m_generation = 0;
};
