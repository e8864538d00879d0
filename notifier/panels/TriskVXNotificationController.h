#pragma once

#include "TriskVXNotifyObject.h"
#include "TriskVXSecondTimer.h"

#include <QAbstractButton>
#include <QLabel>

#include <QDateTime>
#include <QPointer>
#include <QVariant>

#include <memory>

class TriskVXClock;
class TriskVXIDateTransformer;

// One floating panel about one queued trigger that is about to fire: the event's picture, which event
// runs at what time and how long remains, counted down every second; Adjust, Cancel and OK. While on
// screen it follows the person's rights, which in the simplified presentation retitle the buttons.
class TriskVXNotificationController : public TriskVXNotifyObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant rights READ rights WRITE setRights)
    Q_PROPERTY(bool simplify READ simplify WRITE setSimplify)
    Q_PROPERTY(bool canAdjust READ canAdjust WRITE setCanAdjust NOTIFY canAdjustChanged)
    Q_PROPERTY(bool canCancel READ canCancel WRITE setCanCancel NOTIFY canCancelChanged)
    Q_PROPERTY(QVariant queuedTrigger READ queuedTrigger)
    Q_PROPERTY(QString eventName READ eventName)
    Q_PROPERTY(QDateTime triggerDate READ triggerDate)

public:
    // Count-downs and date texts read the clock, which must outlive the panel.
    explicit TriskVXNotificationController(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXNotificationController() override;

    // Makes and shows the panel for a queued trigger; nullptr when it cannot be made. The caller owns it.
    static TriskVXNotificationController *
    notificationWithQueuedTriggerObserverRequests(const QVariant &queuedTrigger, TriskVXObserver *observer,
                                                  TriskVXRequestsController *requests, const TriskVXClock *clock);

    QSet<QString> observes() const override;
    virtual bool initWithQueuedTriggerObserverRequests(const QVariant &queuedTrigger, TriskVXObserver *observer,
                                                       TriskVXRequestsController *requests);
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;
    void rightsDidChange();

    // A new, hidden floating panel holding the view.
    QWidget *notificationWindowWithContents(QWidget *contents);
    void countDownTimerFired(QObject *timer);
    // "<event> at <time>, in <minutes and seconds>" as the localised format has it; whole minutes carry
    // the hours, and a time already past counts as none.
    QString messageWithNameTriggering(const QString &anEventName, const QDateTime &aTriggerDate) const;

    QVariant rights() const { return m_rights; }
    void setRights(const QVariant &rights) { m_rights = rights; }
    bool simplify() const { return m_simplify; }
    void setSimplify(bool simplify) { m_simplify = simplify; }
    bool canAdjust() const { return m_canAdjust; }
    void setCanAdjust(bool canAdjust);
    bool canCancel() const { return m_canCancel; }
    void setCanCancel(bool canCancel);
    QVariant queuedTrigger() const { return m_queuedTrigger; }
    QString eventName() const { return m_eventName; }
    QDateTime triggerDate() const { return m_triggerDate; }
    QWidget *notificationWindow() const { return m_notificationWindow; }
    void setNotificationWindow(QWidget *window);
    TriskVXSecondTimer *countDownTimer() const { return m_countDownTimer; }
    // Replacing the timer stops the one it replaces.
    void setCountDownTimer(TriskVXSecondTimer *timer);
    QLabel *messageField() const { return m_messageField; }
    QAbstractButton *adjustButton() const { return m_adjustButton; }
    QAbstractButton *cancelButton() const { return m_cancelButton; }

public Q_SLOTS:
    // Hides the panel and opens the adjust dialog for the trigger.
    void adjust(QObject *sender);
    // Hides the panel and asks the service to cancel the trigger; a trigger without identifier is left.
    void cancel(QObject *sender);
    // Hides the panel; it stays made, and comes back only as a new panel.
    void close(QObject *sender);

Q_SIGNALS:
    void canAdjustChanged(bool canAdjust);
    void canCancelChanged(bool canCancel);

private:
    void showMessage(const QString &message);

    const TriskVXClock *m_clock;
    int m_messageLinesHeight = -1;
    QPointer<QWidget> m_notificationView;
    QPointer<QAbstractButton> m_okButton;
    QPointer<QLabel> m_messageField;
    QPointer<QLabel> m_eventIconView;
    QPointer<QWidget> m_notificationWindow;
    QVariant m_queuedTrigger;
    QString m_eventName;
    QDateTime m_triggerDate;
    QPointer<TriskVXSecondTimer> m_countDownTimer;
    std::unique_ptr<TriskVXIDateTransformer> m_dateTransformer;
    QVariant m_rights;
    bool m_simplify = false;
    bool m_canAdjust = false;
    bool m_canCancel = false;
    QPointer<QAbstractButton> m_adjustButton;
    QPointer<QAbstractButton> m_cancelButton;
};
