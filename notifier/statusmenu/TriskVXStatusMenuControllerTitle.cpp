// The status item's picture, count-down and tool tip.
#include "TriskVXStatusMenuController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXNil.h"
#include "TriskVXStatusItem.h"

#include <QPainter>
#include <QtMath>

namespace {
// The themed icons installed beside the program (notifier/resources/icons), one per built-in picture.
const QString kIconNameFormat = QStringLiteral("trisk-notifier-%1-symbolic");
const QString kPerformingIconName = QStringLiteral("performing");
// The short count-down switches to larger units where the digits would pass two.
const qint64 kMinute = 60;
const qint64 kHour = 3600;
const qint64 kHoursShown = 100;
const qint64 kDay = 24 * kHour;

QString iconNameFor(const QUrl &identifier)
{
    return TriskVXIImageAssistant::isBuiltIn(identifier)
        ? kIconNameFormat.arg(TriskVXIImageAssistant::builtInNameOf(identifier))
        : QString();
}

QUrl builtInIdentifier(const QString &image)
{
    return QUrl(QStringLiteral("%1://%2").arg(TriskVXIImageAssistantSchemeBuiltIn,
                                              QString::fromLatin1(QUrl::toPercentEncoding(image))));
}
} // namespace

TriskVXStatusMenuController::PerformingImageLayout
TriskVXStatusMenuController::performingImageLayout(const QSizeF &base, const QSizeF &cog)
{
    const double gap = 0.1 * base.width();
    return { QSizeF(cog.width() + base.width() + 3 * gap, std::max(base.height(), cog.height())), QPointF(gap, 0.0),
             QPointF(2 * gap + base.width(), 0.0) };
}

void TriskVXStatusMenuController::updateTitleWithQueuedTrigger(const QVariant &aQueuedTrigger)
{
    const QSizeF size(imageSizeForMenuStatus(), imageSizeForMenuStatus());
    const QString variation = TriskVXIImageAssistantVariationNone;
    QString title;
    QString toolTip;
    QString imageText;
    QUrl identifier;
    if (aQueuedTrigger != nil) {
        const QString name = eventNameWithQueuedTrigger(aQueuedTrigger);
        const QString date = triggerDateWithQueuedTrigger(aQueuedTrigger).toString();
        toolTip = localized(QStringLiteral("STATUSMENU_PENDING_TOOLTIP")).arg(name, date);
        identifier = imageURLForQueuedTrigger(aQueuedTrigger);
        setEmphasizeTimer(nullptr);
        if (m_nextCurrentQueuedTrigger != nil
            && m_nextCurrentQueuedTrigger.toMap().value(kVXQueuedTriggerTriggerID)
                == m_nextPendingQueuedTrigger.toMap().value(kVXQueuedTriggerTriggerID)) {
            // Each tick reads the wall clock, so a late tick never shows a wrong time; the ticks fall just
            // after each whole second, in the same wake-up as the count-down panels'.
            auto *timer = new TriskVXSecondTimer(clock(), this);
            connect(timer, &TriskVXSecondTimer::timeout, this, [this, timer] {
                updateTitleCountDownText(timer);
            });
            setCountDownTimer(timer);
            title = countDownTimeForQueuedTrigger(aQueuedTrigger);
            const qint64 seconds = qint64(secondsUntilQueuedTrigger(aQueuedTrigger));
            imageText = imageTextForSeconds(seconds);
            m_toolTipTime = toolTipTimeForSeconds(seconds);
            toolTip = countDownToolTip(aQueuedTrigger, m_toolTipTime);
        } else {
            setCountDownTimer(nullptr);
        }
    } else {
        // Nothing counts down: no timer is left to wake the notifier each second.
        setEmphasizeTimer(nullptr);
        setCountDownTimer(nullptr);
        if (!m_serviceReachable) {
            identifier = builtInIdentifier(kVXElementImage_Disconnected);
            toolTip = localized(QStringLiteral("STATUSMENU_DISCONNECTED_TOOLTIP"));
        } else {
            identifier = builtInIdentifier(isSchedulerEnabled() ? kVXElementImage_None : kVXElementImage_Stopped);
        }
    }

    QImage image = imageAssistant()->imageForUIIdentifierScaleToFitVariation(identifier, size, variation);
    if (identifier.scheme() == TriskVXIImageAssistantSchemeBuiltIn)
        TriskVXIImageAssistant::setTemplate(image, true);

    QString iconName = iconNameFor(identifier);
    const qsizetype performing = m_serviceReachable ? m_activeEvents.toList().size() : 0;
    if (performing >= 1) {
        title = localized(QStringLiteral("TriskVXStatusMenuController.title.performing")).arg(performing);
        image = appendPerformingImageVariation(image, variation);
        iconName = kIconNameFormat.arg(kPerformingIconName);
        imageText.clear();
    }

    if (TriskVXStatusItem *item = statusItem()) {
        item->setImage(image);
        item->setIconName(iconName);
        item->setImageText(imageText);
        // A coloured picture is not inverted when highlighted; a template one is redrawn by the host.
        item->setAlternateImage(TriskVXIImageAssistant::isTemplate(image) ? QImage() : image);
    }
    if (TriskVXStatusMenuResize *titleResize = resize())
        titleResize->setTitle(title);
    if (TriskVXStatusItem *item = statusItem())
        item->setToolTip(toolTip);
}

void TriskVXStatusMenuController::updateTitleEmphasis(QObject *timer)
{
    Q_UNUSED(timer)
    updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
}

void TriskVXStatusMenuController::updateTitleCountDown(QObject *timer)
{
    Q_UNUSED(timer)
    updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
}

void TriskVXStatusMenuController::updateTitleCountDownText(QObject *timer)
{
    Q_UNUSED(timer)
    if (m_nextPendingQueuedTrigger == nil) {
        if (TriskVXStatusMenuResize *titleResize = resize())
            titleResize->setTitle(QString());
        return;
    }
    const QString title = countDownTimeForQueuedTrigger(m_nextPendingQueuedTrigger);
    // The item signals only what changed: the picture's text once a minute until the last one, then each
    // second, and the tool tip once a minute. A host that shows no label reads every property again at
    // each change (the pictures too, some 12 KB), so a tool tip ticking each second cost more than the
    // rest of the count-down together.
    if (TriskVXStatusItem *item = statusItem()) {
        const qint64 seconds = qint64(secondsUntilQueuedTrigger(m_nextPendingQueuedTrigger));
        item->setImageText(imageTextForSeconds(seconds));
        const QString toolTipTime = toolTipTimeForSeconds(seconds);
        if (toolTipTime != m_toolTipTime) {
            m_toolTipTime = toolTipTime;
            item->setToolTip(countDownToolTip(m_nextPendingQueuedTrigger, toolTipTime));
        }
    }
    if (TriskVXStatusMenuResize *titleResize = resize())
        titleResize->setTitle(title);
}

QString TriskVXStatusMenuController::imageTextForSeconds(qint64 seconds) const
{
    if (seconds <= 0)
        return QString();
    // Whole units cut toward zero, so the number is the one the title starts with ("5m" for "5:42").
    if (seconds < kMinute)
        return localized(QStringLiteral("COUNTDOWN_IMAGE_FORMAT_S")).arg(seconds);
    if (seconds < kHour)
        return localized(QStringLiteral("COUNTDOWN_IMAGE_FORMAT_M")).arg(seconds / kMinute);
    if (seconds < kHoursShown * kHour)
        return localized(QStringLiteral("COUNTDOWN_IMAGE_FORMAT_H")).arg(seconds / kHour);
    return localized(QStringLiteral("COUNTDOWN_IMAGE_FORMAT_D")).arg(seconds / kDay);
}

QString TriskVXStatusMenuController::toolTipTimeForSeconds(qint64 seconds) const
{
    if (seconds <= 0)
        return QString();
    // Cut toward zero like the picture's text, so that both change at the same tick. The last minute is
    // one text, whose seconds the picture counts: a tool tip changing each second would make the host
    // read every property a second time per tick (updateTitleCountDownText).
    if (seconds < kMinute)
        return localized(QStringLiteral("COUNTDOWN_TOOLTIP_LAST_MINUTE"));
    if (seconds < kHour)
        return localized(QStringLiteral("COUNTDOWN_TOOLTIP_FORMAT_M")).arg(seconds / kMinute);
    return localized(QStringLiteral("COUNTDOWN_TOOLTIP_FORMAT_HM")).arg(seconds / kHour).arg(seconds % kHour / kMinute);
}

QString TriskVXStatusMenuController::countDownToolTip(const QVariant &aQueuedTrigger, const QString &countDown) const
{
    // The clock time for planning, the time left for a glance, on hosts with and without the label.
    const QString name = eventNameWithQueuedTrigger(aQueuedTrigger);
    const QString date = triggerDateWithQueuedTrigger(aQueuedTrigger).toString();
    if (countDown.isEmpty())
        return localized(QStringLiteral("STATUSMENU_PENDING_TOOLTIP")).arg(name, date);
    return localized(QStringLiteral("STATUSMENU_PENDING_COUNTDOWN_TOOLTIP")).arg(name, date, countDown);
}

QString TriskVXStatusMenuController::countDownTimeForQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    if (aQueuedTrigger == nil)
        return QString();
    const QVariant trigger = aQueuedTrigger.toMap().value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Trigger is missing"));
    const QVariant date = trigger.toMap().value(kVXTriggerDate);
    TRISK_ASSERT(date != nil, QStringLiteral("Trigger date is missing"));
    // Hours, minutes and seconds of the difference; hours are not folded into days.
    const qint64 difference = clock()->now().secsTo(date.toDateTime());
    const qint64 hours = difference / 3600;
    const qint64 minutes = (difference % 3600) / 60;
    const qint64 seconds = difference % 60;
    if (hours <= 0 && minutes <= 0 && seconds <= 0)
        return QString();
    // Minutes and seconds after a larger unit take two digits, as a clock shows them ("2:05:09").
    const QChar zero = QLatin1Char('0');
    if (hours >= 1)
        return localized(QStringLiteral("COUNTDOWN_FORMAT_HMS"))
            .arg(hours)
            .arg(minutes, 2, 10, zero)
            .arg(seconds, 2, 10, zero);
    if (minutes >= 1)
        return localized(QStringLiteral("COUNTDOWN_FORMAT_MS")).arg(minutes).arg(seconds, 2, 10, zero);
    return localized(QStringLiteral("COUNTDOWN_FORMAT_S")).arg(seconds, 2, 10, zero);
}

QImage TriskVXStatusMenuController::appendPerformingImageVariation(const QImage &image, const QString &variation) const
{
    const QImage cog = imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        builtInIdentifier(kVXElementImage_ActionCog), QSizeF(imageSizeForMenuStatus(), imageSizeForMenuStatus()),
        variation, image.isNull() ? 1.0 : image.devicePixelRatio());
    const PerformingImageLayout layout
        = performingImageLayout(image.deviceIndependentSize(), cog.deviceIndependentSize());
    const qreal ratio = image.isNull() ? cog.devicePixelRatio() : image.devicePixelRatio();
    QImage combined(qCeil(layout.size.width() * ratio), qCeil(layout.size.height() * ratio),
                    QImage::Format_ARGB32_Premultiplied);
    combined.fill(Qt::transparent);
    combined.setDevicePixelRatio(ratio);
    QPainter painter(&combined);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setOpacity(1.0);
    painter.drawImage(layout.baseOrigin, image);
    painter.drawImage(layout.cogOrigin, cog);
    painter.end();
    TriskVXIImageAssistant::setTemplate(combined, TriskVXIImageAssistant::isTemplate(image));
    return combined;
}
