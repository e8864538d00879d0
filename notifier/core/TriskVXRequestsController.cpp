#include "TriskVXRequestsController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXRequest.h"
#include "TriskVXResponse.h"

const QString TriskVXRequestsControllerNotificationRequestError
    = QStringLiteral("TriskVXRequestsControllerNotificationRequestError");
const QString TriskVXRequestsControllerNotificationPendingEmpty
    = QStringLiteral("TriskVXRequestsControllerNotificationPendingEmpty");

TriskVXRequestsController::TriskVXRequestsController(QObject *parent)
    : QObject(parent)
{
}

TriskVXRequestsController::~TriskVXRequestsController()
{
    TriskVXNotificationCenter::defaultCenter()->removeObserver(m_notifications);
    m_notifications = nullptr;
}

TriskVXRequestsController *TriskVXRequestsController::requestsControllerWithConnection(TriskVXConnection *aConnection,
                                                                                       QObject *parent)
{
    auto *controller = new TriskVXRequestsController(parent);
    try {
        if (controller->initWithConnection(aConnection))
            return controller;
    } catch (...) {
        delete controller;
        throw;
    }
    delete controller;
    return nullptr;
}

bool TriskVXRequestsController::initWithConnection(TriskVXConnection *aConnection)
{
    TRISK_PARAMETER_ASSERT(aConnection != nil);
    m_connection = aConnection;
    // Every notification of the connection, whatever its name, delivered on the posting thread.
    m_notifications = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
        QString(), aConnection, nullptr, [this](const TriskVXNotification &notification) {
            if (notification.name() == TriskVXConnectionNotificationDidBecomeInvalid) {
                qCInfo(lcTriskNotifier).noquote() << QStringLiteral("Disconnected.");
                setPending(0);
            } else if (notification.name() == TriskVXConnectionNotificationDidAuthenticate) {
                const bool authenticated = m_connection && m_connection->isAuthenticated();
                qCInfo(lcTriskNotifier).noquote() << QStringLiteral("Authenticated: %1").arg(int(authenticated));
                if (!authenticated)
                    setPending(0);
            }
        });
    return true;
}

void TriskVXRequestsController::setPending(quint64 pending)
{
    if (m_pending == pending)
        return;
    m_pending = pending;
    Q_EMIT pendingChanged(m_pending);
}

bool TriskVXRequestsController::canSend() const
{
    return m_connection && m_connection->isValid();
}

void TriskVXRequestsController::sendRequestLocalisedSummary(const TriskVXRequest *aRequest, const QString &summary)
{
    TRISK_PARAMETER_ASSERT(aRequest != nil);
    const bool accepted = m_connection
        && m_connection->send(
            aRequest,
            [controller = QPointer<TriskVXRequestsController>(this), summary](const TriskVXResponse &response) {
                if (!controller)
                    return;
                controller->decrementPending();
                if (!response.succeeded())
                    // The full status goes to the log; the notification's "key" keeps its low 32 bits.
                    controller->issueErrorReason(summary, response.status());
            });
    if (accepted)
        incremementPending();
    else
        issueErrorReason(summary, kVXStatusRequestNotSent);
}

void TriskVXRequestsController::incremementPending()
{
    setPending(m_pending + 1);
}

void TriskVXRequestsController::decrementPending()
{
    if (m_pending == 0) {
        qCInfo(lcTriskNotifier).noquote() << QStringLiteral("decrementPending already zero.");
        return;
    }
    setPending(m_pending - 1);
    if (m_pending == 0)
        TriskVXNotificationCenter::defaultCenter()->postNotificationNameObject(
            TriskVXRequestsControllerNotificationPendingEmpty, this);
}

void TriskVXRequestsController::issueErrorReason(const QString &summary, qint64 reason)
{
    qCWarning(lcTriskNotifier).noquote() << QStringLiteral("Halvane request failed: %1, %2").arg(summary).arg(reason);
    // Without a summary the user info stays empty: the status goes only with its summary.
    QVariantMap userInfo;
    if (!summary.isNull()) {
        userInfo.insert(QStringLiteral("summary"), summary);
        userInfo.insert(QStringLiteral("key"), QVariant::fromValue(qint32(reason)));
    }
    TriskVXNotificationCenter::defaultCenter()->postNotificationNameObjectUserInfo(
        TriskVXRequestsControllerNotificationRequestError, this, userInfo);
}
