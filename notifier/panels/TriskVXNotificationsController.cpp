#include "TriskVXNotificationsController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXNotificationController.h"
#include "TriskVXPanelsLogging.h"

#include <QSet>

TriskVXNotificationsController::TriskVXNotificationsController(const TriskVXClock *clock, QObject *parent)
    : TriskVXNotifyObject(parent)
    , m_clock(clock)
{
}

TriskVXNotificationsController::~TriskVXNotificationsController()
{
    // The panels go with the notifier, without being closed first.
    qDeleteAll(m_notifications);
    m_notifications.clear();
}

void TriskVXNotificationsController::registerClass(const TriskVXClock *clock)
{
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXNotificationsController"), [clock] {
        return new TriskVXNotificationsController(clock);
    });
}

QSet<QString> TriskVXNotificationsController::observes() const
{
    return { kVXObserveNotificationsCurrent };
}

void TriskVXNotificationsController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    if (observed == kVXObserveNotificationsCurrent)
        updateWithCurrent(value);
}

void TriskVXNotificationsController::updateWithCurrent(const QVariant &current)
{
    QSet<QString> seen;
    const QVariantList queuedTriggers = current.toList();
    for (const QVariant &queuedTrigger : queuedTriggers) {
        const QVariant identifier = identifierOfQueuedTrigger(queuedTrigger);
        TRISK_ASSERT(identifier != nil, QStringLiteral("A current queued trigger has no identifier."));
        const QString triggerID = identifier.toString();
        seen.insert(triggerID);
        // A panel made already is left as it is, even when the person dismissed it.
        if (m_notifications.contains(triggerID) || !isVisible())
            continue;
        TriskVXNotificationController *panel
            = TriskVXNotificationController::notificationWithQueuedTriggerObserverRequests(queuedTrigger, observer(),
                                                                                           requests(), m_clock);
        if (panel)
            m_notifications.insert(triggerID, panel);
        else
            qCWarning(lcTriskPanels).noquote() << QStringLiteral("cannot show the panel of %1").arg(triggerID);
    }
    const QList<QString> shown = m_notifications.keys();
    for (const QString &triggerID : shown) {
        if (seen.contains(triggerID))
            continue;
        TriskVXNotificationController *panel = m_notifications.take(triggerID);
        panel->close(this);
        // Its tick or button may be running: the panel goes once that has returned.
        panel->deleteLater();
    }
}
