#include "TriskVXConnection.h"

#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConnectionDelegate.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXNotificationCenter.h"
#include "halvane_properties_interface.h"
#include "halvane_scheduler_interface.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QTimer>

namespace {
// The notifier checks that the client framework is there by looking this class up by name.
const TriskVXClassRegistration kRegistration(QStringLiteral("TriskVXConnection"), [] {
    return nullptr;
});

// Retries while the service cannot be reached back off from one second to a minute; an appearing
// bus name cuts the wait short.
const int kFirstRetryDelay = 1000;
const int kLongestRetryDelay = 60000;
} // namespace

TriskVXConnection *TriskVXConnection::connection(QObject *parent)
{
    return connectionWithLocation(TriskVXServiceLocation::fromEnvironment(), parent);
}

TriskVXConnection *TriskVXConnection::connectionWithLocation(const TriskVXServiceLocation &location, QObject *parent)
{
    if (!location.bus().isConnected()) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("cannot reach the %1 bus: %2")
                                              .arg(location.busDescription(), location.bus().lastError().message());
        return nullptr;
    }
    auto *connection = new TriskVXConnection(location, parent);
    connection->connect();
    return connection;
}

TriskVXConnection::TriskVXConnection(const TriskVXServiceLocation &location, QObject *parent)
    : QObject(parent)
    , m_location(location)
{
    TriskVXDBusPropertyList::registerTypes();
    m_scheduler = new OrgHalvaneScheduler1Interface(location.serviceName(), kVXDBusObjectPath, location.bus(), this);
    m_peer = new OrgFreedesktopDBusPeerInterface(location.serviceName(), kVXDBusObjectPath, location.bus(), this);
    m_watcher = new QDBusServiceWatcher(location.serviceName(), location.bus(),
                                        QDBusServiceWatcher::WatchForOwnerChange, this);
    QObject::connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                     &TriskVXConnection::serviceOwnerChanged);
    setClock(nullptr);
    m_retryTimer = new QTimer(this);
    m_retryTimer->setSingleShot(true);
    QObject::connect(m_retryTimer, &QTimer::timeout, this, &TriskVXConnection::connect);
}

TriskVXConnection::~TriskVXConnection() = default;

void TriskVXConnection::setAutoReconnect(bool autoReconnect)
{
    m_autoReconnect = autoReconnect;
    if (!m_autoReconnect)
        m_retryTimer->stop();
    else if (!m_valid && !m_connecting)
        scheduleRetry();
}

void TriskVXConnection::setKeepAlive(bool keepAlive)
{
    m_keepAlive = keepAlive;
    updateKeepAliveTimer();
}

void TriskVXConnection::setKeepAliveInterval(int milliseconds)
{
    m_keepAliveInterval = qMax(0, milliseconds);
    updateKeepAliveTimer();
}

void TriskVXConnection::setClock(const TriskVXClock *clock)
{
    m_clock = clock ? clock : TriskVXClock::systemClock();
    delete m_keepAliveTimer;
    m_keepAliveTimer = new TriskVXDeadlineTimer(m_clock, this);
    QObject::connect(m_keepAliveTimer, &TriskVXDeadlineTimer::timeout, this, &TriskVXConnection::keepAliveTick);
    // A clock set back must not hold the next ping off by the size of the step.
    QObject::connect(m_keepAliveTimer, &TriskVXDeadlineTimer::clockChanged, this, [this] {
        if (m_clock->now().msecsTo(m_keepAliveTimer->deadline()) > m_keepAliveInterval)
            updateKeepAliveTimer();
    });
    updateKeepAliveTimer();
}

void TriskVXConnection::updateKeepAliveTimer()
{
    // A ping not answered within one interval means the service hangs.
    if (m_keepAliveInterval > 0)
        m_peer->setTimeout(m_keepAliveInterval);
    if (m_keepAlive && m_valid && m_keepAliveInterval > 0)
        m_keepAliveTimer->start(m_clock->now().addMSecs(m_keepAliveInterval));
    else
        m_keepAliveTimer->stop();
}

void TriskVXConnection::connect()
{
    if (m_connecting)
        return;
    m_retryTimer->stop();
    if (!m_location.bus().isConnected()) {
        qCWarning(lcHalvane).noquote() << QStringLiteral("cannot connect to %1: the %2 bus is gone")
                                              .arg(m_location.serviceName(), m_location.busDescription());
        Q_EMIT connectionAttemptFailed(QStringLiteral("bus disconnected"));
        invalidate(QStringLiteral("bus disconnected"));
        return;
    }
    m_connecting = true;
    const quint64 generation = ++m_generation;
    auto *watcher = new QDBusPendingCallWatcher(m_scheduler->Authenticate(), this);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *call) {
            call->deleteLater();
            if (generation != m_generation)
                return;
            QDBusPendingReply<bool, uint> reply = *call;
            if (reply.isError()) {
                authenticationFinished(false, reply.error());
                return;
            }
            if (reply.argumentAt<1>() != kVXProtocolVersion) {
                authenticationFinished(false,
                                       QDBusError(QDBusError::NotSupported,
                                                  QStringLiteral("the service speaks protocol version %1, not %2")
                                                      .arg(reply.argumentAt<1>())
                                                      .arg(kVXProtocolVersion)));
                return;
            }
            authenticationFinished(reply.argumentAt<0>(), QDBusError());
        });
}

void TriskVXConnection::authenticationFinished(bool accepted, const QDBusError &error)
{
    m_connecting = false;
    if (error.isValid()) {
        qCInfo(lcHalvane).noquote() << QStringLiteral("cannot reach %1 on the %2 bus: %3")
                                           .arg(m_location.serviceName(), m_location.busDescription(), error.message());
        if (m_valid) {
            invalidate(error.message());
        } else {
            Q_EMIT connectionAttemptFailed(error.message());
            scheduleRetry();
        }
        return;
    }
    m_retryDelay = 0;
    const bool wasValid = m_valid;
    const bool wasAuthenticated = m_authenticated;
    m_valid = true;
    m_authenticated = accepted;
    updateKeepAliveTimer();
    if (!wasValid)
        Q_EMIT validChanged(true);
    if (wasAuthenticated != accepted)
        Q_EMIT authenticatedChanged(accepted);
    qCInfo(lcHalvane).noquote() << QStringLiteral("connected to %1 on the %2 bus, %3")
                                       .arg(m_location.serviceName(), m_location.busDescription(),
                                            accepted ? QStringLiteral("accepted") : QStringLiteral("refused"));
    Q_EMIT didAuthenticate();
    TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(TriskVXConnectionNotificationDidAuthenticate,
                                                                           this);
}

void TriskVXConnection::invalidate(const QString &why)
{
    // Answers still on their way belong to the link that just ended.
    ++m_generation;
    m_connecting = false;
    m_pingInFlight = false;
    if (!m_valid) {
        scheduleRetry();
        return;
    }
    qCInfo(lcHalvane).noquote() << QStringLiteral("connection to %1 invalid: %2").arg(m_location.serviceName(), why);
    const bool wasAuthenticated = m_authenticated;
    m_valid = false;
    m_authenticated = false;
    updateKeepAliveTimer();
    Q_EMIT validChanged(false);
    if (wasAuthenticated)
        Q_EMIT authenticatedChanged(false);
    Q_EMIT didBecomeInvalid();
    TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(
        TriskVXConnectionNotificationDidBecomeInvalid, this);
    if (m_delegate)
        m_delegate->connectionDidInvalidate(this);
    scheduleRetry();
}

void TriskVXConnection::scheduleRetry()
{
    if (!m_autoReconnect || m_valid || m_connecting || m_retryTimer->isActive())
        return;
    m_retryDelay = m_retryDelay == 0 ? kFirstRetryDelay : qMin(m_retryDelay * 2, kLongestRetryDelay);
    m_retryTimer->start(m_retryDelay);
}

void TriskVXConnection::serviceOwnerChanged(const QString &service, const QString &oldOwner, const QString &newOwner)
{
    Q_UNUSED(service)
    if (!oldOwner.isEmpty() && m_valid)
        invalidate(newOwner.isEmpty() ? QStringLiteral("the service left the bus")
                                      : QStringLiteral("the service was replaced"));
    if (!newOwner.isEmpty() && m_autoReconnect && !m_valid) {
        m_retryDelay = 0;
        m_connecting = false;
        connect();
    }
}

void TriskVXConnection::keepAliveTick()
{
    if (!m_valid)
        return;
    if (m_pingInFlight) {
        invalidate(QStringLiteral("keep-alive failed: no answer within %1 ms").arg(m_keepAliveInterval));
        return;
    }
    m_keepAliveTimer->start(m_clock->now().addMSecs(m_keepAliveInterval));
    m_pingInFlight = true;
    const quint64 generation = m_generation;
    auto *watcher = new QDBusPendingCallWatcher(m_peer->Ping(), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this,
                     [this, generation](QDBusPendingCallWatcher *call) {
                         call->deleteLater();
                         if (generation != m_generation)
                             return;
                         m_pingInFlight = false;
                         if (call->isError())
                             invalidate(QStringLiteral("keep-alive failed: %1").arg(call->error().message()));
                     });
}

bool TriskVXConnection::send(const TriskVXRequest *request, CompletionHandler completionHandler)
{
    if (!request || !m_valid || !m_location.bus().isConnected())
        return false;
    const QVariantMap parameters = TriskVXDBusPropertyList::encodeMap(request->parameterDictionary());
    QDBusPendingCall call = m_scheduler->asyncCallWithArgumentList(request->request(), { QVariant(parameters) });
    // The watcher emits finished from the event loop even when the answer is already there, so the
    // handler always runs after send has returned.
    auto *watcher = new QDBusPendingCallWatcher(call, this);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, this,
        [handler = std::move(completionHandler), name = request->request()](QDBusPendingCallWatcher *finished) {
            finished->deleteLater();
            const QDBusMessage reply = finished->reply();
            TriskVXResponse response;
            if (reply.type() == QDBusMessage::ErrorMessage) {
                const QDBusError error(reply);
                response = TriskVXResponse(false, statusForError(error), error.message());
            } else {
                const QList<QVariant> arguments = reply.arguments();
                if (arguments.size() < 2 || arguments.at(0).typeId() != QMetaType::Bool
                    || arguments.at(1).typeId() != QMetaType::LongLong) {
                    qCWarning(lcHalvane).noquote()
                        << QStringLiteral("malformed reply to %1: signature %2").arg(name, reply.signature());
                    response = TriskVXResponse(false, kVXStatusMalformedReply, QStringLiteral("malformed reply"));
                } else {
                    response = TriskVXResponse(arguments.at(0).toBool(), arguments.at(1).toLongLong(),
                                               arguments.value(2).toString());
                }
            }
            if (handler)
                handler(response);
        });
    return true;
}

qint64 TriskVXConnection::statusForError(const QDBusError &error)
{
    switch (error.type()) {
    case QDBusError::UnknownMethod:
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownObject:
        return kVXStatusUnknownRequest;
    case QDBusError::InvalidArgs:
    case QDBusError::InvalidSignature:
        return kVXStatusInvalidParameter;
    case QDBusError::AccessDenied:
        return kVXStatusNotAuthorised;
    case QDBusError::ServiceUnknown:
    case QDBusError::Disconnected:
        return kVXStatusServiceUnavailable;
    default:
        return kVXStatusNoReply;
    }
}
