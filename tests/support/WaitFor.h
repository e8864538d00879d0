#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <functional>

// Runs the event loop until done answers true or timeoutMSecs pass; the last answer of done. For test
// helpers and benchmarks, which wait on the bus without sleeping. Between events the loop sleeps, woken
// every few milliseconds for conditions no event announces (a name on the bus, a file), so that a waiting
// program leaves the CPU to the processes it waits for.
inline bool waitFor(const std::function<bool()> &done, int timeoutMSecs = 10000)
{
    QDeadlineTimer deadline(timeoutMSecs);
    QTimer wake;
    wake.start(5);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}
