#include "TriskVXStatusMenuResize.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXClock.h"
#include "TriskVXNil.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"

#include <QFontMetricsF>
#include <QTimer>

TriskVXStatusMenuResize::TriskVXStatusMenuResize(const TriskVXClock *clock, TriskVXStatusBar *bar, QObject *parent)
    : QObject(parent)
    , m_clock(clock ? clock : TriskVXClock::systemClock())
    , m_bar(bar ? bar : TriskVXStatusBar::systemStatusBar())
{
}

TriskVXStatusMenuResize *TriskVXStatusMenuResize::statusResizeWithStatusItem(TriskVXStatusItem *item,
                                                                             const TriskVXClock *clock,
                                                                             TriskVXStatusBar *bar, QObject *parent)
{
    auto *resize = new TriskVXStatusMenuResize(clock, bar, parent);
    try {
        if (resize->initWithStatusItem(item))
            return resize;
    } catch (...) {
        delete resize;
        throw;
    }
    delete resize;
    return nullptr;
}

TriskVXStatusMenuResize::~TriskVXStatusMenuResize()
{
    setTimer(nullptr);
}

bool TriskVXStatusMenuResize::initWithStatusItem(TriskVXStatusItem *item)
{
    TRISK_PARAMETER_ASSERT(item != nil);
    m_statusItem = item;
    item->setLength(0.0);
    m_targetLength = item->length();
    setDuration(0.0);
    setTimer(nullptr);
    setTitle(item->title());
    return true;
}

void TriskVXStatusMenuResize::setTimer(QTimer *timer)
{
    if (timer == m_timer)
        return;
    if (m_timer) {
        m_timer->stop();
        m_timer->deleteLater();
    }
    m_timer = timer;
}

void TriskVXStatusMenuResize::setDuration(double seconds)
{
    m_startTime = m_clock->now();
    m_endTime = m_startTime.addMSecs(qint64(seconds * 1000.0));
}

double TriskVXStatusMenuResize::durationRemaining() const
{
    return m_clock->now().msecsTo(m_endTime) / 1000.0;
}

double TriskVXStatusMenuResize::widthFor(const QString &title, double imageWidth, const TriskVXStatusBar *bar)
{
    const QFontMetricsF metrics(bar->menuBarFontOfSize(0.0));
    double width = qMax(imageWidth, 1.1 * bar->thickness()) + metrics.horizontalAdvance(title);
    if (!title.isEmpty() && imageWidth > 0)
        width += metrics.horizontalAdvance(QStringLiteral("  "));
    return width;
}

void TriskVXStatusMenuResize::setTitle(const QString &title)
{
    if (!m_statusItem)
        return;
    m_statusItem->setAttributedTitle(title, m_bar->menuBarFontOfSize(0.0));
    // Measuring the text was 15 % of a count-down tick, for a length no panel of the desktop reads.
    if (!m_bar->drawsItemLengths())
        return;
    const QImage image = m_statusItem->image();
    const double imageWidth = image.isNull() ? 0.0 : image.width() / image.devicePixelRatio();
    startTransitionToLength(widthFor(title, imageWidth, m_bar));
}

void TriskVXStatusMenuResize::startTransitionToLength(double length)
{
    if (length == m_targetLength)
        return;
    m_targetLength = length;
    setDuration(1.0);
    if (m_timer && m_timer->isActive())
        return;
    auto *timer = new QTimer(this);
    timer->setInterval(kStepMSecs);
    connect(timer, &QTimer::timeout, this, &TriskVXStatusMenuResize::adjustWidth);
    timer->start();
    setTimer(timer);
}

void TriskVXStatusMenuResize::adjustWidth()
{
    if (!m_statusItem)
        return;
    double current = m_statusItem->length();
    if (durationRemaining() < 0) {
        current = m_targetLength;
        setTimer(nullptr);
    } else {
        if (current == TriskVXStatusItem::kVariableLength)
            current = m_statusItem->viewWidth();
        current = current + (m_targetLength - current) * 0.5;
    }
    m_statusItem->setLength(current);
}
