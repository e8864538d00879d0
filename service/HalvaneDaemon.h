#pragma once

#include <QStringList>

// halvaned: reads its command line, takes its bus name and serves until SIGTERM or SIGINT.
class HalvaneDaemon
{
public:
    // Runs the event loop of the existing QCoreApplication; the answer is the exit status.
    static int run(const QStringList &arguments);
};
