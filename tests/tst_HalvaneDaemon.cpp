#include "HalvaneDemoSchedule.h"
#include "HalvanedProcess.h"
#include "PrivateBus.h"
#include "ServiceClient.h"
#include "TriskVXConstants.h"
#include "TriskVXRecords.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <QTimeZone>

namespace {
const int kWait = 10000;
}

// The halvaned program: its command line, its demo schedule, its ways of ending.
class tst_HalvaneDaemon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void badCommandLines_data();
    void badCommandLines();
    void demoScheduleIsValidAndHarmless();
    void servesAPrivateBusByAddress();
    void endsWithItsBus();
    void restartLosesNothing();
    void killedRightAfterAnAnswerLosesNothing();
    void corruptStoreIsKeptAside();
    void badCatchUp();
};

void tst_HalvaneDaemon::badCommandLines_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown option") << QStringList { QStringLiteral("--frobnicate") } << QStringLiteral("frobnicate");
    QTest::newRow("stray argument") << QStringList { QStringLiteral("now") }
                                    << QStringLiteral("unexpected argument now");
    QTest::newRow("missing value") << QStringList { QStringLiteral("--name") } << QStringLiteral("name");
}

void tst_HalvaneDaemon::badCommandLines()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QProcess process;
    process.start(QStringLiteral(HALVANED_PATH), arguments);
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(QString::fromUtf8(process.readAllStandardError()).contains(message));
}

void tst_HalvaneDaemon::demoScheduleIsValidAndHarmless()
{
    const QDateTime now(QDate(2030, 1, 1), QTime(12, 0), QTimeZone::utc());
    const QVariantList events = HalvaneDemoSchedule::events(now);
    QCOMPARE(events.size(), 3);
    int onDemand = 0;
    for (const QVariant &event : events) {
        QString error;
        QVERIFY2(TriskVXRecords::isWellFormedEvent(event, &error), qPrintable(error));
        onDemand += TriskVXRecords::isPerformableOnDemand(event.toMap()) ? 1 : 0;
        // Nothing in the demo names an action: it only shows.
        QVERIFY(!event.toMap().contains(QStringLiteral("Actions")));
        const QVariantList triggers = event.toMap().value(kVXEventTriggers).toList();
        for (const QVariant &trigger : triggers)
            QVERIFY(trigger.toMap().value(kVXTriggerDate).toDateTime() > now);
    }
    QCOMPARE(onDemand, 2);
}

void tst_HalvaneDaemon::servesAPrivateBusByAddress()
{
    PrivateBus daemon;
    QVERIFY(daemon.start());
    const QString address = daemon.address();
    QProcess halvaned;
    halvaned.setProcessChannelMode(QProcess::MergedChannels);
    halvaned.start(QStringLiteral(HALVANED_PATH), { QStringLiteral("--bus"), address });
    {
        const QDBusConnection bus = QDBusConnection::connectToBus(address, QStringLiteral("private"));
        QTRY_VERIFY_WITH_TIMEOUT(bus.interface()->isServiceRegistered(kVXDBusServiceName).value(), kWait);
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("private"));
    halvaned.terminate();
    QVERIFY(halvaned.waitForFinished(kWait));
    QCOMPARE(halvaned.exitStatus(), QProcess::NormalExit);
    QCOMPARE(halvaned.exitCode(), 0);
}

void tst_HalvaneDaemon::endsWithItsBus()
{
    PrivateBus daemon;
    QVERIFY(daemon.start());
    const QString address = daemon.address();
    QProcess halvaned;
    halvaned.setProcessChannelMode(QProcess::MergedChannels);
    halvaned.start(QStringLiteral(HALVANED_PATH), { QStringLiteral("--bus"), address });
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += halvaned.readAll()).contains("serving"), kWait);
    daemon.kill();
    QVERIFY(halvaned.waitForFinished(kWait));
    QCOMPARE(halvaned.exitCode(), 1);
}

namespace {
QVariantList twoEvents()
{
    const QDateTime soon = QDateTime::currentDateTimeUtc().addDays(2);
    return { QVariantMap { { kVXEventUniqueID, QStringLiteral("a") },
                           { kVXEventName, QStringLiteral("A") },
                           { kVXEventTriggers,
                             QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                          { kVXTriggerDate, soon },
                                                          { kVXTriggerIdentifier, QStringLiteral("a1") } },
                                            QVariantMap { { kVXTriggerType, kVXTriggerType_Daily },
                                                          { kVXTriggerTime, QStringLiteral("04:00") },
                                                          { kVXTriggerIdentifier, QStringLiteral("a2") } } } } },
             QVariantMap { { kVXEventUniqueID, QStringLiteral("b") },
                           { kVXEventName, QStringLiteral("B") },
                           { kVXEventTriggers,
                             QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                          { kVXTriggerDate, soon.addDays(1) },
                                                          { kVXTriggerIdentifier, QStringLiteral("b1") } } } } } };
}

QHash<QString, QVariant> everything(const ServiceClient &client)
{
    QHash<QString, QVariant> values;
    for (const QString &variable : TriskVXObserver::observedVariables())
        values.insert(variable, client.value(variable));
    return values;
}
} // namespace

void tst_HalvaneDaemon::restartLosesNothing()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    QHash<QString, QVariant> before;
    {
        ServiceClient client(service.location());
        QVERIFY(client.ready());
        QVERIFY(client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, twoEvents() } }));
        QVERIFY(client.request(kVXRPCSchedulerAdjust,
                               { { kVXRPCParameterTriggerID, QStringLiteral("a1") },
                                 { kVXRPCParameterDate, QDateTime::currentDateTimeUtc().addDays(5) } }));
        QVERIFY(client.request(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("b1") } }));
        QVERIFY(client.request(kVXRPCSchedulerCancel,
                               { { kVXRPCParameterTriggerID, QStringLiteral("a2") },
                                 { kVXRPCParameterUntil, QDateTime::currentDateTimeUtc().addDays(3) } }));
        QVERIFY(client.request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }));
        before = everything(client);
    }
    QVERIFY(service.stop());
    QVERIFY(service.start());
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(everything(client), before);
    QVERIFY(!client.pendingIDs().contains(QStringLiteral("b1")));
    // The cancellation is still undoable after the restart.
    QVERIFY(client.request(kVXRPCSchedulerReset, { { kVXRPCParameterTriggerID, QStringLiteral("b1") } }));
    QVERIFY(client.pendingIDs().contains(QStringLiteral("b1")));
}

void tst_HalvaneDaemon::killedRightAfterAnAnswerLosesNothing()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    const QDateTime moved = QDateTime::currentDateTimeUtc().addDays(7);
    {
        ServiceClient client(service.location());
        QVERIFY(client.ready());
        QVERIFY(client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, twoEvents() } }));
        QVERIFY(client.request(kVXRPCSchedulerAdjust,
                               { { kVXRPCParameterTriggerID, QStringLiteral("b1") }, { kVXRPCParameterDate, moved } }));
        // kill -9 the moment the answer is in: the change was on disk before it was acknowledged.
        QVERIFY(service.kill());
    }
    QVERIFY(service.start());
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(client.pendingDate(QStringLiteral("b1")), moved);
}

void tst_HalvaneDaemon::corruptStoreIsKeptAside()
{
    HalvanedProcess service;
    QFile file(service.stateFile());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("this is no store");
    file.close();
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(client.value(kVXObserveOnDemandAvailable).toList().size(), 2);
    const QStringList kept = QDir(service.stateDirectory()).entryList({ QStringLiteral("store.plist.corrupt-*") });
    QCOMPARE(kept.size(), 1);
    QFile aside(QDir(service.stateDirectory()).filePath(kept.first()));
    QVERIFY(aside.open(QIODevice::ReadOnly));
    QCOMPARE(aside.readAll(), QByteArray("this is no store"));
    QVERIFY(service.stop());
    const QString output = service.output();
    QVERIFY2(output.contains(QStringLiteral("the state file cannot be read"))
                 && output.contains(QStringLiteral("kept aside as")),
             qPrintable(output));
}

void tst_HalvaneDaemon::badCatchUp()
{
    QProcess process;
    process.start(QStringLiteral(HALVANED_PATH), { QStringLiteral("--catch-up"), QStringLiteral("soon") });
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(QString::fromUtf8(process.readAllStandardError()).contains(QStringLiteral("--catch-up")));
}

QTEST_GUILESS_MAIN(tst_HalvaneDaemon)
#include "tst_HalvaneDaemon.moc"
