// A panel host in a process of its own: it owns the status notifier watcher's name on the session bus
// under the process name given as its argument (as /proc/<pid>/comm shows it), says "ready" on its
// output once the name is taken, and runs until it is ended.
#include "FakeStatusNotifierWatcher.h"

#include <QCoreApplication>

#include <cstdio>
#include <sys/prctl.h>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc < 2 || prctl(PR_SET_NAME, argv[1], 0, 0, 0) != 0)
        return 2;
    FakeStatusNotifierWatcher watcher;
    if (!watcher.start())
        return 1;
    std::puts("ready");
    std::fflush(stdout);
    return QCoreApplication::exec();
}
