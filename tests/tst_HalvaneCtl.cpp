#include "HalvanedProcess.h"
#include "TriskVXConstants.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXPropertyListSerialization.h"

#include <QDBusConnection>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {
const int kWait = 20000;

struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};
} // namespace

// halvanectl as a person or a script runs it: the real program against the real halvaned.
class tst_HalvaneCtl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void badCommandLines_data();
    void badCommandLines();
    void help();
    void unreachableService();
    void status();
    void listAndGet();
    void refusedRequest();
    void storeFromFile();
    void storeRefusesABrokenFile_data();
    void storeRefusesABrokenFile();
    void delayAdjustCancelReset();
    void enableAndDisable();
    void performAndTrigger();
    void serviceFromTheEnvironment();
    void addFromArguments_data();
    void addFromArguments();
    void addRefusesBadArguments_data();
    void addRefusesBadArguments();
    void json();
    void setPreference();
    void setPreferenceKeepsAnUnreadableDomain();

private:
    QStringList m_synchronised;
    QVariantList pending_() { return pending(); }
    Run run(const QStringList &arguments,
            const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment());
    QStringList withService(const QStringList &arguments) const;
    QVariantList pending();

    HalvanedProcess *m_service = nullptr;
    QTemporaryDir m_directory;
};

void tst_HalvaneCtl::initTestCase()
{
    m_service = new HalvanedProcess(this);
    QVERIFY(m_service->start({ QStringLiteral("--demo") }));
}

void tst_HalvaneCtl::cleanupTestCase()
{
    delete m_service;
}

Run tst_HalvaneCtl::run(const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(HALVANECTL_PATH), arguments);
    Run result;
    if (!process.waitForFinished(kWait))
        return result;
    result.exitCode = process.exitCode();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

QStringList tst_HalvaneCtl::withService(const QStringList &arguments) const
{
    return QStringList { QStringLiteral("--name"), m_service->serviceName() } + arguments;
}

QVariantList tst_HalvaneCtl::pending()
{
    const Run result
        = run(withService({ QStringLiteral("--plist"), QStringLiteral("get"), kVXObserveSchedulerPending }));
    return TriskVXPropertyListSerialization::propertyListWithData(result.out.toUtf8()).toList();
}

void tst_HalvaneCtl::badCommandLines_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("no command") << QStringList() << QStringLiteral("no command given");
    QTest::newRow("unknown command") << QStringList { QStringLiteral("explode") }
                                     << QStringLiteral("unknown command explode");
    QTest::newRow("unknown option") << QStringList { QStringLiteral("--frobnicate"), QStringLiteral("status") }
                                    << QStringLiteral("frobnicate");
    QTest::newRow("bad timeout") << QStringList { QStringLiteral("--timeout"), QStringLiteral("soon"),
                                                  QStringLiteral("status") }
                                 << QStringLiteral("--timeout");
    QTest::newRow("until without cancel")
        << QStringList { QStringLiteral("--until"), QStringLiteral("2030-01-01T00:00:00Z"), QStringLiteral("reset") }
        << QStringLiteral("--until goes with cancel");
}

void tst_HalvaneCtl::badCommandLines()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    const Run result = run(arguments);
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QVERIFY(result.err.contains(QStringLiteral("--help")));
}

void tst_HalvaneCtl::help()
{
    const Run result = run({ QStringLiteral("--help") });
    QCOMPARE(result.exitCode, 0);
    for (const QString &command :
         { QStringLiteral("status"), QStringLiteral("list"), QStringLiteral("adjust"), QStringLiteral("delay"),
           QStringLiteral("cancel"), QStringLiteral("reset"), QStringLiteral("perform"), QStringLiteral("trigger"),
           QStringLiteral("store"), QStringLiteral("enable") })
        QVERIFY2(result.out.contains(command), qPrintable(command));
}

void tst_HalvaneCtl::unreachableService()
{
    const Run result = run({ QStringLiteral("--name"), HalvanedProcess::uniqueServiceName(),
                             QStringLiteral("--timeout"), QStringLiteral("2000"), QStringLiteral("status") });
    QCOMPARE(result.exitCode, 3);
    QVERIFY2(result.err.contains(QStringLiteral("does not answer")), qPrintable(result.err));
    const Run noBus
        = run({ QStringLiteral("--bus"), QStringLiteral("unix:path=/nonexistent/bus"), QStringLiteral("status") });
    QCOMPARE(noBus.exitCode, 3);
    QVERIFY2(noBus.err.contains(QStringLiteral("cannot reach")), qPrintable(noBus.err));
}

void tst_HalvaneCtl::status()
{
    const Run result = run(withService({ QStringLiteral("status") }));
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains(QStringLiteral("Scheduler: enabled")), qPrintable(result.out));
    QVERIFY(result.out.contains(QStringLiteral("Next: Evening shut down (demo) at ")));
    QVERIFY(result.out.contains(QStringLiteral("on demand: 2")));
}

void tst_HalvaneCtl::listAndGet()
{
    const Run all = run(withService({ QStringLiteral("list") }));
    QCOMPARE(all.exitCode, 0);
    for (const QString &variable :
         { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending, kVXObserveNotificationsCurrent,
           kVXObserveNotificationsWarning, kVXObserveSchedulerActive, kVXObserveOnDemandAvailable,
           kVXObserveAuthorisationRights })
        QVERIFY2(all.out.contains(variable + QLatin1Char(':')), qPrintable(variable));
    const Run onDemand = run(withService({ QStringLiteral("list"), QStringLiteral("on-demand") }));
    QCOMPARE(
        onDemand.out,
        QStringLiteral("OnDemandAvailable:\n  demo-backup  Nightly backup (demo)\n  demo-sleep  Sleep now (demo)\n"));
    const Run unknown = run(withService({ QStringLiteral("list"), QStringLiteral("everything") }));
    QCOMPARE(unknown.exitCode, 2);
    const QVariantList records = pending();
    QCOMPARE(records.size(), 3);
    QCOMPARE(records.first().toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).typeId(),
             int(QMetaType::QDateTime));
    const Run badVariable = run(withService({ QStringLiteral("get"), QStringLiteral("Nothing") }));
    QCOMPARE(badVariable.exitCode, 2);
}

void tst_HalvaneCtl::refusedRequest()
{
    const Run result = run(withService({ QStringLiteral("cancel"), QStringLiteral("no-such-trigger") }));
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(
        result.err.contains(QStringLiteral("SchedulerCancel failed with status 2: unknown trigger no-such-trigger")),
        qPrintable(result.err));
}

void tst_HalvaneCtl::storeFromFile()
{
    const QString path = m_directory.filePath(QStringLiteral("event.plist"));
    const QDateTime date(QDate(2040, 1, 2), QTime(3, 4, 5), QTimeZone::utc());
    const QVariantMap event {
        { kVXEventUniqueID, QStringLiteral("from-file") },
        { kVXEventName, QStringLiteral("From a file") },
        { kVXEventTriggers,
          QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date } } } }
    };
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(event, path));
    const Run result = run(withService({ QStringLiteral("store"), path }));
    QCOMPARE(result.exitCode, 0);
    const QVariantMap last = pending().last().toMap();
    QCOMPARE(last.value(kVXQueuedTriggerEvent).toMap().value(kVXEventName), QVariant(QStringLiteral("From a file")));
    QCOMPARE(last.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime(), date);
}

void tst_HalvaneCtl::storeRefusesABrokenFile_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("not a plist") << QByteArray("hello") << 1 << QStringLiteral("not a property list");
    QTest::newRow("truncated") << QByteArray("<?xml version=\"1.0\"?><plist><dict><key>Name</key>") << 1
                               << QStringLiteral("not a property list");
    QTest::newRow("event without a name") << QByteArray(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Notes</key><string>x</string></dict></plist>")
                                          << 1 << QStringLiteral("an event has no name");
}

void tst_HalvaneCtl::storeRefusesABrokenFile()
{
    QFETCH(QByteArray, contents);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    const QString path = m_directory.filePath(QStringLiteral("broken.plist"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(contents);
    file.close();
    const QVariantList before = pending();
    const Run result = run(withService({ QStringLiteral("store"), path }));
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QCOMPARE(pending(), before);
}

void tst_HalvaneCtl::delayAdjustCancelReset()
{
    const QVariantMap first = pending().first().toMap();
    const QString id = first.value(kVXQueuedTriggerTriggerID).toString();
    const QDateTime date = first.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
    QCOMPARE(run(withService({ QStringLiteral("delay"), id, QStringLiteral("15") })).exitCode, 0);
    auto dateOf = [&](const QString &triggerID) {
        const QVariantList records = pending();
        for (const QVariant &record : records) {
            if (record.toMap().value(kVXQueuedTriggerTriggerID).toString() == triggerID)
                return record.toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
        }
        return QDateTime();
    };
    QCOMPARE(dateOf(id), date.addSecs(15 * 60));
    QCOMPARE(run(withService({ QStringLiteral("adjust"), id, QStringLiteral("2041-05-06T07:08:09Z") })).exitCode, 0);
    QCOMPARE(dateOf(id), QDateTime(QDate(2041, 5, 6), QTime(7, 8, 9), QTimeZone::utc()));
    QCOMPARE(run(withService({ QStringLiteral("adjust"), id, QStringLiteral("next tuesday") })).exitCode, 2);
    QCOMPARE(run(withService({ QStringLiteral("cancel"), id })).exitCode, 0);
    QVERIFY(!dateOf(id).isValid());
    QCOMPARE(run(withService({ QStringLiteral("reset"), id })).exitCode, 0);
    QCOMPARE(dateOf(id), date);
    QCOMPARE(run(withService({ QStringLiteral("cancel"), id, QStringLiteral("--until"),
                               QStringLiteral("2099-01-01T00:00:00Z") }))
                 .exitCode,
             0);
    QVERIFY(!dateOf(id).isValid());
    QCOMPARE(run(withService({ QStringLiteral("reset") })).exitCode, 0);
    QCOMPARE(dateOf(id), date);
    const Run notPending = run(withService({ QStringLiteral("delay"), QStringLiteral("nope"), QStringLiteral("5") }));
    QCOMPARE(notPending.exitCode, 1);
    QVERIFY(notPending.err.contains(QStringLiteral("no pending trigger nope")));
}

void tst_HalvaneCtl::enableAndDisable()
{
    QCOMPARE(run(withService({ QStringLiteral("disable") })).exitCode, 0);
    QVERIFY(run(withService({ QStringLiteral("status") })).out.contains(QStringLiteral("Scheduler: disabled")));
    const Run triggered = run(withService({ QStringLiteral("trigger"), QStringLiteral("demo-sleep") }));
    QCOMPARE(triggered.exitCode, 1);
    QVERIFY(triggered.err.contains(QStringLiteral("the scheduler is disabled")));
    QCOMPARE(run(withService({ QStringLiteral("enable") })).exitCode, 0);
    QVERIFY(run(withService({ QStringLiteral("status") })).out.contains(QStringLiteral("Scheduler: enabled")));
    QCOMPARE(run(withService({ QStringLiteral("enable"), QStringLiteral("now") })).exitCode, 2);
}

void tst_HalvaneCtl::performAndTrigger()
{
    QCOMPARE(run(withService({ QStringLiteral("perform"), QStringLiteral("demo-sleep") })).exitCode, 0);
    QCOMPARE(run(withService({ QStringLiteral("trigger"), QStringLiteral("demo-backup") })).exitCode, 0);
    QCOMPARE(run(withService({ QStringLiteral("perform"), QStringLiteral("demo-shutdown") })).exitCode, 1);
    QCOMPARE(run(withService({ QStringLiteral("perform") })).exitCode, 2);
}

void tst_HalvaneCtl::serviceFromTheEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HALVANE_SERVICE"), m_service->serviceName());
    environment.insert(QStringLiteral("HALVANE_BUS"), QStringLiteral("session"));
    const Run result = run({ QStringLiteral("status") }, environment);
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QStringLiteral("Scheduler: ")));
}

void tst_HalvaneCtl::addFromArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QVariantMap>("expected");
    QTest::newRow("once, logging")
        << QStringList { QStringLiteral("add"),   QStringLiteral("Note"), QStringLiteral("--id"),
                         QStringLiteral("note"),  QStringLiteral("--at"), QStringLiteral("2041-01-02T03:04:05Z"),
                         QStringLiteral("--log"), QStringLiteral("hello") }
        << QVariantMap { { kVXEventName, QStringLiteral("Note") },
                         { kVXEventActions,
                           QVariantList { QVariantMap { { kVXActionType, kVXActionType_Log },
                                                        { kVXActionMessage, QStringLiteral("hello") } } } } };
    QTest::newRow("daily power off, on demand")
        << QStringList { QStringLiteral("add"),      QStringLiteral("Night"),     QStringLiteral("--id"),
                         QStringLiteral("night"),    QStringLiteral("--daily"),   QStringLiteral("22:30"),
                         QStringLiteral("--power"),  QStringLiteral("power-off"), QStringLiteral("--on-demand"),
                         QStringLiteral("--notice"), QStringLiteral("600"),       QStringLiteral("--warning-lead"),
                         QStringLiteral("120") }
        << QVariantMap { { kVXEventName, QStringLiteral("Night") },
                         { kVXEventActions,
                           QVariantList { QVariantMap { { kVXActionType, kVXActionType_PowerOff } } } },
                         { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } },
                         { kVXEventNoticePeriod, qint64(600) },
                         { kVXEventWarningLead, qint64(120) } };
    QTest::newRow("weekly command")
        << QStringList { QStringLiteral("add"),
                         QStringLiteral("Backup"),
                         QStringLiteral("/usr/bin/true"),
                         QStringLiteral("--id"),
                         QStringLiteral("backup"),
                         QStringLiteral("--weekly"),
                         QStringLiteral("03:00"),
                         QStringLiteral("--days"),
                         QStringLiteral("mon,fri,7"),
                         QStringLiteral("--command"),
                         QStringLiteral("--command-timeout"),
                         QStringLiteral("90") }
        << QVariantMap { { kVXEventName, QStringLiteral("Backup") },
                         { kVXEventActions,
                           QVariantList {
                               QVariantMap { { kVXActionType, kVXActionType_Command },
                                             { kVXActionArguments, QVariantList { QStringLiteral("/usr/bin/true") } },
                                             { kVXActionTimeout, 90.0 } } } } };
}

void tst_HalvaneCtl::addFromArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(QVariantMap, expected);
    const Run result = run(withService(arguments));
    QCOMPARE(result.exitCode, 0);
    const QString id = arguments.at(arguments.indexOf(QStringLiteral("--id")) + 1);
    const QVariantList pending = pending_();
    QVariantMap event;
    for (const QVariant &record : pending) {
        if (record.toMap().value(kVXQueuedTriggerEvent).toMap().value(kVXEventUniqueID).toString() == id)
            event = record.toMap().value(kVXQueuedTriggerEvent).toMap();
    }
    QVERIFY2(!event.isEmpty(), qPrintable(id));
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        QCOMPARE(event.value(it.key()), it.value());
    const QVariantMap trigger = event.value(kVXEventTriggers).toList().first().toMap();
    if (arguments.contains(QStringLiteral("--weekly")))
        QCOMPARE(trigger.value(kVXTriggerWeekdays), QVariant(QVariantList { qint64(1), qint64(5), qint64(7) }));
    if (arguments.contains(QStringLiteral("--at")))
        QCOMPARE(trigger.value(kVXTriggerDate).toDateTime(),
                 QDateTime(QDate(2041, 1, 2), QTime(3, 4, 5), QTimeZone::utc()));
}

void tst_HalvaneCtl::addRefusesBadArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("no name") << QStringList { QStringLiteral("add") } << QStringLiteral("add takes the event's name");
    QTest::newRow("two whens") << QStringList { QStringLiteral("add"),     QStringLiteral("X"),
                                                QStringLiteral("--daily"), QStringLiteral("10:00"),
                                                QStringLiteral("--at"),    QStringLiteral("2040-01-01T00:00:00Z") }
                               << QStringLiteral("one of --at, --daily and --weekly");
    QTest::newRow("weekly without days") << QStringList { QStringLiteral("add"), QStringLiteral("X"),
                                                          QStringLiteral("--weekly"), QStringLiteral("10:00") }
                                         << QStringLiteral("takes --days");
    QTest::newRow("bad weekday") << QStringList { QStringLiteral("add"),      QStringLiteral("X"),
                                                  QStringLiteral("--weekly"), QStringLiteral("10:00"),
                                                  QStringLiteral("--days"),   QStringLiteral("caturday") }
                                 << QStringLiteral("caturday is not a weekday");
    QTest::newRow("bad power") << QStringList { QStringLiteral("add"), QStringLiteral("X"), QStringLiteral("--power"),
                                                QStringLiteral("explode") }
                               << QStringLiteral("--power takes");
    QTest::newRow("stray words") << QStringList { QStringLiteral("add"), QStringLiteral("X"), QStringLiteral("Y") }
                                 << QStringLiteral("a command goes with --command");
    QTest::newRow("option of add elsewhere")
        << QStringList { QStringLiteral("status"), QStringLiteral("--daily"), QStringLiteral("10:00") }
        << QStringLiteral("--daily goes with add");
}

void tst_HalvaneCtl::addRefusesBadArguments()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    const QVariantList before = pending_();
    const Run result = run(withService(arguments));
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QCOMPARE(pending_(), before);
}

void tst_HalvaneCtl::json()
{
    const Run result
        = run(withService({ QStringLiteral("--json"), QStringLiteral("list"), QStringLiteral("on-demand") }));
    QCOMPARE(result.exitCode, 0);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QStringList ids;
    const QJsonArray onDemand = document.array();
    for (const QJsonValue &event : onDemand)
        ids.append(event.toObject().value(kVXEventUniqueID).toString());
    QVERIFY(ids.contains(QStringLiteral("demo-backup")));
    QVERIFY(ids.contains(QStringLiteral("demo-sleep")));
    const Run pending
        = run(withService({ QStringLiteral("--json"), QStringLiteral("get"), kVXObserveSchedulerPending }));
    const QJsonArray records = QJsonDocument::fromJson(pending.out.toUtf8()).array();
    QVERIFY(!records.isEmpty());
    const QString date
        = records.first().toObject().value(kVXQueuedTriggerTrigger).toObject().value(kVXTriggerDate).toString();
    QVERIFY2(QDateTime::fromString(date, Qt::ISODateWithMs).isValid(), qPrintable(date));
    QCOMPARE(
        run(withService({ QStringLiteral("--json"), QStringLiteral("--plist"), QStringLiteral("status") })).exitCode,
        2);
}

void tst_HalvaneCtl::setPreference()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_directory.filePath(QStringLiteral("config")));
    const QString domainFile
        = m_directory.filePath(QStringLiteral("config/halvane/") + kVXPreferencesDomain + QStringLiteral(".plist"));
    TriskVXDistributedNotificationCenter center(QDBusConnection::sessionBus());
    QVERIFY(center.addObserverSelectorNameObject(
        this,
        [this](const QString &, const QString &object, const QVariantMap &) {
            m_synchronised.append(object);
        },
        kVXPreferencesNotificationSynchronise, kVXPreferencesDomain));
    QCOMPARE(run({ QStringLiteral("set-preference"), kVXPreferencesKeyNotifierStatusMenu, QStringLiteral("false") },
                 environment)
                 .exitCode,
             0);
    QCOMPARE(run({ QStringLiteral("set-preference"), QStringLiteral("notifier.login.position-vertical"),
                   QStringLiteral("0.25") },
                 environment)
                 .exitCode,
             0);
    QCOMPARE(run({ QStringLiteral("set-preference"), QStringLiteral("label"), QStringLiteral("42"),
                   QStringLiteral("--string") },
                 environment)
                 .exitCode,
             0);
    QVariantMap domain = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(domainFile).toMap();
    QCOMPARE(domain.value(kVXPreferencesKeyNotifierStatusMenu), QVariant(false));
    QCOMPARE(domain.value(QStringLiteral("notifier.login.position-vertical")), QVariant(0.25));
    QCOMPARE(domain.value(QStringLiteral("label")), QVariant(QStringLiteral("42")));
    QTRY_COMPARE(m_synchronised.size(), 3);
    QCOMPARE(m_synchronised.first(), kVXPreferencesDomain);
    QCOMPARE(run({ QStringLiteral("unset-preference"), QStringLiteral("label") }, environment).exitCode, 0);
    domain = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(domainFile).toMap();
    QVERIFY(!domain.contains(QStringLiteral("label")));
    QCOMPARE(domain.size(), 2);
    QCOMPARE(run({ QStringLiteral("set-preference"), QStringLiteral("only-a-key") }, environment).exitCode, 2);
}

void tst_HalvaneCtl::setPreferenceKeepsAnUnreadableDomain()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_directory.filePath(QStringLiteral("broken-config")));
    const QString domainFile = m_directory.filePath(QStringLiteral("broken-config/halvane/") + kVXPreferencesDomain
                                                    + QStringLiteral(".plist"));
    QVERIFY(QDir().mkpath(QFileInfo(domainFile).absolutePath()));
    QFile file(domainFile);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("hand edited, badly");
    file.close();
    const Run result = run({ QStringLiteral("set-preference"), kVXPreferencesKeyNotifierWarning, QStringLiteral("no") },
                           environment);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains(QStringLiteral("cannot be read"))
                 && result.err.contains(QStringLiteral("nothing was changed")),
             qPrintable(result.err));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("hand edited, badly"));
}

QTEST_GUILESS_MAIN(tst_HalvaneCtl)
#include "tst_HalvaneCtl.moc"
