// halvaned's figures: start-up with a store of 10,000 events (the process, until its name is on the bus
// and it answers), queue recomputation after one change with 10,000 events (in process), and sustained
// requests per second from 4 concurrent clients. Run under dbus-run-session (bench/run).
#include "BenchEvents.h"
#include "BenchStatistics.h"
#include "HalvaneScheduler.h"
#include "HalvaneSchedulerService.h"
#include "HalvaneStateFile.h"
#include "HalvanedProcess.h"
#include "TriskVXClock.h"
#include "TriskVXConnection.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXRequest.h"
#include "WaitFor.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("trisk.*.info=false\nhalvane.*.info=false"));
    QTextStream out(stdout);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;
    const QDateTime now = QDateTime::currentDateTimeUtc();

    // Recomputation: one request's change with the whole queue and every published list rebuilt.
    TriskVXClock clock;
    clock.setNow(now);
    HalvaneScheduler scheduler(&clock, nullptr);
    QElapsedTimer timer;
    timer.start();
    scheduler.handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, benchEvents(count, now) } });
    out << QStringLiteral("storing %1 events in one request: %2 ms")
               .arg(count)
               .arg(timer.nsecsElapsed() / 1e6, 0, 'f', 1)
        << Qt::endl;
    scheduler.start();
    QList<qint64> changes;
    for (int i = 0; i < 50; ++i) {
        timer.start();
        scheduler.handle(
            kVXRPCSchedulerAdjust,
            { { kVXRPCParameterTriggerID, QStringLiteral("t1") }, { kVXRPCParameterDate, now.addSecs(7200 + i) } });
        changes.append(timer.nsecsElapsed());
    }
    BenchStatistics::report(out, QStringLiteral("recomputation after one change, %1 events").arg(count), changes);
    QList<qint64> encodings;
    for (int i = 0; i < 20; ++i) {
        timer.start();
        const QList<QVariantMap> wire
            = TriskVXDBusPropertyList::encodeRecordList(scheduler.variable(kVXObserveSchedulerPending).toList());
        encodings.append(timer.nsecsElapsed());
        Q_UNUSED(wire)
    }
    BenchStatistics::report(out, QStringLiteral("encoding the pending list for the bus, %1 entries").arg(count),
                            encodings);

    // Start-up: a state file of that size, then the real halvaned until it answers.
    HalvanedProcess service;
    QString error;
    if (!HalvaneStateFile::save(service.stateFile(), scheduler.toPropertyList(), &error)) {
        out << error << Qt::endl;
        return 1;
    }
    {
        timer.start();
        QVariantMap state;
        HalvaneStateFile::load(service.stateFile(), &state, &error);
        const qint64 loaded = timer.nsecsElapsed();
        HalvaneScheduler restored(&clock, nullptr);
        restored.restore(state, &error);
        const qint64 restoredAt = timer.nsecsElapsed();
        restored.start();
        const qint64 started = timer.nsecsElapsed();
        out << QStringLiteral("in process: reading the state file %1 ms, restoring %2 ms, first pass %3 ms")
                   .arg(loaded / 1e6, 0, 'f', 1)
                   .arg((restoredAt - loaded) / 1e6, 0, 'f', 1)
                   .arg((started - restoredAt) / 1e6, 0, 'f', 1)
            << Qt::endl;
    }
    if (qEnvironmentVariableIsSet("BENCH_KEEP_STATE"))
        QFile::copy(service.stateFile(), qEnvironmentVariable("BENCH_KEEP_STATE"));
    QList<qint64> startups;
    for (int i = 0; i < 5; ++i) {
        timer.start();
        if (!service.start())
            return 1;
        QDBusMessage ping = QDBusMessage::createMethodCall(service.serviceName(), kVXDBusObjectPath, kVXDBusInterface,
                                                           kVXDBusMethodAuthenticate);
        QDBusConnection::sessionBus().call(ping);
        startups.append(timer.nsecsElapsed());
        service.stop();
    }
    BenchStatistics::report(out, QStringLiteral("halvaned start-up with %1 events (until it answers)").arg(count),
                            startups);

    // Throughput: 4 clients, each with one request in flight at a time, for 5 seconds, on a small store.
    HalvanedProcess small;
    if (!small.start(qEnvironmentVariableIsSet("BENCH_NO_STATE")
                         ? QStringList { QStringLiteral("--demo"), QStringLiteral("--no-state") }
                         : QStringList { QStringLiteral("--demo") }))
        return 1;
    const int clients = 4;
    QList<std::shared_ptr<TriskVXConnection>> connections;
    for (int i = 0; i < clients; ++i) {
        const QString name = QStringLiteral("bench-client-%1").arg(i);
        const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        connections.append(std::shared_ptr<TriskVXConnection>(
            TriskVXConnection::connectionWithLocation(TriskVXServiceLocation::onBus(bus, small.serviceName()))));
    }
    if (!waitFor(
            [&] {
                return std::all_of(connections.cbegin(), connections.cend(), [](const auto &c) {
                    return c->isValid();
                });
            },
            30000))
        return 1;
    qint64 completed = 0;
    qint64 failed = 0;
    bool running = true;
    std::function<void(int)> sendNext = [&](int index) {
        const TriskVXRequest request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, completed % 2 == 0 } });
        connections.at(index)->send(&request, [&, index](const TriskVXResponse &response) {
            ++completed;
            failed += response.succeeded() ? 0 : 1;
            if (running)
                sendNext(index);
        });
    };
    const qint64 seconds = 5;
    timer.start();
    for (int i = 0; i < clients; ++i)
        sendNext(i);
    waitFor(
        [&] {
            return timer.elapsed() >= seconds * 1000;
        },
        int(seconds * 1000 + 1000));
    running = false;
    const double elapsed = timer.nsecsElapsed() / 1e9;
    out << QStringLiteral("4 concurrent clients, state-changing requests (each saved before it is answered): %1 "
                          "requests/s (%2 in %3 s, %4 failed)")
               .arg(completed / elapsed, 0, 'f', 0)
               .arg(completed)
               .arg(elapsed, 0, 'f', 1)
               .arg(failed)
        << Qt::endl;
    waitFor(
        [] {
            return false;
        },
        200);
    return 0;
}
