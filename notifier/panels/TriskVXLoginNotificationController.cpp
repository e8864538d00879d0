#include "TriskVXLoginNotificationController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXCountDownMessage.h"
#include "TriskVXFloatingPanel.h"
#include "TriskVXIDateTransformer.h"
#include "TriskVXNil.h"
#include "TriskVXPanelsLogging.h"
#include "TriskVXWorkspace.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>

#include <cmath>

namespace {
const QString kPositionPreference = QStringLiteral("notifier.login.position-vertical");
const double kDefaultPosition = 2.5;
const double kLowestPosition = 1.0;
const double kHighestPosition = 11.5;
const double kTranslucency = 0.8;

// Lets the person drag the window by its background. A login screen has no window manager to do it,
// so the window moves itself; the next update puts it back where the preference says.
class BackgroundDrag : public QObject
{
public:
    explicit BackgroundDrag(QWidget *window)
        : QObject(window)
        , m_window(window)
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched != m_window)
            return false;
        if (event->type() == QEvent::MouseButtonPress) {
            const auto *press = static_cast<QMouseEvent *>(event);
            if (press->button() != Qt::LeftButton)
                return false;
            m_grab = press->globalPosition().toPoint() - m_window->pos();
            m_dragging = true;
            return true;
        }
        if (event->type() == QEvent::MouseMove && m_dragging) {
            m_window->move(static_cast<QMouseEvent *>(event)->globalPosition().toPoint() - m_grab);
            return true;
        }
        if (event->type() == QEvent::MouseButtonRelease)
            m_dragging = false;
        return false;
    }

private:
    QWidget *m_window;
    QPoint m_grab;
    bool m_dragging = false;
};
} // namespace

TriskVXLoginNotificationController::TriskVXLoginNotificationController(const TriskVXClock *clock, QObject *parent)
    : TriskVXNotifyObject(parent)
    , m_clock(clock)
{
}

TriskVXLoginNotificationController::~TriskVXLoginNotificationController()
{
    m_eventName.clear();
    m_dateTransformer.reset();
    m_triggerDate = QDateTime();
    setCountDownTimer(nullptr);
}

void TriskVXLoginNotificationController::registerClass(const TriskVXClock *clock)
{
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXLoginNotificationController"), [clock] {
        return new TriskVXLoginNotificationController(clock);
    });
}

QSet<QString> TriskVXLoginNotificationController::observes() const
{
    return { kVXObserveNotificationsCurrent };
}

bool TriskVXLoginNotificationController::init()
{
    if (!TriskVXNotifyObject::init())
        return false;
    loadClassNib();
    m_notificationWindow = qobject_cast<QWidget *>(requiredOutlet(
        QStringLiteral("notificationWindow"), QStringLiteral("%@'s notificationWindow must be connected")));
    m_messageField = qobject_cast<QLabel *>(outlet(QStringLiteral("messageField")));
    m_eventIconView = qobject_cast<QLabel *>(outlet(QStringLiteral("eventIconView")));

    // Above the greeter and on every workspace, like the other panels; but without a frame, which no
    // window manager draws at a login screen anyway, and never taking the keyboard from the password
    // field.
    new TriskVXFloatingPanel(m_notificationWindow);
    m_notificationWindow->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
                                         | Qt::WindowDoesNotAcceptFocus);
    new BackgroundDrag(m_notificationWindow);
    m_notificationWindow->hide();
    // An invalid zone: date texts follow the clock's zone, which moves with the system's.
    m_dateTransformer = std::make_unique<TriskVXIDateTransformer>(m_clock, QLocale(), QTimeZone());
    return true;
}

void TriskVXLoginNotificationController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    TRISK_PARAMETER_ASSERT(observed != nil);
    if (value == nil || observed != kVXObserveNotificationsCurrent)
        return;
    if (value.typeId() != QMetaType::QVariantList) {
        qCWarning(lcTriskPanels).noquote()
            << QStringLiteral("ignoring the current triggers: a list was expected, not %1")
                   .arg(QLatin1String(value.typeName()));
        return;
    }
    showNotificationForPending(value.toList());
}

void TriskVXLoginNotificationController::showNotificationForPending(const QVariantList &pending)
{
    TriskVXFloatingPanel *panel = TriskVXFloatingPanel::of(m_notificationWindow);
    if (pending.isEmpty()) {
        panel->orderOut();
        setCountDownTimer(nullptr);
        return;
    }
    // Only the first, in the order the service gives, shows.
    const QVariant queuedTrigger = pending.first();
    const QVariantMap fields = queuedTrigger.toMap();
    const QVariant event = fields.value(kVXQueuedTriggerEvent);
    TRISK_ASSERT(event != nil, QStringLiteral("Queued trigger is mising an event."));
    setEventName(event.toMap().value(kVXEventName).toString());
    TRISK_ASSERT(m_eventName != nil, QStringLiteral("Event name is missing."));
    const QVariant trigger = fields.value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Queued trigger is mising a trigger."));
    setTriggerDate(trigger.toMap().value(kVXTriggerDate).toDateTime());
    TRISK_ASSERT(m_triggerDate != nil, QStringLiteral("Trigger date is missing."));

    m_notificationWindow->setWindowTitle(
        TriskVXCountDownMessage::title(m_eventName, m_triggerDate, *m_dateTransformer));
    if (m_messageField)
        m_messageField->setText(messageWithNameTriggering(m_eventName, m_triggerDate));
    if (m_eventIconView) {
        const QImage image = imageForQueuedTriggerScaleToFitVariation(queuedTrigger, m_eventIconView->size(),
                                                                      TriskVXIImageAssistantVariationNone);
        m_eventIconView->setPixmap(QPixmap::fromImage(image));
    }
    placeWindow();
    panel->orderFrontRegardless();
    m_notificationWindow->setWindowOpacity(kTranslucency);
    setCountDownTimer(new TriskVXSecondTimer(m_clock, this));
}

void TriskVXLoginNotificationController::placeWindow()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    m_notificationWindow->adjustSize();
    const double position
        = verticalPositionOfPreference(TriskVXWorkspace::workspace()->preferenceForKey(kPositionPreference));
    m_notificationWindow->setGeometry(frameForPosition(m_notificationWindow->size(), screen->size(), position));
    qCDebug(lcTriskPanels) << "login window placed at" << m_notificationWindow->geometry() << "for position"
                           << position;
}

double TriskVXLoginNotificationController::verticalPositionOfPreference(const QVariant &preference)
{
    bool isNumber = false;
    double position = kDefaultPosition;
    switch (preference.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        position = preference.toDouble(&isNumber);
        break;
    case QMetaType::QString:
        position = preference.toString().trimmed().toDouble(&isNumber);
        break;
    default:
        break;
    }
    if (!isNumber || !std::isfinite(position))
        return kDefaultPosition;
    return std::clamp(position, kLowestPosition, kHighestPosition);
}

QRect TriskVXLoginNotificationController::frameForPosition(const QSize &window, const QSize &screen, double position)
{
    // The position counts from the bottom edge; the window's coordinates from the top.
    const double centreFromBottom = screen.height() / 12.0 * position;
    const int x = qRound(screen.width() * 0.5 - window.width() * 0.5);
    const int y = qRound(screen.height() - centreFromBottom - window.height() * 0.5);
    return QRect(QPoint(x, y), window);
}

void TriskVXLoginNotificationController::countDownTimerFired(QObject *timer)
{
    Q_UNUSED(timer)
    if (m_messageField)
        m_messageField->setText(messageWithNameTriggering(m_eventName, m_triggerDate));
}

QString TriskVXLoginNotificationController::messageWithNameTriggering(const QString &anEventName,
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

void TriskVXLoginNotificationController::setCountDownTimer(TriskVXSecondTimer *timer)
{
    TriskVXSecondTimer::replace(m_countDownTimer, timer, this, [this, timer] {
        countDownTimerFired(timer);
    });
}
