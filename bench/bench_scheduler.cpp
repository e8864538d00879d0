// halvaned's figures: start-up with a store of 10,000 events (the process, until its name is on the bus
// and it answers), queue recomputation after one change with 10,000 events (in process), the time and
// bytes of saving one small change (the store, a journal, the whole state file), and sustained requests
// per second from 4 concurrent clients with the store on and off, with the same events stored, and the
// share of the store-off rate that the store leaves. Run under dbus-run-session (bench/run).
#include "BenchEvents.h"
#include "BenchStatistics.h"
#include "HalvaneScheduler.h"
#include "HalvaneSchedulerService.h"
#include "HalvaneStateFile.h"
#include "HalvaneStore.h"
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

#include <array>

#include <fcntl.h>
#include <unistd.h>

namespace {
// This process's write counters (/proc/self/io): bytes handed to write calls, and bytes sent towards
// the disk.
struct KernelIO
{
    qint64 written = 0;
    qint64 toDisk = 0;

    static KernelIO now()
    {
        KernelIO io;
        QFile file(QStringLiteral("/proc/self/io"));
        if (!file.open(QIODevice::ReadOnly))
            return io;
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.startsWith("wchar: "))
                io.written = line.mid(7).toLongLong();
            else if (line.startsWith("write_bytes: "))
                io.toDisk = line.mid(13).toLongLong();
        }
        return io;
    }
};
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("trisk.*.info=false\nhalvane.*.info=false"));
    QTextStream out(stdout);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;
    const QDateTime now = QDateTime::currentDateTimeUtc();
    // "requests" as the second argument: the request loops alone, for profiling the service.
    const bool requestsOnly = argc > 2 && qstrcmp(argv[2], "requests") == 0;
    QElapsedTimer timer;
    // In requests of the most events one may carry.
    const QVariantList events = benchEvents(count, now);
    if (!requestsOnly) {
        // Recomputation: one request's change with the whole queue and every published list rebuilt.
        TriskVXClock clock;
        clock.setNow(now);
        HalvaneScheduler scheduler(&clock, nullptr);
        timer.start();
        for (qsizetype first = 0; first < events.size(); first += 2000) {
            const HalvaneResult stored
                = scheduler.handle(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events.mid(first, 2000) } });
            if (!stored.succeeded()) {
                out << stored.message() << Qt::endl;
                return 1;
            }
        }
        out << QStringLiteral("storing %1 events in requests of 2,000: %2 ms")
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

        // Saving one small change: the store (SQLite, WAL) against rewriting the whole state file, as earlier
        // versions did, and against appending the change to a journal. Bytes as the kernel counts them:
        // handed to write calls, and sent towards the disk.
        const QString folder
            = QDir::tempPath() + QStringLiteral("/halvane-bench-%1").arg(QCoreApplication::applicationPid());
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        HalvaneStore store(folder + QStringLiteral("/store.db"));
        {
            QString error;
            scheduler.takeChanges();
            scheduler.restore(scheduler.toPropertyList(), &error);
            if (!store.apply({ scheduler.takeChanges() }, &error)) {
                out << error << Qt::endl;
                return 1;
            }
        }
        // A small change: one trigger's firing moved, the row the store writes for an adjust request.
        const int smallChanges = 2000;
        auto change = [&](int i) {
            HalvaneTriggerState state = scheduler.triggerState(QStringLiteral("t%1").arg(i % count));
            state.adjustedNatural = now.addSecs(86400 + i);
            state.adjustedDate = now.addSecs(86400 * 2 + i);
            HalvaneStateDelta delta;
            delta.triggerStates.append({ QStringLiteral("t%1").arg(i % count), state.toPropertyList() });
            return delta;
        };
        auto measureSaves = [&](const QString &design, const std::function<bool(const HalvaneStateDelta &)> &save) {
            QList<qint64> times;
            const KernelIO before = KernelIO::now();
            for (int i = 0; i < smallChanges; ++i) {
                const HalvaneStateDelta delta = change(i);
                timer.start();
                if (!save(delta))
                    return false;
                times.append(timer.nsecsElapsed());
            }
            const KernelIO after = KernelIO::now();
            BenchStatistics::report(
                out, QStringLiteral("%1: saving one small change, %2 events").arg(design).arg(count), times);
            out << QStringLiteral("%1: bytes per small change: %2 written, %3 towards the disk (over %4 changes)")
                       .arg(design)
                       .arg((after.written - before.written) / smallChanges)
                       .arg((after.toDisk - before.toDisk) / smallChanges)
                       .arg(smallChanges)
                << Qt::endl;
            return true;
        };
        QString error;
        measureSaves(QStringLiteral("store"), [&](const HalvaneStateDelta &delta) {
            return store.apply({ delta }, &error);
        });
        const QByteArray journalPath = QFile::encodeName(folder + QStringLiteral("/journal"));
        const int journal = ::open(journalPath.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        measureSaves(QStringLiteral("journal"), [&](const HalvaneStateDelta &delta) {
            QByteArray record;
            QDataStream stream(&record, QIODevice::WriteOnly);
            for (const auto &[id, state] : delta.triggerStates)
                stream << id << QVariant(state.value_or(QVariantMap()));
            return ::write(journal, record.constData(), size_t(record.size())) == record.size()
                && ::fdatasync(journal) == 0;
        });
        ::close(journal);
        const int wholeFileChanges = 5;
        QList<qint64> wholeFile;
        const KernelIO beforeWhole = KernelIO::now();
        for (int i = 0; i < wholeFileChanges; ++i) {
            timer.start();
            HalvaneStateFile::save(folder + QStringLiteral("/store.plist"), scheduler.toPropertyList(), &error);
            wholeFile.append(timer.nsecsElapsed());
        }
        const KernelIO afterWhole = KernelIO::now();
        BenchStatistics::report(out, QStringLiteral("state file: saving one small change, %1 events").arg(count),
                                wholeFile);
        out << QStringLiteral("state file: bytes per small change: %1 written, %2 towards the disk")
                   .arg((afterWhole.written - beforeWhole.written) / wholeFileChanges)
                   .arg((afterWhole.toDisk - beforeWhole.toDisk) / wholeFileChanges)
            << Qt::endl;

        // Start-up: a store of that size, then the real halvaned until it answers.
        HalvanedProcess service;
        store.close();
        if (!QFile::copy(folder + QStringLiteral("/store.db"), service.stateFile())) {
            out << QStringLiteral("cannot copy the store") << Qt::endl;
            return 1;
        }
        QDir(folder).removeRecursively();
        {
            timer.start();
            QVariantMap state;
            HalvaneStore reading(service.stateFile());
            reading.load(&state, &error);
            const qint64 loaded = timer.nsecsElapsed();
            HalvaneScheduler restored(&clock, nullptr);
            restored.restore(state, &error, HalvaneScheduler::Restore::FromStore);
            const qint64 restoredAt = timer.nsecsElapsed();
            restored.start();
            const qint64 started = timer.nsecsElapsed();
            out << QStringLiteral("in process: reading the store %1 ms, restoring %2 ms, first pass %3 ms")
                       .arg(loaded / 1e6, 0, 'f', 1)
                       .arg((restoredAt - loaded) / 1e6, 0, 'f', 1)
                       .arg((started - restoredAt) / 1e6, 0, 'f', 1)
                << Qt::endl;
        }
        if (qEnvironmentVariableIsSet("BENCH_KEEP_STATE"))
            QFile::copy(service.stateFile(), qEnvironmentVariable("BENCH_KEEP_STATE"));
        // The same without a store: what starting the process and taking the name cost alone.
        for (const bool withStore : { true, false }) {
            QList<qint64> startups;
            for (int i = 0; i < 5; ++i) {
                timer.start();
                if (!service.start(withStore ? QStringList() : QStringList { QStringLiteral("--no-state") }))
                    return 1;
                QDBusMessage ping = QDBusMessage::createMethodCall(service.serviceName(), kVXDBusObjectPath,
                                                                   kVXDBusInterface, kVXDBusMethodAuthenticate);
                QDBusConnection::sessionBus().call(ping);
                startups.append(timer.nsecsElapsed());
                service.stop();
            }
            BenchStatistics::report(
                out,
                withStore ? QStringLiteral("halvaned start-up with %1 events (until it answers)").arg(count)
                          : QStringLiteral("halvaned start-up without a store (until it answers)"),
                startups);
        }
    }

    // Throughput: clients each with one request in flight at a time (4 unless BENCH_CLIENTS says), for 5
    // seconds, with the same events stored first; with the store and without it, for the share of the
    // in-memory rate that saving leaves. Both services run side by side and their loops alternate, round
    // after round (BENCH_ROUNDS, 3), so that each share compares loops a few seconds apart: on this shared
    // machine the rates drift by a third within minutes.
    const int clients
        = qEnvironmentVariableIntValue("BENCH_CLIENTS") > 0 ? qEnvironmentVariableIntValue("BENCH_CLIENTS") : 4;
    const int rounds
        = qEnvironmentVariableIntValue("BENCH_ROUNDS") > 0 ? qEnvironmentVariableIntValue("BENCH_ROUNDS") : 3;
    // Longer loops (BENCH_REQUEST_SECONDS) leave time to attach a profiler to the pids shown.
    const qint64 seconds = qEnvironmentVariableIntValue("BENCH_REQUEST_SECONDS") > 0
        ? qEnvironmentVariableIntValue("BENCH_REQUEST_SECONDS")
        : 5;
    struct LoopService
    {
        bool saved = false;
        HalvanedProcess process;
        QList<std::shared_ptr<TriskVXConnection>> connections;
    };
    std::array<LoopService, 2> services;
    services[0].saved = true;
    for (LoopService &service : services) {
        if (!service.process.start(service.saved ? QStringList() : QStringList { QStringLiteral("--no-state") }))
            return 1;
        for (int i = 0; i < clients; ++i) {
            const QString name = QStringLiteral("bench-client-%1-%2").arg(service.saved).arg(i);
            const QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
            service.connections.append(std::shared_ptr<TriskVXConnection>(TriskVXConnection::connectionWithLocation(
                TriskVXServiceLocation::onBus(bus, service.process.serviceName()))));
        }
        if (!waitFor(
                [&] {
                    return std::all_of(service.connections.cbegin(), service.connections.cend(), [](const auto &c) {
                        return c->isValid();
                    });
                },
                30000))
            return 1;
        for (qsizetype first = 0; first < events.size(); first += 2000) {
            const TriskVXRequest storing(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events.mid(first, 2000) } });
            bool answered = false;
            bool stored = false;
            service.connections.first()->send(&storing, [&](const TriskVXResponse &response) {
                answered = true;
                stored = response.succeeded();
            });
            if (!waitFor(
                    [&] {
                        return answered;
                    },
                    60000)
                || !stored) {
                out << QStringLiteral("cannot store the events in the service") << Qt::endl;
                return 1;
            }
        }
        if (requestsOnly)
            QTextStream(stderr) << QStringLiteral("halvaned pid %1, store %2")
                                       .arg(QDBusConnection::sessionBus().interface()->servicePid(
                                           service.process.serviceName()))
                                       .arg(service.saved ? QStringLiteral("on") : QStringLiteral("off"))
                                << Qt::endl;
    }
    std::vector<double> shares;
    for (int round = 1; round <= rounds; ++round) {
        std::array<double, 2> rates {};
        for (std::size_t which = 0; which < services.size(); ++which) {
            const LoopService &service = services.at(which);
            qint64 completed = 0;
            qint64 failed = 0;
            bool running = true;
            std::function<void(int)> sendNext = [&](int index) {
                const TriskVXRequest request(kVXRPCSchedulerSetEnabled,
                                             { { kVXRPCParameterEnabled, completed % 2 == 0 } });
                service.connections.at(index)->send(&request, [&, index](const TriskVXResponse &response) {
                    ++completed;
                    failed += response.succeeded() ? 0 : 1;
                    if (running)
                        sendNext(index);
                });
            };
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
            rates[which] = completed / elapsed;
            out << QStringLiteral("round %7: %8 concurrent clients, %6 events, state-changing requests (%5): %1 "
                                  "requests/s (%2 in %3 s, %4 failed)")
                       .arg(rates[which], 0, 'f', 0)
                       .arg(completed)
                       .arg(elapsed, 0, 'f', 1)
                       .arg(failed)
                       .arg(service.saved ? QStringLiteral("each saved before it is answered")
                                          : QStringLiteral("store off"))
                       .arg(count)
                       .arg(round)
                       .arg(clients)
                << Qt::endl;
            // The clients' last answers arrive before the other loop starts.
            waitFor(
                [] {
                    return false;
                },
                200);
        }
        shares.push_back(rates[1] > 0 ? 100 * rates[0] / rates[1] : 0);
    }
    QStringList each;
    for (const double share : std::as_const(shares))
        each.append(QString::number(share, 'f', 0) + QLatin1Char('%'));
    out << QStringLiteral("durable requests as a share of the store-off rate: median %1% (rounds: %2)")
               .arg(BenchStatistics::median(shares), 0, 'f', 0)
               .arg(each.join(QStringLiteral(", ")))
        << Qt::endl;
    waitFor(
        [] {
            return false;
        },
        200);
    return 0;
}
