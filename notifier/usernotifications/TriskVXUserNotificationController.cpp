#include "TriskVXUserNotificationController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXUserNotification.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationsLogging.h"
#include "TriskVXWorkspace.h"

#include <QHash>
#include <QLocale>

namespace {
QString localized(const QString &key)
{
    return TriskVXBundle::localizedString(key);
}

QString notAvailable()
{
    return QStringLiteral("Notification Center is not available.");
}
} // namespace

QString TriskVXUserNotificationController::removeAfterKey()
{
    return QStringLiteral("removeAfter");
}

QString TriskVXUserNotificationController::urlKey()
{
    return QStringLiteral("url");
}

QString TriskVXUserNotificationController::updateURLValue()
{
    return QStringLiteral("update");
}

TriskVXUserNotificationController::TriskVXUserNotificationController(TriskVXUserNotificationCenter *center,
                                                                     const TriskVXClock *clock, QObject *parent)
    : TriskVXNotifyObject(parent)
    , m_center(center)
    , m_clock(clock)
{
}

TriskVXUserNotificationController::~TriskVXUserNotificationController()
{
    // What is on screen stays; clicks on it find no one to answer until the next start.
    if (m_center && m_center->delegate() == this)
        m_center->setDelegate(nullptr);
}

void TriskVXUserNotificationController::registerClass(TriskVXUserNotificationCenter *center, const TriskVXClock *clock)
{
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXUserNotificationController"), [center, clock] {
        return new TriskVXUserNotificationController(center, clock);
    });
}

QSet<QString> TriskVXUserNotificationController::observes() const
{
    return { kVXObserveNotificationsCurrent, kVXObserveNotificationsWarning };
}

bool TriskVXUserNotificationController::init()
{
    if (!TriskVXNotifyObject::init())
        return false;
    if (!m_center) {
        qCWarning(lcTriskUserNotificationsController).noquote() << notAvailable();
        return false;
    }
    m_center->setDelegate(this);
    return true;
}

void TriskVXUserNotificationController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    TRISK_PARAMETER_ASSERT(observed != nil);
    if (value == nil)
        return;
    if (observed == kVXObserveNotificationsCurrent)
        filterNotificationsIdentifierKeyNotifier(value, kVXQueuedTriggerTriggerID,
                                                 &TriskVXUserNotificationController::postTriggerNotification);
    else if (observed == kVXObserveNotificationsWarning)
        filterNotificationsIdentifierKeyNotifier(value, kVXQueuedWarningActionID,
                                                 &TriskVXUserNotificationController::postWarningNotification);
}

void TriskVXUserNotificationController::didHide()
{
    // Switched off: the mirrored lists leave the screen; the update notification is not theirs.
    const QList<TriskVXUserNotification> delivered = m_center->deliveredNotifications();
    for (const TriskVXUserNotification &notification : delivered) {
        const QVariantMap userInfo = notification.userInfo();
        if (userInfo.contains(kVXQueuedTriggerTriggerID) || userInfo.contains(kVXQueuedWarningActionID))
            m_center->removeDeliveredNotification(notification);
    }
}

void TriskVXUserNotificationController::filterNotificationsIdentifierKeyNotifier(
    const QVariant &records, const QString &identifierKey,
    void (TriskVXUserNotificationController::*poster)(const QVariant &))
{
    QHash<QString, TriskVXUserNotification> delivered;
    const QList<TriskVXUserNotification> all = m_center->deliveredNotifications();
    for (const TriskVXUserNotification &notification : all) {
        const QVariant identifier = notification.userInfo().value(identifierKey);
        if (identifier != nil)
            delivered.insert(identifier.toString(), notification);
    }
    QHash<QString, QVariant> current;
    const QVariantList list = records.toList();
    for (const QVariant &record : list) {
        const QVariant identifier = record.toMap().value(identifierKey);
        if (identifier != nil)
            current.insert(identifier.toString(), record);
    }
    const QDateTime now = m_clock->now();
    for (auto it = delivered.cbegin(); it != delivered.cend(); ++it) {
        if (current.contains(it.key()))
            continue;
        const QVariant removeAfter = it.value().userInfo().value(removeAfterKey());
        if (removeAfter == nil || removeAfter.toDateTime() < now)
            m_center->removeDeliveredNotification(it.value());
    }
    // Posted directly: the centre only queues the call to the server, so this change is handled first.
    for (auto it = current.cbegin(); it != current.cend(); ++it) {
        if (!delivered.contains(it.key()))
            (this->*poster)(it.value());
    }
}

void TriskVXUserNotificationController::postTriggerNotification(const QVariant &queuedTrigger)
{
    TRISK_PARAMETER_ASSERT(queuedTrigger != nil);
    const QVariantMap record = queuedTrigger.toMap();
    const QVariant identifier = record.value(kVXQueuedTriggerTriggerID);
    const QVariant event = record.value(kVXQueuedTriggerEvent);
    TRISK_ASSERT(event != nil, QStringLiteral("Event missing name"));
    const QString name = event.toMap().value(kVXEventName).toString();
    const QVariant trigger = record.value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Trigger is missing"));
    const QDateTime date = trigger.toMap().value(kVXTriggerDate).toDateTime();

    TriskVXUserNotification notification;
    notification.setTitle(name);
    notification.setInformativeText(localized(QStringLiteral("NOTIFICATION_CENTER_WHAT_PENDING")));
    if (date.isValid()) {
        const QString key = QStringLiteral("NOTIFICATION_CENTER_WHEN_FORMAT");
        const QString format = localized(key);
        // A lookup without text gives the key back.
        TRISK_ASSERT(!format.isEmpty() && format != key,
                     QStringLiteral("Localization.strings missing NOTIFICATION_CENTER_WHEN_FORMAT"));
        const QString time = QLocale().toString(date.toTimeZone(m_clock->timeZone()).time(), QLocale::ShortFormat);
        notification.setSubtitle(format.arg(time, name));
        notification.setDeliveryDate(date);
    }
    notification.setUserInfo({ { kVXQueuedTriggerTriggerID, identifier } });
    notification.setSoundName(TriskVXUserNotification::defaultSoundName());
    notification.setUrgency(TriskVXUserNotification::Critical);
    if (requests() && requests()->hasExistingAdjustTriggerRight()) {
        notification.setHasActionButton(true);
        notification.setActionButtonTitle(localized(QStringLiteral("NOTIFICATION_CENTER_ACTION_ADJUST")));
    }
    m_center->deliverNotification(notification);
}

void TriskVXUserNotificationController::postWarningNotification(const QVariant &queuedWarning)
{
    TRISK_PARAMETER_ASSERT(queuedWarning != nil);
    const QVariantMap record = queuedWarning.toMap();
    const QVariant event = record.value(kVXQueuedWarningEvent);
    TRISK_ASSERT(event != nil, QStringLiteral("Event missing name"));
    const QDateTime date = record.value(kVXQueuedWarningDate).toDateTime();

    TriskVXUserNotification notification;
    notification.setTitle(event.toMap().value(kVXEventName).toString());
    notification.setSubtitle(record.value(kVXQueuedWarningMessage).toString());
    notification.setInformativeText(localized(QStringLiteral("NOTIFICATION_CENTER_WHAT_WARNING")));
    notification.setDeliveryDate(date);
    notification.setUserInfo({ { kVXQueuedWarningActionID, record.value(kVXQueuedWarningActionID) },
                               { removeAfterKey(), date.addSecs(kWarningGraceSecs) } });
    m_center->deliverNotification(notification);
}

void TriskVXUserNotificationController::userNotificationCenterDidActivateNotification(
    TriskVXUserNotificationCenter *center, const TriskVXUserNotification &notification)
{
    Q_UNUSED(center)
    const QVariantMap userInfo = notification.userInfo();
    // The body opens the adjust dialog; the button does not, on purpose.
    if (notification.activationType() != TriskVXUserNotification::ActionButtonClicked) {
        const QVariant triggerID = userInfo.value(kVXQueuedTriggerTriggerID);
        if (triggerID != nil)
            TriskVXWorkspace::workspace()->adjustQueuedTriggerWithConnection(
                triggerID, observer() ? observer()->connection() : nullptr);
    }
    if (notification.activationType() != TriskVXUserNotification::None
        && userInfo.value(urlKey()).toString() == updateURLValue())
        TriskVXWorkspace::workspace()->checkForSoftwareUpdates();
}
