// halvaned as its clients see it on the bus: requests, refusals, rights, firings, restarts, crashes, stores.
#include "FakeSystemServices.h"
#include "HalvanedProcess.h"
#include "NotADate.h"
#include "PrivateBus.h"
#include "ServiceClient.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRequest.h"
#include "WaitFor.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>
#include <QXmlStreamReader>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(12, 0), QTimeZone::utc()); // a Saturday
const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));
const QTimeZone kNewYork(QByteArrayLiteral("America/New_York"));

QVariantMap once(const QDateTime &date, const QString &id)
{
    return { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, date }, { kVXTriggerIdentifier, id } };
}

QVariantMap daily(const QString &time, const QString &id, const QVariantList &weekdays = {})
{
    QVariantMap trigger { { kVXTriggerType, kVXTriggerType_Daily },
                          { kVXTriggerTime, time },
                          { kVXTriggerIdentifier, id } };
    if (!weekdays.isEmpty())
        trigger.insert({ { kVXTriggerType, kVXTriggerType_Weekly }, { kVXTriggerWeekdays, weekdays } });
    return trigger;
}

QVariantMap makeEvent(const QString &id, const QVariantList &triggers, const QVariantMap &extra = {})
{
    QVariantMap record { { kVXEventUniqueID, id }, { kVXEventName, id }, { kVXEventTriggers, triggers } };
    record.insert(extra);
    return record;
}

QVariantMap doing(const QVariantList &actions, bool onDemand = false)
{
    QVariantMap extra { { kVXEventActions, actions } };
    if (onDemand)
        extra.insert(kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand });
    return extra;
}

QVariantMap power(const QString &type)
{
    return { { kVXActionType, type } };
}

QVariantMap command(const QVariant &arguments, const QVariantMap &extra = {})
{
    QVariantMap action { { kVXActionType, kVXActionType_Command }, { kVXActionArguments, arguments } };
    action.insert(extra);
    return action;
}

QVariantMap storing(const QVariantList &events)
{
    return { { kVXRPCParameterEvents, events } };
}

QVariantMap trigger(const QString &id, const QString &key = QString(), const QVariant &value = QVariant())
{
    QVariantMap parameters { { kVXRPCParameterTriggerID, id } };
    if (!key.isEmpty())
        parameters.insert(key, value);
    return parameters;
}

// "a" with a1 (in two days) and a2 (tomorrow), and "b", performable on demand, with b1 (in three hours).
QVariantList someEvents()
{
    return { makeEvent(u"a"_s, { once(kNow.addDays(2), u"a1"_s), once(kNow.addDays(1), u"a2"_s) }),
             makeEvent(u"b"_s, { once(kNow.addSecs(3 * 3600), u"b1"_s) }, doing({}, true)) };
}

// Performed on demand, it suspends: a mark among the power calls.
QVariantMap mark()
{
    return makeEvent(u"mark"_s, {}, doing({ power(kVXActionType_Suspend) }, true));
}

QHash<QString, QVariant> everything(const ServiceClient &client)
{
    QHash<QString, QVariant> values;
    for (const QString &variable : TriskVXObserver::observedVariables())
        values.insert(variable, client.value(variable));
    return values;
}

QStringList rightsOf(const ServiceClient &client)
{
    QStringList rights;
    for (const QVariant &right : client.value(kVXObserveAuthorisationRights).toList())
        rights.append(right.toMap().value(kVXAuthorisationRightSignature).toString() + u' '
                      + right.toMap().value(kVXAuthorisationRightRule).toString());
    return rights;
}

// Every request under one rule, in the order the service lists rights.
QStringList every(const QString &rule)
{
    QStringList rights;
    for (const QString &request : { kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel, kVXRPCSchedulerReset,
                                    kVXRPCOnDemandPerform, kVXRPCEventStoreStore, kVXRPCSchedulerSetEnabled })
        rights.append(request + u' ' + rule);
    return rights;
}
} // namespace

class tst_HalvaneService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void requestsChangeThePublishedVariables();
    void malformedAndOversizedRequests_data();
    void malformedAndOversizedRequests();
    void documentedCommandsAnswerAsDocumented();
    void restartBackupAndCrashLoseNothing();
    void unreadableStoreIsKeptAside_data();
    void unreadableStoreIsKeptAside();
    void killAfterAnAnswerLosesNothing_data();
    void killAfterAnAnswerLosesNothing();
    void concurrentCallersLoseNothingAnswered();
    void stateFileMovesIntoTheStore();
    void unsavedChangeIsNotAcknowledged();
    void hostileInputLeavesTheServiceServing();
    void rightsFromTheRulesFile_data();
    void rightsFromTheRulesFile();
    void rightsFromPolkit();
    void onceAndWeeklyThroughTheirLives();
    void clockJumpsAndZoneChanges();
    void cancelAdjustAndPostponeARepeatingTrigger();
    void catchUpAtStart_data();
    void catchUpAtStart();
    void actionsRunInOrderWhateverBefalls();
    void busAndName();

private:
    // (Re)starts the service, keeping its state folder, on its test clock at kNow in UTC, with the fake
    // logind (and polkit) on a system bus of its own.
    bool start(const QStringList &arguments = {});
    bool at(const QDateTime &now) { return m_service->setTestNow(now) && m_client->reload(); }
    bool request(const QString &name, const QVariantMap &parameters, qint64 *status = nullptr)
    {
        return m_client->request(name, parameters, status);
    }
    bool perform(const QString &id) { return request(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, id } }); }
    bool store(const QVariantList &events) { return request(kVXRPCEventStoreStore, storing(events)); }
    bool setEnabled(bool enabled)
    {
        return request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, enabled } });
    }
    // The status a request was refused with; -1 when it was granted.
    qint64 refusal(const QString &name, const QVariantMap &parameters, QString *message = nullptr)
    {
        qint64 status = kVXStatusOK;
        return m_client->request(name, parameters, &status, message) ? -1 : status;
    }

    std::unique_ptr<PrivateBus> m_systemBus;
    std::unique_ptr<FakeSystemServices> m_system;
    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
};

void tst_HalvaneService::init()
{
    // The last function's service goes first, its client before it.
    m_client.reset();
    m_service = std::make_unique<HalvanedProcess>();
    m_system = std::make_unique<FakeSystemServices>();
    m_systemBus = std::make_unique<PrivateBus>();
    QVERIFY(m_systemBus->start() && m_system->start(m_systemBus->address()));
}

bool tst_HalvaneService::start(const QStringList &arguments)
{
    m_client.reset();
    if (!m_service->start(QStringList { u"--test-clock"_s, u"--logind-bus"_s, m_systemBus->address() } + arguments)
        || !m_service->setTestNow(kNow) || !m_service->setTestTimeZone("UTC"))
        return false;
    m_client = std::make_unique<ServiceClient>(m_service->location());
    return m_client->ready();
}

void tst_HalvaneService::requestsChangeThePublishedVariables()
{
    // A dry run: the power actions performed here are never taken.
    QVERIFY(start({ u"--dry-run"_s }));
    const QVariantMap disabled { { kVXEventEnabled, false },
                                 { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } } };
    QVERIFY(store(someEvents() + QVariantList { makeEvent(u"off"_s, {}, disabled), makeEvent(u"plain"_s, {}) }));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"b1"_s, u"a2"_s, u"a1"_s }));
    QCOMPARE(m_client->value(kVXObserveOnDemandAvailable).toList().size(), 1);

    QVERIFY(request(kVXRPCSchedulerAdjust, trigger(u"b1"_s, kVXRPCParameterDate, kNow.addDays(5))));
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"a2"_s)));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"a1"_s, u"b1"_s }));
    // Resetting one trigger leaves the others' changes.
    QVERIFY(request(kVXRPCSchedulerReset, trigger(u"a2"_s)));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"a2"_s, u"a1"_s, u"b1"_s }));

    // Replacing an event forgets its old triggers and what was done to them.
    QVERIFY(store(
        { makeEvent(u"b"_s, { once(kNow.addDays(3), u"b9"_s) }, doing({ power(kVXActionType_Suspend) }, true)) }));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"a2"_s, u"a1"_s, u"b9"_s }));
    QCOMPARE(refusal(kVXRPCSchedulerReset, trigger(u"b1"_s)), qint64(kVXStatusUnknownTrigger));

    QObject context;
    QList<qsizetype> active;
    connect(m_client->observer(), &TriskVXObserver::schedulerActiveChanged, &context, [&] {
        active.append(m_client->value(kVXObserveSchedulerActive).toList().size());
    });
    QVERIFY(perform(u"b"_s));
    QTRY_COMPARE(active, (QList<qsizetype> { 1, 0 }));
    QVERIFY(m_system->powerCalls.isEmpty());
    QCOMPARE(refusal(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, u"zzz"_s } }), qint64(kVXStatusUnknownEvent));
}

void tst_HalvaneService::malformedAndOversizedRequests_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<qint64>("status");
    qDBusRegisterMetaType<NotADate>();
    const auto row = [](const QByteArray &name, const QString &method, const QVariantMap &parameters, qint64 status) {
        QTest::newRow(name.constData()) << method
                                        << QVariantList { QVariant(TriskVXDBusPropertyList::encodeMap(parameters)) }
                                        << status;
    };
    const auto storeRow = [&](const char *name, const QVariantMap &record) {
        row(name, kVXRPCEventStoreStore, storing({ record }), kVXStatusInvalidEvent);
    };
    const qint64 invalid = kVXStatusInvalidParameter;
    QTest::newRow("not a property list") << kVXRPCSchedulerCancel
                                         << QVariantList { trigger(u"a1"_s, u"Until"_s,
                                                                   QVariant::fromValue(NotADate { u"x"_s, 1 })) }
                                         << invalid;
    row("missing parameter", kVXRPCSchedulerAdjust, trigger(u"a1"_s), invalid);
    row("parameter of the wrong type", kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, u"no"_s } }, invalid);
    row("unknown parameter", kVXRPCSchedulerCancel, trigger(u"a1"_s, u"Force"_s, true), invalid);
    row("unknown trigger", kVXRPCSchedulerCancel, trigger(u"x"_s), kVXStatusUnknownTrigger);
    row("one good event, one not a dictionary", kVXRPCEventStoreStore, storing({ makeEvent(u"c"_s, {}), u"x"_s }),
        kVXStatusInvalidEvent);
    storeRow("a trigger of another event", makeEvent(u"c"_s, { once(kNow, u"a1"_s) }));
    storeRow("an unknown trigger type", makeEvent(u"x"_s, { QVariantMap { { kVXTriggerType, u"Lunar"_s } } }));
    storeRow("weekly on day 8", makeEvent(u"x"_s, { daily(u"10:00"_s, u"t"_s, { qint64(8) }) }));
    storeRow("a command as a shell line", makeEvent(u"x"_s, {}, doing({ command(u"rm -rf /"_s) })));
    const QList<QPair<const char *, QVariant>> actions {
        { "an action not a dictionary", u"PowerOff"_s },
        { "a log message not a string", QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, 1 } } },
        { "a command argument not a string", command(QVariantList { u"/bin/echo"_s, 2 }) },
        { "a command naming no program", command(QVariantList { QString() }) },
        { "a command's user not a name", command(QVariantList { u"/bin/true"_s }, { { kVXActionUser, 0 } }) },
        { "an unknown action type", power(u"Levitate"_s) },
    };
    for (const auto &[name, action] : actions)
        storeRow(name, makeEvent(u"x"_s, {}, doing({ action })));
    storeRow("a command with no time to run",
             makeEvent(u"x"_s, {},
                       doing({ command(QVariantList { u"/bin/true"_s }, { { kVXActionTimeout, qint64(0) } }) })));
    // Seconds beyond any date used to overflow their conversion in the scheduler and in the performer.
    storeRow("a notice period beyond any date",
             makeEvent(u"x"_s, { once(kNow.addSecs(60), u"t"_s) }, { { kVXEventNoticePeriod, 2.3e21 } }));
    storeRow(
        "a command time limit beyond an int of milliseconds",
        makeEvent(u"x"_s, {}, doing({ command(QVariantList { u"/bin/true"_s }, { { kVXActionTimeout, 1e10 } }) })));
    const qint64 over = kVXStatusLimitExceeded;
    const QString eventStore = kVXRPCEventStoreStore;
    // Each limit twice: the most it takes, then one more.
    const auto pair = [&](const char *name, const QString &method, qsizetype most, qint64 atStatus, qint64 overStatus,
                          const std::function<QVariantMap(qsizetype)> &make) {
        row(QByteArray(name) + " at the limit", method, make(most), atStatus);
        row(QByteArray(name) + " over it", method, make(most + 1), overStatus);
    };
    pair("trigger id", kVXRPCSchedulerCancel, 1024, kVXStatusUnknownTrigger, over, [](qsizetype n) {
        return trigger(QString(n, u'x'));
    });
    pair("event name", eventStore, 1024, kVXStatusOK, over, [](qsizetype n) {
        return storing({ QVariantMap { { kVXEventUniqueID, u"x"_s }, { kVXEventName, QString(n, u'n') } } });
    });
    pair("notes", eventStore, 65536, kVXStatusOK, over, [](qsizetype n) {
        return storing({ makeEvent(u"x"_s, {}, { { kVXEventNotes, QString(n, u'n') } }) });
    });
    pair("a list in an event", eventStore, 1024, kVXStatusOK, over, [](qsizetype n) {
        return storing({ makeEvent(u"x"_s, {}, { { u"Extra"_s, QVariantList(n, qint64(1)) } }) });
    });
    pair("events in one request", eventStore, 2000, kVXStatusOK, over, [](qsizetype n) {
        QVariantList events;
        for (qsizetype i = 0; i < n; ++i)
            events.append(makeEvent(u"e%1"_s.arg(i), {}));
        return storing(events);
    });
    const QDateTime horizon = kNow.addYears(10);
    pair("a once date ahead", eventStore, 0, kVXStatusOK, kVXStatusInvalidEvent, [=](qsizetype n) {
        return storing({ makeEvent(u"x"_s, { once(horizon.addMSecs(n), u"x1"_s) }) });
    });
    pair("a once date gone", eventStore, 0, kVXStatusOK, kVXStatusInvalidEvent, [](qsizetype n) {
        return storing({ makeEvent(u"x"_s, { once(kNow.addMSecs(-n), u"x1"_s) }) });
    });
    row("an adjustment past the horizon", kVXRPCSchedulerAdjust,
        trigger(u"a1"_s, kVXRPCParameterDate, horizon.addMSecs(1)), invalid);
    row("an adjustment gone", kVXRPCSchedulerAdjust, trigger(u"a1"_s, kVXRPCParameterDate, kNow.addMSecs(-1)), invalid);
    row("a postponement past the horizon", kVXRPCSchedulerCancel,
        trigger(u"a1"_s, kVXRPCParameterUntil, horizon.addMSecs(1)), invalid);
}

void tst_HalvaneService::malformedAndOversizedRequests()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(qint64, status);
    QVERIFY(start());
    QVERIFY(store(someEvents()));
    const QHash<QString, QVariant> before = everything(*m_client);
    QDBusMessage call
        = QDBusMessage::createMethodCall(m_service->serviceName(), kVXDBusObjectPath, kVXDBusInterface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call);
    QCOMPARE(reply.signature(), u"bxs"_s);
    QCOMPARE(reply.arguments().mid(0, 2), (QVariantList { status == kVXStatusOK, status }));
    // A refusal names what was wrong; it never quotes the value whole.
    const QString message = reply.arguments().at(2).toString();
    QVERIFY2(message.size() <= 300, qPrintable(message.left(300)));
    if (status != kVXStatusOK) {
        QVERIFY(m_client->reload());
        QCOMPARE(everything(*m_client), before);
    }
}

// One state through a restart, a backup and its import, a crash, and a store a newer version wrote.
void tst_HalvaneService::restartBackupAndCrashLoseNothing()
{
    QVERIFY(start());
    // The widest integer, and dates a property-list file cannot hold as such.
    const QVariantMap extra {
        { u"unsigned"_s, quint64(18446744073709551615ULL) },
        { u"dates"_s,
          QVariantList { QDateTime(QDate(1900, 1, 1), QTime(0, 0), QTimeZone::utc()),
                         QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), QTimeZone::utc()),
                         QDateTime(QDate(2200, 1, 1), QTime(0, 0, 0, 250), QTimeZone::utc()) } },
    };
    QVERIFY(store(someEvents()
                  + QVariantList { makeEvent(u"d"_s, { daily(u"04:00"_s, u"d1"_s) }, { { u"Extra"_s, extra } }) }));
    QCOMPARE(m_client->value(u"SchedulerPending.1.Event.Extra"_s), QVariant(extra));
    QVERIFY(request(kVXRPCSchedulerAdjust, trigger(u"a1"_s, kVXRPCParameterDate, kNow.addDays(5))));
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"b1"_s)));
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"d1"_s, kVXRPCParameterUntil, kNow.addDays(3))));
    QVERIFY(setEnabled(false));
    const QHash<QString, QVariant> before = everything(*m_client);
    QTemporaryDir directory;
    const QString backup = directory.filePath(u"backup.plist"_s);
    QVERIFY(m_service->control({ u"export"_s, backup }));

    QVERIFY(m_service->stop());
    QVERIFY(start());
    QCOMPARE(everything(*m_client), before);
    const QStringList files = QDir(m_service->stateDirectory()).entryList(QDir::Files);
    QCOMPARE(files, (QStringList { u"store.db"_s, u"store.db-shm"_s, u"store.db-wal"_s }));
    for (const QString &file : files)
        QCOMPARE(QFile::permissions(QDir(m_service->stateDirectory()).filePath(file))
                     & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
    QVERIFY(request(kVXRPCSchedulerReset, trigger(u"b1"_s)));
    QVERIFY(m_client->pendingIDs().contains(u"b1"_s));

    // Everything changed after the backup is undone by importing it, and the import is saved.
    QVERIFY(store({ makeEvent(u"e"_s, { daily(u"06:00"_s, u"e1"_s) }) }));
    QVERIFY(request(kVXRPCSchedulerReset, {}));
    QVERIFY(setEnabled(true));
    QVERIFY(m_service->control({ u"import"_s, backup }));
    QVERIFY(m_client->reload());
    QCOMPARE(everything(*m_client), before);
    QVERIFY(m_service->kill());
    QVERIFY(start());
    QCOMPARE(everything(*m_client), before);
    QFile list(backup);
    QVERIFY(list.open(QIODevice::WriteOnly)
            && list.write("<plist><dict><key>Version</key><integer>9</integer></dict></plist>") > 0);
    list.close();
    QVERIFY(!m_service->control({ u"import"_s, backup }));
    QCOMPARE(everything(*m_client), before);

    // The format number lives in the database header (big-endian, at byte 60): a newer one is not served,
    // and its store is left as it is.
    QVERIFY(m_service->stop());
    QFile file(m_service->stateFile());
    QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(60) && file.write(QByteArray("\0\0\0\x02", 4)) == 4);
    file.close();
    QVERIFY(!start());
    QVERIFY(!m_service->isRunning());
    QVERIFY2(m_service->output().contains(u"written by a newer halvaned"_s), qPrintable(m_service->output()));
    QCOMPARE(QDir(m_service->stateDirectory()).entryList(QDir::Files), QStringList { u"store.db"_s });
}

void tst_HalvaneService::unreadableStoreIsKeptAside_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("store");
    const QByteArray plist("<?xml version=\"1.0\"?><plist version=\"1.0\">%1</plist>");
    QTest::newRow("a garbage store") << QByteArray(8192, 'g') << true;
    // The rows below are state files of earlier versions, which would be moved into the store.
    QTest::newRow("garbage") << QByteArray("\x00\x01garbage", 9) << false;
    QTest::newRow("another version") << QByteArray(plist).replace("%1",
                                                                  "<dict><key>Version</key><integer>9</integer></dict>")
                                     << false;
    QTest::newRow("an event without a name") << QByteArray(plist).replace(
        "%1",
        "<dict><key>Version</key><integer>1</integer><key>Enabled</key><true/><key>Events</key><array><dict/>"
        "</array><key>TriggerStates</key><dict/></dict>")
                                             << false;
    // Only an older service could have written a state over the limits; served, it could be refused by the bus.
    const QByteArray longName = "<dict><key>Version</key><integer>1</integer><key>Enabled</key><true/><key>Events</key>"
                                "<array><dict><key>Name</key><string>"
        + QByteArray(1025, 'n') + "</string></dict></array><key>TriggerStates</key><dict/></dict>";
    QTest::newRow("a name over the limits") << QByteArray(plist).replace("%1", longName) << false;
}

void tst_HalvaneService::unreadableStoreIsKeptAside()
{
    QFETCH(QByteArray, contents);
    QFETCH(bool, store);
    const QString path = store ? m_service->stateFile() : m_service->legacyStateFile();
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    file.close();
    QVERIFY(start({ u"--demo"_s }));
    QCOMPARE(m_client->value(kVXObserveOnDemandAvailable).toList().size(), 2);
    const QStringList kept
        = QDir(m_service->stateDirectory()).entryList({ QFileInfo(path).fileName() + u".corrupt-*"_s });
    QCOMPARE(kept.size(), 1);
    // Starting afresh and saving never writes over the old file.
    QVERIFY(setEnabled(false));
    QFile aside(QDir(m_service->stateDirectory()).filePath(kept.first()));
    QVERIFY(aside.open(QIODevice::ReadOnly));
    QCOMPARE(aside.readAll(), contents);
    QVERIFY(m_service->stop());
    QVERIFY(m_service->output().contains(u"kept aside as "_s + aside.fileName()));
    QVERIFY(start());
    QCOMPARE(m_client->value(kVXObserveOnDemandAvailable).toList().size(), 2);
    QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
}

void tst_HalvaneService::killAfterAnAnswerLosesNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("parameters");
    QTest::newRow("adjust") << kVXRPCSchedulerAdjust << trigger(u"a1"_s, kVXRPCParameterDate, kNow.addDays(4));
    QTest::newRow("cancel") << kVXRPCSchedulerCancel << trigger(u"b1"_s);
    QTest::newRow("cancel until") << kVXRPCSchedulerCancel << trigger(u"d1"_s, kVXRPCParameterUntil, kNow.addDays(3));
    QTest::newRow("reset one") << kVXRPCSchedulerReset << trigger(u"a2"_s);
    QTest::newRow("reset all") << kVXRPCSchedulerReset << QVariantMap();
    QTest::newRow("set enabled") << kVXRPCSchedulerSetEnabled << QVariantMap { { kVXRPCParameterEnabled, false } };
    // A new event, one replaced with a trigger less (its state forgotten), and one replaced in place.
    QTest::newRow("store") << kVXRPCEventStoreStore
                           << storing({ makeEvent(u"c"_s, { daily(u"05:00"_s, u"c1"_s) }),
                                        makeEvent(u"a"_s, { once(kNow.addDays(2), u"a1"_s) }),
                                        makeEvent(u"d"_s, { daily(u"04:00"_s, u"d1"_s) }, { { u"Extra"_s, 7 } }) });
}

void tst_HalvaneService::killAfterAnAnswerLosesNothing()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, parameters);
    QVERIFY(start());
    QVERIFY(store(someEvents() + QVariantList { makeEvent(u"d"_s, { daily(u"04:00"_s, u"d1"_s) }) }));
    QVERIFY(request(kVXRPCSchedulerAdjust, trigger(u"a2"_s, kVXRPCParameterDate, kNow.addDays(3))));
    QVERIFY(request(name, parameters));
    const QHash<QString, QVariant> before = everything(*m_client);
    QVERIFY(m_service->kill());
    QVERIFY(start());
    QCOMPARE(everything(*m_client), before);
    // What was read back is what the next change builds on.
    QVERIFY(request(kVXRPCSchedulerReset, {}));
    const QHash<QString, QVariant> reset = everything(*m_client);
    QVERIFY(m_service->kill());
    QVERIFY(start());
    QCOMPARE(everything(*m_client), reset);
}

void tst_HalvaneService::concurrentCallersLoseNothingAnswered()
{
    // Callers on connections of their own, each sending its next request the moment it is answered: the
    // writes then group the requests of several callers, and each answer still means its change is on disk.
    QVERIFY(start());
    const int callers = 4;
    const int rounds = 6;
    QList<std::shared_ptr<TriskVXConnection>> connections;
    QList<int> answered(callers, 0);
    for (int i = 0; i < callers; ++i)
        connections.append(
            std::shared_ptr<TriskVXConnection>(TriskVXConnection::connectionWithLocation(TriskVXServiceLocation::onBus(
                QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"caller-%1"_s.arg(i)),
                m_service->serviceName()))));
    QVERIFY(waitFor([&] {
        return std::all_of(connections.cbegin(), connections.cend(), [](const auto &c) {
            return c->isValid();
        });
    }));
    std::function<void(int)> send = [&](int caller) {
        const QString id = u"c%1"_s.arg(caller);
        const QString time = u"0%1:%2"_s.arg(caller).arg(answered.at(caller), 2, 10, QLatin1Char('0'));
        const TriskVXRequest request(kVXRPCEventStoreStore, storing({ makeEvent(id, { daily(time, id) }) }));
        connections.at(caller)->send(&request, [&, caller](const TriskVXResponse &response) {
            QVERIFY(response.succeeded());
            if (++answered[caller] < rounds)
                send(caller);
        });
    };
    for (int i = 0; i < callers; ++i)
        send(i);
    QVERIFY(waitFor([&] {
        return std::all_of(answered.cbegin(), answered.cend(), [&](int count) {
            return count == rounds;
        });
    }));
    QVERIFY(m_service->kill());
    QVERIFY(start());
    for (int i = 0; i < callers; ++i)
        QCOMPARE(m_client->pendingDate(u"c%1"_s.arg(i)).time(), QTime(i, rounds - 1));
}

void tst_HalvaneService::stateFileMovesIntoTheStore()
{
    // As an earlier version left it: disabled, one event with its trigger's firing moved.
    const QVariantMap legacy {
        { u"Version"_s, 1 },
        { u"Enabled"_s, false },
        { u"Events"_s, QVariantList { makeEvent(u"a"_s, { daily(u"04:00"_s, u"a1"_s) }) } },
        { u"TriggerStates"_s,
          QVariantMap { { u"a1"_s,
                          QVariantMap { { u"Anchor"_s, kNow.addSecs(-60) },
                                        { u"AdjustedNatural"_s, kNow.addSecs(16 * 3600) },
                                        { u"AdjustedDate"_s, kNow.addSecs(17 * 3600) } } } } },
    };
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        legacy, m_service->legacyStateFile(), TriskVXPropertyListSerialization::Format::Binary));
    QFile original(m_service->legacyStateFile());
    QVERIFY(original.open(QIODevice::ReadOnly));
    const QByteArray contents = original.readAll();
    for (int run = 0; run < 2; ++run) {
        QVERIFY(start());
        QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
        QCOMPARE(m_client->pendingDate(u"a1"_s), kNow.addSecs(17 * 3600));
        QVERIFY(m_service->kill());
    }
    // Kept aside unchanged, and read once only: the second run read the store.
    QVERIFY(!QFileInfo::exists(m_service->legacyStateFile()));
    const QStringList kept = QDir(m_service->stateDirectory()).entryList({ u"store.plist.migrated-*"_s });
    QCOMPARE(kept.size(), 1);
    QFile aside(QDir(m_service->stateDirectory()).filePath(kept.first()));
    QVERIFY(aside.open(QIODevice::ReadOnly));
    QCOMPARE(aside.readAll(), contents);
}

void tst_HalvaneService::unsavedChangeIsNotAcknowledged()
{
    // A file where the state folder should be: every save is refused.
    QTemporaryDir directory;
    const QString blocked = directory.filePath(u"state"_s);
    QFile file(blocked);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(start({ u"--state-dir"_s, blocked }));
    QString message;
    // The change that found the folder unwritable is live, and the client is told so.
    QCOMPARE(refusal(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }, &message),
             qint64(kVXStatusInternalError));
    QVERIFY2(message.contains(u"in effect but was not saved"_s), qPrintable(message));
    QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
    // Later changes are refused whole until a save succeeds.
    QCOMPARE(refusal(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }, &message),
             qint64(kVXStatusInternalError));
    QVERIFY2(message.contains(u"nothing was changed"_s), qPrintable(message));
    QVERIFY(m_client->reload());
    QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
    // Once the folder can be made, the next retry saves, and changes are taken again.
    QVERIFY(QFile::remove(blocked));
    QString log;
    QVERIFY(waitFor([&] {
        log += m_service->output();
        return log.contains(u"the state is saved again"_s);
    }));
    QVERIFY(store(someEvents()));
    // It waited between attempts, one line each, rather than spinning on the failure.
    QVERIFY(m_service->kill());
    const qsizetype attempts = log.count(u"cannot save the state"_s);
    QVERIFY2(attempts >= 1 && attempts <= 3, qPrintable(log));
    // The change the refused save held was written with the retry.
    QVERIFY(start({ u"--state-dir"_s, blocked }));
    QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
    QCOMPARE(m_client->pendingIDs().size(), 3);
}

void tst_HalvaneService::hostileInputLeavesTheServiceServing()
{
    QVERIFY(start());
    // The most events the service keeps, in the largest requests it takes.
    const QVariantMap onDemand = doing({}, true);
    for (int batch = 0; batch < 5; ++batch) {
        QVariantList events;
        for (int i = 0; i < 2000; ++i)
            events.append(makeEvent(u"e%1-%2"_s.arg(batch).arg(i), {}, onDemand));
        QVERIFY(store(events));
    }
    QString message;
    QCOMPARE(refusal(kVXRPCEventStoreStore, storing({ makeEvent(u"one-more"_s, {}, onDemand) }), &message),
             qint64(kVXStatusLimitExceeded));
    QVERIFY2(message.contains(u"10001 events in all, at most 10000"_s), qPrintable(message));
    // A trigger id of 2 MB: refused with a short answer and a short log line.
    QCOMPARE(refusal(kVXRPCSchedulerCancel, trigger(QString(2'000'000, u'x')), &message),
             qint64(kVXStatusLimitExceeded));
    QVERIFY(message.size() < 100);
    QVERIFY(setEnabled(false));
    QVERIFY(m_service->stop());
    const QStringList lines = m_service->output().split(u'\n');
    for (const QString &line : lines)
        QVERIFY2(line.size() <= 1200, qPrintable(line.left(300)));
    QVERIFY(start());
    QCOMPARE(m_client->value(kVXObserveOnDemandAvailable).toList().size(), 10000);
    QCOMPARE(m_client->value(kVXObserveSchedulerEnabled), QVariant(false));
}

// Every gdbus example of docs/protocol.md, run against the real service, prints what the page says.
void tst_HalvaneService::documentedCommandsAnswerAsDocumented()
{
    QFile page(QStringLiteral(TRISK_SOURCE_DIR "/docs/protocol.md"));
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QStringList lines = QString::fromUtf8(page.readAll()).split(u'\n');
    QVERIFY(start());
    int examples = 0;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (!lines.at(i).startsWith(u"gdbus call"_s))
            continue;
        QString command = lines.at(i);
        while (command.endsWith(u'\\'))
            command = command.chopped(1) + lines.at(++i).trimmed();
        command.replace(u"--dest org.halvane.Scheduler "_s, u"--dest "_s + m_service->serviceName() + u' ');
        QProcess gdbus;
        gdbus.start(u"sh"_s, { u"-c"_s, command });
        QVERIFY2(gdbus.waitForFinished(10000), qPrintable(command));
        QCOMPARE(QString::fromUtf8(gdbus.readAllStandardOutput()).trimmed(), lines.value(i + 1));
        ++examples;
    }
    QVERIFY(examples >= 2);
}

void tst_HalvaneService::rightsFromTheRulesFile_data()
{
    QTest::addColumn<QVariant>("rules"); // no file, a dictionary to write, or the bytes of the file
    QTest::addColumn<QStringList>("rights");
    const QString user = u"user:"_s + QString::fromLocal8Bit(::getpwuid(::getuid())->pw_name);
    const QString group = u"group:"_s + QString::fromLocal8Bit(::getgrgid(::getgid())->gr_name);
    const QString uid = u"uid:%1"_s.arg(::getuid());
    const auto rules = [](const QString &request, const QStringList &list) {
        return QVariant(QVariantMap { { request, QVariant(list).toList() } });
    };
    QTest::newRow("no file: the owner") << QVariant() << every(u"owner"_s);
    QTest::newRow("everyone may cancel") << rules(kVXRPCSchedulerCancel, { u"everyone"_s })
                                         << QStringList { kVXRPCSchedulerCancel + u' '
                                                          + kVXAuthorisationRightRule_Universal };
    QTest::newRow("by user and group") << QVariant(
        QVariantMap { { kVXRPCSchedulerReset, QVariantList { user } },
                      { kVXRPCSchedulerCancel, QVariantList { u"uid:99999"_s, group } },
                      { kVXRPCSchedulerAdjust, QVariantList { u"group:no-such-group-here"_s } } })
                                       << QStringList { kVXRPCSchedulerCancel + u' ' + group,
                                                        kVXRPCSchedulerReset + u' ' + user };
    QTest::newRow("by uid, every request") << rules(u"*"_s, { uid }) << every(uid);
    QTest::newRow("not a plist: the owner") << QVariant(QByteArray("everyone may do anything")) << every(u"owner"_s);
    QTest::newRow("unknown request: the owner") << rules(u"Explode"_s, { u"everyone"_s }) << every(u"owner"_s);
    QTest::newRow("unknown rule: the owner") << rules(u"*"_s, { u"anybody"_s }) << every(u"owner"_s);
}

void tst_HalvaneService::rightsFromTheRulesFile()
{
    QFETCH(QVariant, rules);
    QFETCH(QStringList, rights);
    // The file changes while the service runs: the client hears of it and reads its new rights.
    QTemporaryDir directory;
    const QString path = directory.filePath(u"rights.plist"_s);
    QVERIFY(start({ u"--rules"_s, path }));
    QVERIFY(store(someEvents()));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXRPCSchedulerReset, QVariantList { u"uid:99999"_s } } }, path));
    QTRY_VERIFY(rightsOf(*m_client).isEmpty());
    QFile file(path);
    if (rules.typeId() == QMetaType::QByteArray)
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(rules.toByteArray()) > 0);
    else if (rules.isValid())
        QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(rules, path));
    else
        QVERIFY(file.remove());
    file.close();
    QTRY_COMPARE(rightsOf(*m_client), rights);
    // The rights a client is told of are the ones it has; a refused request changes nothing.
    const QList<QPair<QString, QVariantMap>> requests {
        { kVXRPCSchedulerAdjust, trigger(u"a1"_s, kVXRPCParameterDate, kNow.addDays(3)) },
        { kVXRPCSchedulerCancel, trigger(u"a1"_s) },
        { kVXRPCSchedulerReset, {} },
        { kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, u"b"_s } } },
        { kVXRPCEventStoreStore, storing({ makeEvent(u"new"_s, {}) }) },
        { kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } } },
    };
    for (const auto &[name, parameters] : requests) {
        const QHash<QString, QVariant> before = everything(*m_client);
        const bool granted = !rights.filter(name + u' ').isEmpty();
        qint64 status = 0;
        QCOMPARE(m_client->request(name, parameters, &status), granted);
        if (!granted) {
            QCOMPARE(status, qint64(kVXStatusNotAuthorised));
            QCOMPARE(everything(*m_client), before);
        }
    }
}

void tst_HalvaneService::rightsFromPolkit()
{
    // polkit answers for the actions of the installed policy: a request whose action the policy lacks is
    // never granted.
    QFile policy(QStringLiteral(TRISK_SOURCE_DIR "/dist/org.halvane.scheduler.policy"));
    QVERIFY(policy.open(QIODevice::ReadOnly));
    QXmlStreamReader reader(&policy);
    while (!reader.atEnd()) {
        if (reader.readNext() == QXmlStreamReader::StartElement && reader.name() == "action"_L1)
            m_system->answers.insert(reader.attributes().value("id"_L1).toString(), FakeSystemServices::Answer::Yes);
    }
    m_system->answers.insert(u"org.halvane.scheduler.adjust"_s, FakeSystemServices::Answer::Authenticate);
    m_system->answers.insert(u"org.halvane.scheduler.set-enabled"_s, FakeSystemServices::Answer::No);
    QVERIFY(start({ u"--rights"_s, u"polkit"_s, u"--polkit-bus"_s, m_systemBus->address() }));
    QCOMPARE(rightsOf(*m_client),
             (QStringList { kVXRPCSchedulerAdjust + u" polkit-authentication"_s, kVXRPCSchedulerCancel + u" polkit"_s,
                            kVXRPCSchedulerReset + u" polkit"_s, kVXRPCOnDemandPerform + u" polkit"_s,
                            kVXRPCEventStoreStore + u" polkit"_s }));
    // Standing rights never ask the person; a request may.
    QVERIFY(!m_system->interactive.contains(true));
    QCOMPARE(m_system->subjects.last(), QDBusConnection::sessionBus().baseService());
    QVERIFY(store(someEvents()));
    QCOMPARE(m_system->interactive.last(), true);
    // Adjust would need a password nobody gives here.
    QCOMPARE(refusal(kVXRPCSchedulerAdjust, trigger(u"a1"_s, kVXRPCParameterDate, kNow)),
             qint64(kVXStatusNotAuthorised));
    QCOMPARE(refusal(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }), qint64(kVXStatusNotAuthorised));
    // Without polkit nothing is granted.
    m_system.reset();
    QCOMPARE(refusal(kVXRPCSchedulerCancel, trigger(u"a1"_s)), qint64(kVXStatusNotAuthorised));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"b1"_s, u"a2"_s, u"a1"_s }));
}

void tst_HalvaneService::onceAndWeeklyThroughTheirLives()
{
    QVERIFY(start());
    QVERIFY(m_service->setTestTimeZone("Europe/Berlin"));
    const auto berlin = [](int day, int hour, int minute, int second = 0) {
        return QDateTime(QDate(2030, 6, day), QTime(hour, minute, second), kBerlin);
    };
    QVERIFY(at(berlin(1, 8, 0)));
    const QDateTime fire = berlin(1, 9, 0);
    QVERIFY(store({ makeEvent(u"Once"_s, { once(fire, u"o"_s) }, doing({ power(kVXActionType_PowerOff) })),
                    makeEvent(u"Weekly"_s, { daily(u"10:00"_s, u"w"_s, { qint64(1) }) },
                              doing({ power(kVXActionType_Suspend) })) }));
    QCOMPARE(m_client->pendingIDs(), (QStringList { u"o"_s, u"w"_s }));
    QVERIFY(m_client->pendingIDs(kVXObserveNotificationsCurrent).isEmpty());

    // Once: current five minutes ahead, warned one minute ahead, performed when it comes, then gone.
    QVERIFY(at(fire.addSecs(-240)));
    QCOMPARE(m_client->pendingIDs(kVXObserveNotificationsCurrent), QStringList { u"o"_s });
    QCOMPARE(m_client->value(kVXObserveNotificationsWarning), QVariant(QVariantList()));
    QVERIFY(at(fire.addSecs(-50)));
    QCOMPARE(m_client->value(u"NotificationsWarning.0.Message"_s), QVariant(u"“Once” will shut this computer down."_s));
    QVERIFY(at(fire));
    QTRY_COMPARE(m_system->powerCalls, QStringList { u"PowerOff"_s });
    QCOMPARE(m_client->pendingIDs(), QStringList { u"w"_s });

    QVERIFY(at(berlin(3, 9, 59, 30)));
    QVERIFY(at(berlin(3, 10, 0)));
    QTRY_COMPARE(m_system->powerCalls, (QStringList { u"PowerOff"_s, u"Suspend"_s }));
    QCOMPARE(m_client->pendingDate(u"w"_s), berlin(10, 10, 0));
}

void tst_HalvaneService::clockJumpsAndZoneChanges()
{
    QVERIFY(start());
    QVERIFY(m_service->setTestTimeZone("Europe/Berlin"));
    QVERIFY(at(QDateTime(QDate(2030, 6, 1), QTime(8, 0), kBerlin)));
    QVERIFY(
        store({ makeEvent(u"d"_s, { daily(u"22:00"_s, u"d"_s) }, doing({ power(kVXActionType_Reboot) })), mark() }));
    QVERIFY(at(QDateTime(QDate(2030, 6, 1), QTime(22, 0), kBerlin)));
    QTRY_COMPARE(m_system->powerCalls, QStringList { u"Reboot"_s });
    // Moving west after a firing does not bring the same local evening round again.
    QVERIFY(m_service->setTestTimeZone("America/New_York") && m_client->reload());
    QCOMPARE(m_client->pendingDate(u"d"_s), QDateTime(QDate(2030, 6, 2), QTime(22, 0), kNewYork));
    // Days pass at once: one firing, then tomorrow's.
    QVERIFY(at(QDateTime(QDate(2030, 6, 4), QTime(23, 0), kNewYork)));
    QTRY_COMPARE(m_system->powerCalls, (QStringList { u"Reboot"_s, u"Reboot"_s }));
    QCOMPARE(m_client->pendingDate(u"d"_s), QDateTime(QDate(2030, 6, 5), QTime(22, 0), kNewYork));
    // The clock goes back across the firing and forward again: nothing fires twice. The event performed
    // next shows what came before it.
    QVERIFY(at(QDateTime(QDate(2030, 6, 4), QTime(21, 30), kNewYork)));
    QVERIFY(at(QDateTime(QDate(2030, 6, 4), QTime(22, 30), kNewYork)));
    QVERIFY(perform(u"mark"_s));
    QTRY_COMPARE(m_system->powerCalls, (QStringList { u"Reboot"_s, u"Reboot"_s, u"Suspend"_s }));

    // 02:30 does not come on 30 March 2031 in Berlin, and comes twice on 26 October.
    QVERIFY(m_service->setTestTimeZone("Europe/Berlin"));
    QVERIFY(at(QDateTime(QDate(2031, 3, 29), QTime(12, 0), kBerlin)));
    QVERIFY(store({ makeEvent(u"g"_s, { daily(u"02:30"_s, u"g"_s) }) }));
    QCOMPARE(m_client->pendingDate(u"g"_s), QDateTime(QDate(2031, 3, 30), QTime(1, 0), QTimeZone::utc()));
    QVERIFY(at(QDateTime(QDate(2031, 10, 25), QTime(12, 0), kBerlin)));
    QCOMPARE(m_client->pendingDate(u"g"_s), QDateTime(QDate(2031, 10, 26), QTime(0, 30), QTimeZone::utc()));
}

void tst_HalvaneService::cancelAdjustAndPostponeARepeatingTrigger()
{
    QVERIFY(start());
    QVERIFY(
        store({ makeEvent(u"d"_s, { daily(u"13:00"_s, u"d1"_s) }, doing({ power(kVXActionType_Reboot) })), mark() }));
    const QDateTime first = kNow.addSecs(3600);
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"d1"_s)));
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"d1"_s)));
    QCOMPARE(m_client->pendingDate(u"d1"_s), first.addDays(2));
    // Resetting brings the cancelled firings back; an adjustment moves only the queued one.
    QVERIFY(request(kVXRPCSchedulerReset, trigger(u"d1"_s)));
    QCOMPARE(m_client->pendingDate(u"d1"_s), first);
    QVERIFY(request(kVXRPCSchedulerAdjust, trigger(u"d1"_s, kVXRPCParameterDate, first.addSecs(600))));
    QVERIFY(at(first.addSecs(60)));
    QCOMPARE(m_client->pendingDate(u"d1"_s), first.addSecs(600));
    QVERIFY(at(first.addSecs(600)));
    QTRY_COMPARE(m_system->powerCalls, QStringList { u"Reboot"_s });
    QCOMPARE(m_client->pendingDate(u"d1"_s), first.addDays(1));

    // Postponed: the firings whose time came are gone, and a reset brings back only what is ahead.
    const QDateTime until(QDate(2030, 6, 5), QTime(0, 0), QTimeZone::utc());
    QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"d1"_s, kVXRPCParameterUntil, until)));
    QCOMPARE(m_client->pendingDate(u"d1"_s), until.addSecs(13 * 3600));
    QVERIFY(at(until.addSecs(-10 * 3600)));
    QVERIFY(request(kVXRPCSchedulerReset, {}));
    QCOMPARE(m_client->pendingDate(u"d1"_s), until.addSecs(13 * 3600));
    // A firing that comes while the scheduler is disabled passes unperformed.
    QVERIFY(setEnabled(false));
    QVERIFY(at(until.addDays(1)));
    QCOMPARE(m_client->pendingDate(u"d1"_s), until.addDays(1).addSecs(13 * 3600));
    QVERIFY(perform(u"mark"_s));
    QTRY_COMPARE(m_system->powerCalls, (QStringList { u"Reboot"_s, u"Suspend"_s }));
    // Cancelled firings are kept one by one, up to a hundred.
    for (int i = 0; i < 100; ++i)
        QVERIFY(request(kVXRPCSchedulerCancel, trigger(u"d1"_s)));
    QCOMPARE(refusal(kVXRPCSchedulerCancel, trigger(u"d1"_s)), qint64(kVXStatusLimitExceeded));
}

void tst_HalvaneService::catchUpAtStart_data()
{
    QTest::addColumn<qint64>("late");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("powerCalls");
    QTest::newRow("a restart: performed") << qint64(120) << QStringList() << QStringList { u"Reboot"_s, u"Suspend"_s };
    QTest::newRow("the machine was off: skipped") << qint64(3 * 3600) << QStringList() << QStringList { u"Suspend"_s };
    QTest::newRow("a shorter catch-up: skipped")
        << qint64(120) << QStringList { u"--catch-up"_s, u"60"_s } << QStringList { u"Suspend"_s };
}

void tst_HalvaneService::catchUpAtStart()
{
    QFETCH(qint64, late);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, powerCalls);
    // The service comes back on the real clock, the firing that much late.
    const QDateTime due = QDateTime::currentDateTimeUtc().addSecs(-late);
    QVERIFY(start());
    QVERIFY(at(due.addSecs(-60)));
    QVERIFY(store({ makeEvent(u"late"_s, { once(due, u"l"_s) }, doing({ power(kVXActionType_Reboot) })), mark() }));
    QVERIFY(m_service->stop());
    QVERIFY(start(arguments));
    QVERIFY(!m_client->pendingIDs().contains(u"l"_s));
    QVERIFY(perform(u"mark"_s));
    QTRY_COMPARE(m_system->powerCalls, powerCalls);
}

void tst_HalvaneService::actionsRunInOrderWhateverBefalls()
{
    QVERIFY(start());
    m_system->failPowerCalls = true;
    QTemporaryDir directory;
    QVERIFY(QFile::setPermissions(directory.path(), QFile::Permissions(0x7777)));
    const QString marker = directory.filePath(u"made by the command; $HOME stays as written"_s);
    const QString noUser = directory.filePath(u"no-user"_s);
    const QString asNobody = directory.filePath(u"as-nobody"_s);
    const QVariantList actions {
        command(QVariantList { u"/usr/bin/touch"_s, marker }),
        command(QVariantList { u"/nonexistent/program"_s }),
        command(QVariantList { u"/bin/sleep"_s, u"30"_s }, { { kVXActionTimeout, 0.3 } }),
        command(QVariantList { u"/usr/bin/touch"_s, noUser }, { { kVXActionUser, u"no-such-user-x"_s } }),
        command(QVariantList { u"/usr/bin/touch"_s, asNobody }, { { kVXActionUser, u"nobody"_s } }),
        power(kVXActionType_Reboot),
        QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, u"after"_s } },
        power(kVXActionType_Suspend),
    };
    QVERIFY(store({ makeEvent(u"job"_s, {}, doing(actions, true)) }));
    QVERIFY(perform(u"job"_s));
    // A command out of time is stopped, one that cannot start or a failing power action is passed by.
    QTRY_COMPARE(m_system->powerCalls, (QStringList { u"Reboot"_s, u"Suspend"_s }));
    QVERIFY(QFile::exists(marker));
    QVERIFY(!QFile::exists(noUser));
    // Only a service running as root runs a command as someone else.
    if (::geteuid() == 0)
        QCOMPARE(QFileInfo(asNobody).ownerId(), ::getpwnam("nobody")->pw_uid);
    else
        QVERIFY(!QFile::exists(asNobody));
}

void tst_HalvaneService::busAndName()
{
    PrivateBus bus;
    QVERIFY(bus.start());
    const QDBusConnection connection = QDBusConnection::connectToBus(bus.address(), u"own"_s);
    const auto named = [&] {
        return connection.interface()->isServiceRegistered(kVXDBusServiceName).value();
    };
    QTemporaryDir state;
    const QStringList arguments { u"--bus"_s, bus.address(), u"--state-dir"_s, state.path() };
    QProcess first;
    first.start(QStringLiteral(HALVANED_PATH), arguments);
    QTRY_VERIFY_WITH_TIMEOUT(named(), 10000);
    // A second one on the same name gives up before it opens the first one's store.
    QProcess second;
    second.start(QStringLiteral(HALVANED_PATH), arguments);
    QVERIFY(second.waitForFinished() && second.exitCode() == 1);
    const QString said = QString::fromLocal8Bit(second.readAllStandardError());
    QVERIFY2(said.contains(u"already taken"_s) && !said.contains(state.path()), qPrintable(said));
    // It ends with its bus.
    bus.kill();
    QVERIFY(first.waitForFinished());
    QCOMPARE(first.exitCode(), 1);
    QDBusConnection::disconnectFromBus(u"own"_s);
}

QTEST_GUILESS_MAIN(tst_HalvaneService)
#include "tst_HalvaneService.moc"
