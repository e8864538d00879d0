// halvanectl against the real halvaned: commands, output, exit statuses (0, 1 refused, 2 bad line, 3 no service).
#include "HalvanedProcess.h"
#include "ProgramRun.h"
#include "TriskVXConstants.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXPropertyListSerialization.h"

#include <QDBusConnection>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
// Dates the service takes must lie ahead and within its ten-year horizon, whatever year the suite runs in.
int nextYear()
{
    return QDate::currentDate().year() + 1;
}

QDateTime triggerDate(const QVariant &record)
{
    return record.toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
}
} // namespace

class tst_HalvaneCtl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void exitStatuses_data();
    void exitStatuses();
    void drivesTheScheduler();
    void addFromArguments_data();
    void addFromArguments();
    void storeFromAFile();
    void preferences();

private:
    static ProgramRun run(const QStringList &arguments,
                          const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
    {
        return runProgram(QStringLiteral(HALVANECTL_PATH), arguments, environment);
    }
    ProgramRun ctl(const QStringList &arguments)
    {
        return run(QStringList { u"--name"_s, m_service->serviceName() } + arguments);
    }
    QVariantList pending()
    {
        return TriskVXPropertyListSerialization::propertyListWithData(
                   ctl({ u"--plist"_s, u"get"_s, kVXObserveSchedulerPending }).out.toUtf8())
            .toList();
    }

    std::unique_ptr<HalvanedProcess> m_service;
    QTemporaryDir m_directory;
};

void tst_HalvaneCtl::init()
{
    // Its clock stands still: the demo's first firing never comes during a test.
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->start({ u"--demo"_s, u"--test-clock"_s }));
}

void tst_HalvaneCtl::cleanup()
{
    m_service.reset();
}

void tst_HalvaneCtl::exitStatuses_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *name, const QString &arguments, int exitCode, const QString &message) {
        QTest::newRow(name) << arguments.split(u'|', Qt::SkipEmptyParts) << exitCode << message;
    };
    row("no command", QString(), 2, u"no command given"_s);
    row("unknown command", u"explode"_s, 2, u"unknown command explode"_s);
    row("until without cancel", u"--until|2030-01-01T00:00:00Z|reset"_s, 2, u"--until goes with cancel"_s);
    row("unknown list", u"list|everything"_s, 2, u"unknown list everything"_s);
    row("not a date", u"adjust|t|next tuesday"_s, 2, u"next tuesday is not an ISO 8601 date"_s);
    row("add: no name", u"add"_s, 2, u"add takes the event's name"_s);
    row("add: two whens", u"add|X|--daily|10:00|--at|2030-01-01T00:00:00Z"_s, 2, u"one of --at, --daily"_s);
    row("add: not a weekday", u"add|X|--weekly|10:00|--days|caturday"_s, 2, u"caturday is not a weekday"_s);
    row("unknown trigger", u"cancel|no-such-trigger"_s, 1, u"status 2: unknown trigger no-such-trigger"_s);
    row("not on demand", u"perform|demo-shutdown"_s, 1, u"cannot be performed on demand"_s);
    row("delay what is not pending", u"delay|nope|5"_s, 1, u"no pending trigger nope"_s);
    // Nonsense dates and durations never reach the service.
    row("delay by minus five", u"delay|nope|-5"_s, 2, u"-5: minutes and seconds are positive numbers"_s);
    row("delay by minus five after --", u"delay|nope|--|-5"_s, 2, u"a positive number of minutes, not -5"_s);
    row("delay by nothing", u"delay|nope|0"_s, 2, u"a positive number of minutes, not 0"_s);
    row("delay past the horizon", u"delay|nope|99999999999999"_s, 2, u"at most 10 years ahead"_s);
    row("store: not a plist", u"store|" TRISK_SOURCE_DIR "/CMakeLists.txt"_s, 1, u"not a property list"_s);
    row("nobody has the name", u"--name|org.halvane.Nobody|--timeout|1000|status"_s, 3, u"does not answer"_s);
    row("no bus", u"--bus|unix:path=/nonexistent/bus|status"_s, 3, u"cannot reach"_s);
}

void tst_HalvaneCtl::exitStatuses()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    const QVariantList before = pending();
    const ProgramRun result = ctl(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QCOMPARE(result.err.contains(u"Try 'halvanectl --help'."_s), exitCode == 2);
    QCOMPARE(pending(), before);
}

void tst_HalvaneCtl::drivesTheScheduler()
{
    const ProgramRun status = ctl({ u"status"_s });
    QCOMPARE(status.exitCode, 0);
    QVERIFY2(status.out.contains(u"Scheduler: enabled\nNext: Evening shut down (demo) at "_s), qPrintable(status.out));
    QVERIFY(status.out.contains(u"Pending: 3, current: 1, warnings: 0, active: 0, on demand: 2"_s));
    QCOMPARE(ctl({ u"list"_s, u"on-demand"_s }).out,
             u"OnDemandAvailable:\n  demo-backup  Nightly backup (demo)\n  demo-sleep  Sleep now (demo)\n"_s);
    const QString all = ctl({ u"list"_s }).out;
    for (const QString &line : { u"SchedulerEnabled: yes"_s, u"NotificationsWarning:\n  (none)"_s,
                                 u"AuthorisationRights:\n  SchedulerAdjust  owner"_s })
        QVERIFY2(all.contains(line), qPrintable(all));

    const QString id = pending().first().toMap().value(kVXQueuedTriggerTriggerID).toString();
    const QDateTime date = triggerDate(pending().first());
    auto dateNow = [&] {
        const QVariantList records = pending();
        for (const QVariant &record : records) {
            if (record.toMap().value(kVXQueuedTriggerTriggerID).toString() == id)
                return triggerDate(record);
        }
        return QDateTime();
    };
    QCOMPARE(ctl({ u"delay"_s, id, u"15"_s }).exitCode, 0);
    QCOMPARE(dateNow(), date.addSecs(15 * 60));
    const QDateTime adjusted(QDate(nextYear(), 5, 6), QTime(7, 8, 9), QTimeZone::utc());
    QCOMPARE(ctl({ u"adjust"_s, id, adjusted.toString(Qt::ISODate) }).exitCode, 0);
    QCOMPARE(dateNow(), adjusted);
    QCOMPARE(ctl({ u"cancel"_s, id, u"--until"_s, u"%1-01-01T00:00:00Z"_s.arg(nextYear() + 3) }).exitCode, 0);
    QVERIFY(!dateNow().isValid());
    QCOMPARE(ctl({ u"reset"_s }).exitCode, 0);
    QCOMPARE(dateNow(), date);

    QCOMPARE(ctl({ u"disable"_s }).exitCode, 0);
    QVERIFY(ctl({ u"status"_s }).out.startsWith(u"Scheduler: disabled"_s));
    const ProgramRun triggered = ctl({ u"trigger"_s, u"demo-sleep"_s });
    QCOMPARE(triggered.exitCode, 1);
    QVERIFY(triggered.err.contains(u"the scheduler is disabled"_s));
    QCOMPARE(ctl({ u"enable"_s }).exitCode, 0);
    QCOMPARE(ctl({ u"trigger"_s, u"demo-backup"_s }).exitCode, 0);
}

void tst_HalvaneCtl::addFromArguments_data()
{
    // What the event stored looks like in the JSON halvanectl prints (keys in order, dates as text).
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("json");
    QTest::newRow("once, logging")
        << u"add|Note|--at|%1-01-02T03:04:05+01:00|--log|hello"_s.arg(nextYear())
        << QString(uR"({"Actions":[{"Message":"hello","Type":"Log"}],"Enabled":true,"Name":"Note","Triggers":[{"Date":)"
                   uR"("%1-01-02T02:04:05.000Z","ID":"","Type":"Once"}],"UniqueID":"note"})"_s)
               .arg(nextYear());
    QTest::newRow("daily power off, on demand")
        << u"add|Note|--daily|22:30|--power|power-off|--on-demand|--notice|600|--warning-lead|120"_s
        << uR"({"Actions":[{"Type":"PowerOff"}],"Behaviours":["CanPerformOnDemand"],"Enabled":true,"Image":"power-off",)"
           uR"("Name":"Note",)"
           uR"("NoticePeriod":600,"Triggers":[{"ID":"","Time":"22:30","Type":"Daily"}],"UniqueID":"note","WarningLead":120})"_s;
    QTest::newRow("weekly command")
        << u"add|Note|/usr/bin/true|now|--weekly|03:00|--days|mon,fri,7|--command|--command-timeout|90"_s
        << uR"({"Actions":[{"Arguments":["/usr/bin/true","now"],"Timeout":90,"Type":"Command"}],"Enabled":true,)"
           uR"("Name":"Note","Triggers":[{"ID":"","Time":"03:00","Type":"Weekly","Weekdays":[1,5,7]}],"UniqueID":"note"})"_s;
}

void tst_HalvaneCtl::addFromArguments()
{
    QFETCH(QString, arguments);
    QFETCH(QString, json);
    QCOMPARE(ctl(QString(arguments + u"|--id|note"_s).split(u'|')).exitCode, 0);
    const ProgramRun printed = ctl({ u"--json"_s, u"get"_s, kVXObserveSchedulerPending });
    QString event;
    for (const QJsonValue &record : QJsonDocument::fromJson(printed.out.toUtf8()).array()) {
        if (record[kVXQueuedTriggerEvent][kVXEventUniqueID] == u"note"_s)
            event = QString::fromUtf8(
                QJsonDocument(record[kVXQueuedTriggerEvent].toObject()).toJson(QJsonDocument::Compact));
    }
    // Trigger identifiers are made up by the service.
    QCOMPARE(event.replace(QRegularExpression(u"\"ID\":\"[^\"]+\""_s), u"\"ID\":\"\""_s), json);
}

void tst_HalvaneCtl::storeFromAFile()
{
    const QDateTime date(QDate(nextYear() + 1, 1, 2), QTime(3, 4, 5), QTimeZone::utc());
    const QString path = m_directory.filePath(u"event.plist"_s);
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap {
            { kVXEventName, u"From a file"_s },
            { kVXEventTriggers,
              QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date } } } } },
        path));
    QCOMPARE(ctl({ u"store"_s, path }).exitCode, 0);
    const QVariantMap last = pending().last().toMap();
    QCOMPARE(last.value(kVXQueuedTriggerEvent).toMap().value(kVXEventName), QVariant(u"From a file"_s));
    QCOMPARE(triggerDate(last), date);
    // A file the service would refuse whole is not sent.
    const QString many = m_directory.filePath(u"many.plist"_s);
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantList(2001, QVariantMap { { kVXEventName, u"One of many"_s } }), many));
    const ProgramRun refused = ctl({ u"store"_s, many });
    QCOMPARE(refused.exitCode, 1);
    QVERIFY2(refused.err.contains(u"holds 2001 events; the service takes at most 2000"_s), qPrintable(refused.err));
}

void tst_HalvaneCtl::preferences()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, m_directory.filePath(u"config"_s));
    const QString domainFile = m_directory.filePath(u"config/halvane/"_s + kVXPreferencesDomain + u".plist"_s);
    QStringList synchronised;
    TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    QVERIFY(center.addObserverSelectorNameObject(
        this,
        [&](const QString &, const QString &object, const QVariantMap &) {
            synchronised.append(object);
        },
        kVXPreferencesNotificationSynchronise, kVXPreferencesDomain));
    for (const QStringList &arguments :
         { QStringList { kVXPreferencesKeyNotifierStatusMenu, u"false"_s }, QStringList { u"position"_s, u"0.25"_s },
           QStringList { u"label"_s, u"42"_s, u"--string"_s } })
        QCOMPARE(run(QStringList { u"set-preference"_s } + arguments, environment).exitCode, 0);
    QCOMPARE(run({ u"unset-preference"_s, u"position"_s }, environment).exitCode, 0);
    QCOMPARE(TriskVXPropertyListSerialization::propertyListWithContentsOfFile(domainFile),
             QVariant(QVariantMap { { kVXPreferencesKeyNotifierStatusMenu, false }, { u"label"_s, u"42"_s } }));
    // Every notifier hears of each change.
    QTRY_COMPARE(synchronised, QStringList(4, kVXPreferencesDomain));

    // A domain a person broke is left for them to mend.
    QFile domain(domainFile);
    QVERIFY(domain.open(QIODevice::WriteOnly | QIODevice::Truncate) && domain.write("hand edited, badly") > 0);
    domain.close();
    const ProgramRun result = run({ u"set-preference"_s, kVXPreferencesKeyNotifierWarning, u"no"_s }, environment);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains(u"cannot be read"_s) && result.err.contains(u"nothing was changed"_s),
             qPrintable(result.err));
    QVERIFY(domain.open(QIODevice::ReadOnly));
    QCOMPARE(domain.readAll(), QByteArray("hand edited, badly"));
}

QTEST_GUILESS_MAIN(tst_HalvaneCtl)
#include "tst_HalvaneCtl.moc"
