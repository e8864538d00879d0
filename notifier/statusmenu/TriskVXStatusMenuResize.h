#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include "TriskVXStatusItem.h"

class QTimer;
class TriskVXClock;
class TriskVXStatusBar;

// Sets a status item's title at once and eases its length toward the width the image and the
// title need, halving the distance every 0.08 s and landing exactly one second after the last change.
class TriskVXStatusMenuResize : public QObject
{
    Q_OBJECT

public:
    // The factory runs initWithStatusItem:; nullptr (nil) is refused by its assertion.
    static TriskVXStatusMenuResize *statusResizeWithStatusItem(TriskVXStatusItem *item,
                                                               const TriskVXClock *clock = nullptr,
                                                               TriskVXStatusBar *bar = nullptr,
                                                               QObject *parent = nullptr);
    ~TriskVXStatusMenuResize() override;

    bool initWithStatusItem(TriskVXStatusItem *item);
    void setTitle(const QString &title);
    void setDuration(double seconds);
    void startTransitionToLength(double length);
    // One animation step (the timer's action).
    void adjustWidth();

    QTimer *timer() const { return m_timer; }
    void setTimer(QTimer *timer);
    TriskVXStatusItem *statusItem() const { return m_statusItem; }
    double targetLength() const { return m_targetLength; }
    QDateTime startTime() const { return m_startTime; }
    QDateTime endTime() const { return m_endTime; }
    // endTime − now, in seconds: negative once the transition time is over.
    double durationRemaining() const;

    // The width setTitle: asks for, for a title, an item image width and the bar.
    static double widthFor(const QString &title, double imageWidth, const TriskVXStatusBar *bar);

    static constexpr int kStepMSecs = 80;

private:
    TriskVXStatusMenuResize(const TriskVXClock *clock, TriskVXStatusBar *bar, QObject *parent);

    const TriskVXClock *m_clock;
    TriskVXStatusBar *m_bar;
    QPointer<TriskVXStatusItem> m_statusItem;
    QTimer *m_timer = nullptr;
    double m_targetLength = 0.0;
    QDateTime m_startTime;
    QDateTime m_endTime;
};
