#include "TriskVXSecondTimer.h"

#include "TriskVXClock.h"

#include <QHash>
#include <QPointer>
#include <QTimer>

namespace {
// Past the boundary, so that a count-down read at the tick already shows the new second even when the
// wall clock and the timer's monotonic clock disagree by a millisecond.
const qint64 kAfterBoundaryMSecs = 2;

// The one wake-up of a clock's second timers.
class SecondTicker : public QObject
{
public:
    explicit SecondTicker(const TriskVXClock *clock)
        : m_clock(clock)
    {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            fire();
            arm();
        });
        QObject::connect(clock, &TriskVXClock::timeChanged, this, [this] {
            fire();
            arm();
        });
    }

    void add(TriskVXSecondTimer *timer)
    {
        if (!m_timers.contains(timer))
            m_timers.append(timer);
        arm();
    }

    void remove(TriskVXSecondTimer *timer)
    {
        m_timers.removeAll(timer);
        if (m_timers.isEmpty())
            m_timer.stop();
    }

private:
    // The delay is measured again at every tick, so a late wake-up never shifts the following ones.
    void arm()
    {
        if (m_timers.isEmpty() || m_clock->isManual()) {
            m_timer.stop();
            return;
        }
        const qint64 intoSecond = m_clock->now().toMSecsSinceEpoch() % 1000;
        m_timer.start(int(1000 - intoSecond + kAfterBoundaryMSecs));
    }

    void fire()
    {
        // A timeout may stop or delete other timers of the list.
        const QList<QPointer<TriskVXSecondTimer>> timers(m_timers.cbegin(), m_timers.cend());
        for (const QPointer<TriskVXSecondTimer> &timer : timers) {
            if (timer && timer->isActive())
                Q_EMIT timer->timeout();
        }
    }

    const TriskVXClock *m_clock;
    QTimer m_timer;
    QList<TriskVXSecondTimer *> m_timers;
};

QHash<const TriskVXClock *, SecondTicker *> &tickers()
{
    // Never destroyed: the system clock is a static itself and lets go of its ticker here at exit, after
    // a static table would already be gone (a crash at every fourth SIGTERM or so).
    static auto *byClock = new QHash<const TriskVXClock *, SecondTicker *>;
    return *byClock;
}

SecondTicker *tickerOf(const TriskVXClock *clock)
{
    SecondTicker *&ticker = tickers()[clock];
    if (!ticker) {
        ticker = new SecondTicker(clock);
        QObject::connect(clock, &QObject::destroyed, [clock] {
            delete tickers().take(clock);
        });
    }
    return ticker;
}
} // namespace

TriskVXSecondTimer::TriskVXSecondTimer(const TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
    start();
}

TriskVXSecondTimer::~TriskVXSecondTimer()
{
    stop();
}

void TriskVXSecondTimer::start()
{
    m_active = true;
    tickerOf(m_clock)->add(this);
}

void TriskVXSecondTimer::stop()
{
    if (!m_active)
        return;
    m_active = false;
    if (SecondTicker *ticker = tickers().value(m_clock))
        ticker->remove(this);
}

void TriskVXSecondTimer::replace(QPointer<TriskVXSecondTimer> &slot, TriskVXSecondTimer *timer, QObject *receiver,
                                 const std::function<void()> &fired)
{
    if (slot == timer)
        return;
    if (slot) {
        slot->stop();
        slot->deleteLater();
    }
    slot = timer;
    if (timer)
        connect(timer, &TriskVXSecondTimer::timeout, receiver, fired);
}
