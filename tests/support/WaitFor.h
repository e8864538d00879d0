#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <functional>

// Runs the event loop until done answers true or timeoutMSecs pass; the last answer of done. For test
// helpers and benchmarks, which wait on the bus without sleeping.
inline bool waitFor(const std::function<bool()> &done, int timeoutMSecs = 10000)
{
    QDeadlineTimer deadline(timeoutMSecs);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return done();
}
