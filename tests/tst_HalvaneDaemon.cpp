#include "HalvaneDemoSchedule.h"
#include "HalvanedProcess.h"
#include "PrivateBus.h"
#include "TriskVXConstants.h"
#include "TriskVXRecords.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
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

QTEST_GUILESS_MAIN(tst_HalvaneDaemon)
#include "tst_HalvaneDaemon.moc"
