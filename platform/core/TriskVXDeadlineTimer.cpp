#include "TriskVXDeadlineTimer.h"

#include "TriskVXClock.h"
#include "TriskVXPlatformLogging.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <sys/timerfd.h>
#include <unistd.h>

TriskVXDeadlineTimer::TriskVXDeadlineTimer(const TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock ? clock : TriskVXClock::systemClock())
{
    connect(m_clock, &TriskVXClock::timeChanged, this, &TriskVXDeadlineTimer::clockMoved);
    // CLOCK_REALTIME with an absolute expiry is a wall-clock deadline: it survives suspend, and
    // TFD_TIMER_CANCEL_ON_SET reports every setting of the clock.
    m_fd = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (m_fd < 0) {
        qCWarning(lcTriskPlatform) << "cannot create a wall-clock timer:" << strerror(errno);
        return;
    }
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TriskVXDeadlineTimer::readTimer);
}

TriskVXDeadlineTimer::~TriskVXDeadlineTimer()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

void TriskVXDeadlineTimer::start(const QDateTime &deadline)
{
    m_deadline = deadline;
    arm();
}

void TriskVXDeadlineTimer::stop()
{
    m_deadline = QDateTime();
    arm();
}

void TriskVXDeadlineTimer::arm()
{
    if (m_fd < 0)
        return;
    itimerspec deadline = {};
    if (m_deadline.isValid() && !m_clock->isManual()) {
        const qint64 msecs = qMax<qint64>(1, m_deadline.toMSecsSinceEpoch());
        deadline.it_value.tv_sec = time_t(msecs / 1000);
        deadline.it_value.tv_nsec = long(msecs % 1000) * 1000000L;
    }
    if (::timerfd_settime(m_fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &deadline, nullptr) != 0)
        qCWarning(lcTriskPlatform) << "cannot arm the wall-clock timer:" << strerror(errno);
}

void TriskVXDeadlineTimer::readTimer()
{
    quint64 expirations = 0;
    const ssize_t bytes = ::read(m_fd, &expirations, sizeof expirations);
    if (bytes < 0 && errno == ECANCELED) {
        // The clock was set, which disarmed the timer.
        clockMoved();
        return;
    }
    if (bytes != sizeof expirations)
        return;
    if (m_deadline.isValid() && m_clock->now() >= m_deadline) {
        m_deadline = QDateTime();
        Q_EMIT timeout();
    }
}

void TriskVXDeadlineTimer::clockMoved()
{
    if (m_deadline.isValid() && m_clock->now() >= m_deadline) {
        m_deadline = QDateTime();
        arm();
        Q_EMIT timeout();
        return;
    }
    arm();
    Q_EMIT clockChanged();
}
