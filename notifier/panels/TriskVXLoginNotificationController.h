#pragma once

#include "TriskVXNotifyObject.h"
#include "TriskVXSecondTimer.h"

#include <QDateTime>
#include <QLabel>
#include <QPointer>

#include <memory>

class TriskVXClock;
class TriskVXIDateTransformer;

// The count-down at the login screen: before anybody has logged in, one translucent window without
// buttons tells whoever stands at the screen which event the service performs next, when, and how long
// remains. It follows the first of the service's current triggers and goes when that list is empty.
class TriskVXLoginNotificationController : public TriskVXNotifyObject
{
    Q_OBJECT
    Q_PROPERTY(QString eventName READ eventName WRITE setEventName)
    Q_PROPERTY(QDateTime triggerDate READ triggerDate WRITE setTriggerDate)

public:
    // The count-down and the date texts read the clock, which must outlive the notifier.
    explicit TriskVXLoginNotificationController(const TriskVXClock *clock, QObject *parent = nullptr);
    ~TriskVXLoginNotificationController() override;

    // Makes the class known to the notifier controller's login table, counting by the clock.
    static void registerClass(const TriskVXClock *clock);

    QSet<QString> observes() const override;
    bool init() override;
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;
    // Shows the first queued trigger of the list, or hides the window for an empty list.
    void showNotificationForPending(const QVariantList &pending);
    void countDownTimerFired(QObject *timer);
    // "<event> at <time>, in <minutes and seconds>" as the localised format has it; whole minutes carry
    // the hours, and a time already past counts as none.
    QString messageWithNameTriggering(const QString &anEventName, const QDateTime &aTriggerDate) const;

    // Where the window's vertical centre stands, in twelfths of the screen's height from the bottom, as
    // the scheduler's preference asks: a number or a text holding one, kept within 1 to 11.5; 2.5 for
    // anything else.
    static double verticalPositionOfPreference(const QVariant &preference);
    // The window's frame for a window of this size on a screen of that size: centred across, its
    // vertical centre at the position. The screen's own offset is not added.
    static QRect frameForPosition(const QSize &window, const QSize &screen, double position);

    QString eventName() const { return m_eventName; }
    void setEventName(const QString &eventName) { m_eventName = eventName; }
    QDateTime triggerDate() const { return m_triggerDate; }
    void setTriggerDate(const QDateTime &triggerDate) { m_triggerDate = triggerDate; }
    TriskVXSecondTimer *countDownTimer() const { return m_countDownTimer; }
    // Replacing the timer stops the one it replaces.
    void setCountDownTimer(TriskVXSecondTimer *timer);
    QWidget *notificationWindow() const { return m_notificationWindow; }
    QLabel *messageField() const { return m_messageField; }
    QLabel *eventIconView() const { return m_eventIconView; }

private:
    void placeWindow();

    const TriskVXClock *m_clock;
    QPointer<QWidget> m_notificationWindow;
    QPointer<QLabel> m_messageField;
    QPointer<QLabel> m_eventIconView;
    QString m_eventName;
    QDateTime m_triggerDate;
    QPointer<TriskVXSecondTimer> m_countDownTimer;
    std::unique_ptr<TriskVXIDateTransformer> m_dateTransformer;
};
