#include "TriskVXWarningController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXConstants.h"
#include "TriskVXFloatingPanel.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXNil.h"
#include "TriskVXRecords.h"

#include <QLabel>
#include <QPixmap>
#include <QPropertyAnimation>

namespace {
const QString kFadeIn = QStringLiteral("fadeIn");
} // namespace

TriskVXWarningController::TriskVXWarningController(QObject *parent)
    : TriskVXNotifyObject(parent)
{
}

TriskVXWarningController::~TriskVXWarningController() = default;

void TriskVXWarningController::registerClass()
{
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXWarningController"), [] {
        return new TriskVXWarningController;
    });
}

QSet<QString> TriskVXWarningController::observes() const
{
    return { kVXObserveNotificationsWarning };
}

bool TriskVXWarningController::init()
{
    if (!TriskVXNotifyObject::init())
        return false;
    loadClassNib();
    m_warningPanel = qobject_cast<QWidget *>(
        requiredOutlet(QStringLiteral("warningPanel"), QStringLiteral("%@'s warningPanel must be connected")));
    m_eventNameField = qobject_cast<QLabel *>(
        requiredOutlet(QStringLiteral("eventNameField"), QStringLiteral("%@'s eventNameField must be connected")));
    m_imageView = qobject_cast<QLabel *>(outlet(QStringLiteral("imageView")));
    // Above normal windows and on every workspace; hidden until a warning comes. At the login screen the
    // instance runs in the greeter's own session, where the panel shows like any other window.
    new TriskVXFloatingPanel(m_warningPanel);
    m_warningPanel->hide();
    return true;
}

void TriskVXWarningController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    if (observed != kVXObserveNotificationsWarning)
        return;
    TriskVXFloatingPanel *panel = TriskVXFloatingPanel::of(m_warningPanel);
    // Only the first warning shows; the others wait until it leaves the list.
    const QVariant queuedWarning = TriskVXRecords::firstQueuedWarning(value.toList());
    if (queuedWarning == nil) {
        if (m_warningPanel->isVisible())
            panel->orderOut();
        return;
    }
    m_eventNameField->setText(
        queuedWarning.toMap().value(kVXQueuedWarningEvent).toMap().value(kVXEventName).toString());
    if (m_imageView) {
        const QImage image = imageForQueuedWarningScaleToFitVariation(queuedWarning, m_imageView->size(),
                                                                      TriskVXIImageAssistantVariationNone);
        m_imageView->setPixmap(QPixmap::fromImage(image));
    }
    if (!m_warningPanel->isVisible()) {
        panel->center();
        panel->orderFrontRegardless();
    }
}

QImage TriskVXWarningController::imageForQueuedWarningScaleToFitVariation(const QVariant &aQueuedWarning,
                                                                          const QSizeF &size, const QString &variation)
{
    TRISK_PARAMETER_ASSERT(aQueuedWarning != nil);
    // Warnings carry their event under the same key as queued triggers.
    const QVariant event = aQueuedWarning.toMap().value(kVXQueuedTriggerEvent);
    return imageAssistant()->imageForUIIdentifierScaleToFitVariation(imageAssistant()->UIIdentifierForEvent(event),
                                                                     size, variation);
}

QPropertyAnimation *TriskVXWarningController::fadeWithEffectDuration(QWidget *target, const QString &effect,
                                                                     double duration)
{
    auto *animation = new QPropertyAnimation(target, "windowOpacity", this);
    const bool in = effect == kFadeIn;
    animation->setStartValue(in ? 0.0 : 1.0);
    animation->setEndValue(in ? 1.0 : 0.0);
    animation->setDuration(int(duration * 1000));
    animation->setEasingCurve(QEasingCurve::InQuad);
    return animation;
}
