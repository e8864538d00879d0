// The login screen's instance ("trisk-notifier -login YES") as a greeter runs it: from exec until the X
// server maps its count-down window, and its resident memory then; and its wake-ups per minute while the
// service lists nothing (voluntary context switches of all its threads). The real halvaned serves on a
// bus that plays the system bus; the notifier gets no session bus.
// Usage: xvfb-run -a -s -noreset dbus-run-session -- bench_login [RUNS] [IDLE_SECONDS]
#include "BenchStatistics.h"
#include "HalvanedProcess.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {
// A number of a /proc status file.
long statusField(const QString &path, const QByteArray &field)
{
    QFile status(path);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

// Voluntary context switches of all the process's threads: each is a wake-up after a wait.
long wakeUps(qint64 pid)
{
    long sum = 0;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &thread : threads)
        sum += statusField(tasks + QLatin1Char('/') + thread + QStringLiteral("/status"), "voluntary_ctxt_switches:");
    return sum;
}

// Tells when a top-level window is mapped: the greeter's X server has no window manager, so the first
// map is the notifier's own window.
class MapWatch
{
public:
    MapWatch()
        : m_connection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(m_connection))
            return;
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_connection, screen->root, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_connection);
    }
    ~MapWatch() { xcb_disconnect(m_connection); }

    bool ok() const { return !xcb_connection_has_error(m_connection); }
    // Blocks until a window is mapped or the connection breaks.
    bool waitForMap()
    {
        while (xcb_generic_event_t *event = xcb_wait_for_event(m_connection)) {
            const bool mapped = (event->response_type & 0x7f) == XCB_MAP_NOTIFY;
            free(event);
            if (mapped)
                return true;
        }
        return false;
    }

private:
    xcb_connection_t *m_connection;
};

std::unique_ptr<QProcess> startLoginInstance(const QString &serviceName)
{
    auto process = std::make_unique<QProcess>();
    QStringList environment = QProcess::systemEnvironment();
    environment.append(QStringLiteral("HALVANE_SERVICE=") + serviceName);
    environment.append(QStringLiteral("DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/session-bus"));
    environment.append(QStringLiteral("QT_QPA_PLATFORM=xcb"));
    process->setEnvironment(environment);
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QStringLiteral(TRISK_NOTIFIER_PATH), { QStringLiteral("-login"), QStringLiteral("YES") });
    return process;
}

void stop(QProcess *process)
{
    process->terminate();
    process->waitForFinished(10000);
}
} // namespace

int main(int argc, char *argv[])
{
    // The bench's bus plays the system bus, for the service and the notifier alike.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    QCoreApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 10;
    const int idleSeconds = argc > 2 ? std::max(1, atoi(argv[2])) : 60;

    HalvanedProcess service;
    service.setBus(QStringLiteral("system"));
    if (!service.start({ QStringLiteral("--dry-run"), QStringLiteral("--rights"), QStringLiteral("rules") })) {
        std::fprintf(stderr, "halvaned did not start\n");
        return 1;
    }
    const QString soon = QDateTime::currentDateTime().addSecs(3600).toString(Qt::ISODate);
    if (!service.control({ QStringLiteral("add"), QStringLiteral("Shut down for the night"), QStringLiteral("--id"),
                           QStringLiteral("night"), QStringLiteral("--at"), soon, QStringLiteral("--log"),
                           QStringLiteral("bench"), QStringLiteral("--notice"), QStringLiteral("7200") }))
        return 1;

    std::vector<double> startUp;
    std::vector<double> resident;
    for (int run = 0; run < runs; ++run) {
        MapWatch watch;
        if (!watch.ok()) {
            std::fprintf(stderr, "no X server (run under xvfb-run)\n");
            return 1;
        }
        QElapsedTimer clock;
        clock.start();
        std::unique_ptr<QProcess> notifier = startLoginInstance(service.serviceName());
        if (!watch.waitForMap())
            return 1;
        startUp.push_back(double(clock.nsecsElapsed()) / 1e6);
        resident.push_back(double(statusField(QStringLiteral("/proc/%1/status").arg(notifier->processId()), "VmRSS:"))
                           / 1024.0);
        stop(notifier.get());
    }
    std::printf("login instance start-up until its window is mapped: median %.1f ms over %d runs (min %.1f)\n",
                BenchStatistics::median(startUp), runs, *std::min_element(startUp.begin(), startUp.end()));
    std::printf("  resident memory then: median %.2f MB (%.2f MiB; goal <= 30 MB)\n",
                BenchStatistics::median(resident) * 1.048576, BenchStatistics::median(resident));

    // A service with nothing scheduled.
    HalvanedProcess empty;
    empty.setBus(QStringLiteral("system"));
    if (!empty.start({ QStringLiteral("--dry-run"), QStringLiteral("--rights"), QStringLiteral("rules") }))
        return 1;
    std::unique_ptr<QProcess> idle = startLoginInstance(empty.serviceName());
    // Settled: connected, the variables read.
    waitFor(
        [] {
            return false;
        },
        3000);
    const long before = wakeUps(idle->processId());
    waitFor(
        [] {
            return false;
        },
        idleSeconds * 1000);
    const long after = wakeUps(idle->processId());
    std::printf("  with nothing pending: %.1f wake-ups per minute over %d s (all threads)\n",
                double(after - before) * 60.0 / idleSeconds, idleSeconds);
    stop(idle.get());
    return 0;
}
