#include "TriskVXNotificationController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXCountDownMessage.h"
#include "TriskVXFloatingPanel.h"
#include "TriskVXIDateTransformer.h"
#include "TriskVXNil.h"
#include "TriskVXPanelsLogging.h"
#include "TriskVXRecords.h"
#include "TriskVXSecondTimer.h"
#include "TriskVXUserDefaults.h"
#include "TriskVXWorkspace.h"

#include <QAbstractButton>
#include <QFontMetrics>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

namespace {
const QString kSimplifyDefault = QStringLiteral("notifier.notifications.simplify");

QString localized(const QString &key)
{
    return TriskVXBundle::localizedString(key);
}
} // namespace

TriskVXNotificationController::TriskVXNotificationController(const TriskVXClock *clock, QObject *parent)
    : TriskVXNotifyObject(parent)
    , m_clock(clock)
{
}

TriskVXNotificationController::~TriskVXNotificationController()
{
    setCountDownTimer(nullptr);
    setNotificationWindow(nullptr);
    m_queuedTrigger.clear();
    m_triggerDate = QDateTime();
    m_eventName.clear();
}

TriskVXNotificationController *TriskVXNotificationController::notificationWithQueuedTriggerObserverRequests(
    const QVariant &queuedTrigger, TriskVXObserver *observer, TriskVXRequestsController *requests,
    const TriskVXClock *clock)
{
    // A failed check raises: the half-made panel goes with the unwinding.
    auto notification = std::make_unique<TriskVXNotificationController>(clock);
    if (notification->initWithQueuedTriggerObserverRequests(queuedTrigger, observer, requests))
        return notification.release();
    return nullptr;
}

QSet<QString> TriskVXNotificationController::observes() const
{
    return { kVXObserveAuthorisationRights };
}

bool TriskVXNotificationController::initWithQueuedTriggerObserverRequests(const QVariant &queuedTrigger,
                                                                          TriskVXObserver *observer,
                                                                          TriskVXRequestsController *requests)
{
    if (!initWithObserverRequests(observer, requests))
        return false;
    setCanAdjust(true);
    setCanCancel(true);
    m_queuedTrigger = queuedTrigger;
    // An invalid zone: date texts follow the clock's zone, which moves with the system's.
    m_dateTransformer = std::make_unique<TriskVXIDateTransformer>(m_clock, QLocale(), QTimeZone());

    const QVariantMap fields = queuedTrigger.toMap();
    const QVariant event = fields.value(kVXQueuedTriggerEvent);
    TRISK_ASSERT(event != nil, QStringLiteral("Queued trigger is mising an event."));
    m_eventName = event.toMap().value(kVXEventName).toString();
    TRISK_ASSERT(m_eventName != nil, QStringLiteral("Event name is missing."));
    const QVariant trigger = fields.value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Queued trigger is mising a trigger."));
    m_triggerDate = trigger.toMap().value(kVXTriggerDate).toDateTime();
    TRISK_ASSERT(m_triggerDate != nil, QStringLiteral("Trigger date is missing."));

    loadClassNib();
    m_notificationView = qobject_cast<QWidget *>(
        requiredOutlet(QStringLiteral("notificationView"), QStringLiteral("%@'s noticationView is not connected")));
    m_okButton = qobject_cast<QAbstractButton *>(
        requiredOutlet(QStringLiteral("okButton"), QStringLiteral("%@'s okButton is not connected")));
    m_eventIconView = qobject_cast<QLabel *>(
        requiredOutlet(QStringLiteral("eventIconView"), QStringLiteral("%@'s eventIconView is not connected")));
    m_messageField = qobject_cast<QLabel *>(
        requiredOutlet(QStringLiteral("messageField"), QStringLiteral("%@'s messageField is not connected")));
    m_adjustButton = qobject_cast<QAbstractButton *>(outlet(QStringLiteral("adjustButton")));
    m_cancelButton = qobject_cast<QAbstractButton *>(outlet(QStringLiteral("cancelButton")));
    // The buttons' enabled state follows what the panel offers.
    if (m_adjustButton)
        connect(this, &TriskVXNotificationController::canAdjustChanged, m_adjustButton, &QWidget::setEnabled);
    if (m_cancelButton)
        connect(this, &TriskVXNotificationController::canCancelChanged, m_cancelButton, &QWidget::setEnabled);

    setNotificationWindow(notificationWindowWithContents(m_notificationView));
    TRISK_ASSERT(m_notificationWindow != nil, QStringLiteral("notificationWindow failed"));
    m_notificationWindow->setFocusProxy(m_okButton);

    // The title names the absolute time once; the message below counts down.
    m_notificationWindow->setWindowTitle(
        TriskVXCountDownMessage::title(m_eventName, m_triggerDate, *m_dateTransformer));
    showMessage(messageWithNameTriggering(m_eventName, m_triggerDate));
    const QSizeF iconSize = m_eventIconView->size();
    const QImage image
        = imageForQueuedTriggerScaleToFitVariation(m_queuedTrigger, iconSize, TriskVXIImageAssistantVariationNone);
    m_eventIconView->setPixmap(QPixmap::fromImage(image));

    // Read once, when the panel is made.
    TriskVXUserDefaults *defaults = TriskVXUserDefaults::standardUserDefaults();
    defaults->addSuiteNamed(kVXPreferencesDomain);
    defaults->synchronize();
    setSimplify(defaults->boolForKey(kSimplifyDefault));
    // The rights are learnt at their next change, which reaches the panel while it exists.
    setRights(QVariantList());
    rightsDidChange();

    TriskVXFloatingPanel *panel = TriskVXFloatingPanel::of(m_notificationWindow);
    panel->center();
    panel->orderFrontRegardless();
    setCountDownTimer(new TriskVXSecondTimer(m_clock, this));
    return true;
}

void TriskVXNotificationController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    if (observed != kVXObserveAuthorisationRights)
        return;
    if (value.isValid() && value.typeId() != QMetaType::QVariantList)
        return;
    setRights(value);
    rightsDidChange();
    qCDebug(lcTriskPanels) << "rights changed";
}

void TriskVXNotificationController::rightsDidChange()
{
    if (!m_simplify)
        return;
    // Any rule offers the action; nothing here withdraws it.
    const QVariantList rights = m_rights.toList();
    if (TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerAdjust))
        setCanAdjust(true);
    if (TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerCancel))
        setCanCancel(true);
    if (m_adjustButton)
        m_adjustButton->setText(localized(QStringLiteral("TriskVXNotificationController.simplify.adjust")));
    if (m_cancelButton)
        m_cancelButton->setText(localized(QStringLiteral("TriskVXNotificationController.simplify.cancel")));
}

QWidget *TriskVXNotificationController::notificationWindowWithContents(QWidget *contents)
{
    TRISK_PARAMETER_ASSERT(contents != nil);
    auto *window = new QWidget;
    window->setObjectName(QStringLiteral("notificationWindow"));
    auto *layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(contents);
    window->resize(contents->size());
    new TriskVXFloatingPanel(window);
    return window;
}

void TriskVXNotificationController::countDownTimerFired(QObject *timer)
{
    Q_UNUSED(timer)
    showMessage(messageWithNameTriggering(m_eventName, m_triggerDate));
}

void TriskVXNotificationController::showMessage(const QString &message)
{
    // A tick changes a few characters. While the new text takes as many lines as the old one, the field
    // keeps a fixed height, so that the tick repaints the field without laying out the panel again (with
    // many panels open, that layout was a third of what their ticks cost).
    const QFontMetrics metrics(m_messageField->font());
    const int width
        = m_messageField->maximumWidth() < QWIDGETSIZE_MAX ? m_messageField->maximumWidth() : m_messageField->width();
    const int lines = metrics.boundingRect(QRect(0, 0, width, QWIDGETSIZE_MAX), Qt::TextWordWrap, message).height();
    m_messageField->setText(message);
    if (lines == m_messageLinesHeight)
        return;
    m_messageLinesHeight = lines;
    m_messageField->setMinimumHeight(0);
    m_messageField->setMaximumHeight(QWIDGETSIZE_MAX);
    m_messageField->setFixedHeight(m_messageField->heightForWidth(width));
}

QString TriskVXNotificationController::messageWithNameTriggering(const QString &anEventName,
                                                                 const QDateTime &aTriggerDate) const
{
    TRISK_PARAMETER_ASSERT(anEventName != nil);
    TRISK_PARAMETER_ASSERT(aTriggerDate != nil);
    QString problem;
    const QString message
        = TriskVXCountDownMessage::message(anEventName, aTriggerDate, m_clock->now(), *m_dateTransformer, &problem);
    TRISK_ASSERT(problem.isEmpty(), problem);
    return message;
}

void TriskVXNotificationController::setCanAdjust(bool canAdjust)
{
    if (m_canAdjust == canAdjust)
        return;
    m_canAdjust = canAdjust;
    Q_EMIT canAdjustChanged(canAdjust);
}

void TriskVXNotificationController::setCanCancel(bool canCancel)
{
    if (m_canCancel == canCancel)
        return;
    m_canCancel = canCancel;
    Q_EMIT canCancelChanged(canCancel);
}

void TriskVXNotificationController::setNotificationWindow(QWidget *window)
{
    if (m_notificationWindow == window)
        return;
    delete m_notificationWindow;
    m_notificationWindow = window;
}

void TriskVXNotificationController::setCountDownTimer(TriskVXSecondTimer *timer)
{
    TriskVXSecondTimer::replace(m_countDownTimer, timer, this, [this, timer] {
        countDownTimerFired(timer);
    });
}

void TriskVXNotificationController::adjust(QObject *sender)
{
    close(sender);
    TriskVXWorkspace::workspace()->adjustQueuedTriggerWithConnection(
        m_queuedTrigger.toMap().value(kVXQueuedTriggerTriggerID), observer() ? observer()->connection() : nullptr);
}

void TriskVXNotificationController::cancel(QObject *sender)
{
    const QVariant identifier = identifierOfQueuedTrigger(m_queuedTrigger);
    if (identifier == nil)
        return;
    close(sender);
    if (requests())
        requests()->cancelTrigger(identifier.toString());
}

void TriskVXNotificationController::close(QObject *sender)
{
    Q_UNUSED(sender)
    if (TriskVXFloatingPanel *panel = TriskVXFloatingPanel::of(m_notificationWindow))
        panel->orderOut();
}
