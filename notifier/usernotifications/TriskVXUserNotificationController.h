#pragma once

#include "TriskVXNotifyObject.h"
#include "TriskVXUserNotificationCenterDelegate.h"

class TriskVXClock;
class TriskVXUserNotification;
class TriskVXUserNotificationCenter;

// Shows the triggers about to fire and the queued warnings as desktop notifications, keeping what is on
// screen in line with the service's two lists, and decides what a click on any of the program's
// notifications does: adjust a trigger, or check for a newer version.
class TriskVXUserNotificationController : public TriskVXNotifyObject, public TriskVXUserNotificationCenterDelegate
{
    Q_OBJECT

public:
    // A warning's notification outlives its record until one day after the warning's date.
    static constexpr qint64 kWarningGraceSecs = 86400;
    static QString removeAfterKey();
    static QString urlKey();
    static QString updateURLValue();

    // The centre and the clock must outlive the notifier.
    TriskVXUserNotificationController(TriskVXUserNotificationCenter *center, const TriskVXClock *clock,
                                      QObject *parent = nullptr);
    ~TriskVXUserNotificationController() override;

    // Makes the class known to the notifier controller's tables. Without a centre (no session bus) the
    // class is still known, and its creation says that notifications are not available.
    static void registerClass(TriskVXUserNotificationCenter *center, const TriskVXClock *clock);

    QSet<QString> observes() const override;
    bool init() override;
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;
    void didHide() override;

    // Brings the notifications carrying identifierKey in line with records: one per identifier, posted
    // by poster when new, withdrawn when gone (a warning's only after its removeAfter date).
    void filterNotificationsIdentifierKeyNotifier(const QVariant &records, const QString &identifierKey,
                                                  void (TriskVXUserNotificationController::*poster)(const QVariant &));
    void postTriggerNotification(const QVariant &queuedTrigger);
    void postWarningNotification(const QVariant &queuedWarning);

    void userNotificationCenterDidActivateNotification(TriskVXUserNotificationCenter *center,
                                                       const TriskVXUserNotification &notification) override;

private:
    TriskVXUserNotificationCenter *m_center;
    const TriskVXClock *m_clock;
};
