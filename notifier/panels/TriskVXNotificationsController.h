#pragma once

#include "TriskVXNotifyObject.h"

#include <QHash>
#include <QPointer>

class TriskVXClock;
class TriskVXNotificationController;

// Keeps one count-down panel on hand for each queued trigger the service lists as current, and closes
// a panel when its trigger leaves that list. A panel the person dismissed stays dismissed while its
// trigger stays current.
class TriskVXNotificationsController : public TriskVXNotifyObject
{
    Q_OBJECT

public:
    // The clock the panels count down by; it must outlive this notifier.
    explicit TriskVXNotificationsController(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXNotificationsController() override;

    // Makes the class known to the notifier controller's tables, its panels counting by the clock.
    static void registerClass(const TriskVXClock *clock);

    QSet<QString> observes() const override;
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;
    // Brings the panels in line with the list of current queued triggers (null closes them all).
    void updateWithCurrent(const QVariant &current);

    // The panels by queued-trigger identifier, dismissed ones included.
    const QHash<QString, TriskVXNotificationController *> &notifications() const { return m_notifications; }

private:
    const TriskVXClock *m_clock;
    QHash<QString, TriskVXNotificationController *> m_notifications;
};
