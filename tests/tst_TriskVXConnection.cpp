// The client's link to the service: finding it, losing and regaining it, published values, wrong answers.
#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "NotADate.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXObserver.h"
#include "TriskVXRecords.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 10000;

// The service answers a connection's calls in order: once this ping is answered, every call the
// connection made before it has had its answer delivered too.
bool roundTrip(const TriskVXServiceLocation &location)
{
    const QDBusMessage ping = QDBusMessage::createMethodCall(location.serviceName(), kVXDBusObjectPath,
                                                             u"org.freedesktop.DBus.Peer"_s, u"Ping"_s);
    QDBusPendingCallWatcher watcher(location.bus().asyncCall(ping));
    QSignalSpy finished(&watcher, &QDBusPendingCallWatcher::finished);
    return finished.wait(kWait) && !watcher.isError();
}

std::optional<TriskVXResponse> answerTo(TriskVXConnection *connection, const QVariantMap &parameters = {})
{
    std::optional<TriskVXResponse> answer;
    const TriskVXRequest request(kVXRPCSchedulerReset, parameters);
    if (connection->send(&request, [&](const TriskVXResponse &response) {
            answer = response;
        }))
        waitFor([&] {
            return answer.has_value();
        });
    return answer;
}

QStringList namesOf(const QSignalSpy &spy)
{
    QStringList names;
    for (const QList<QVariant> &arguments : spy)
        names.append(arguments.first().toString());
    names.sort();
    return names;
}
} // namespace

class tst_TriskVXConnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void withoutTheService();
    void serviceLeavesCrashesHangsAndComesBack();
    void observerFollowsTheService();
    void serviceThatAnswersWrongly();
    void aBurstIsTakenNewestOnly();
    void valuesCrossTheBus_data();
    void valuesCrossTheBus();
};

void tst_TriskVXConnection::initTestCase()
{
    qDBusRegisterMetaType<NotADate>();
    qDBusRegisterMetaType<QMap<int, QString>>();
}

void tst_TriskVXConnection::withoutTheService()
{
    // Set but empty counts as unset.
    qputenv("HALVANE_BUS", QByteArray());
    qputenv("HALVANE_SERVICE", QByteArray());
    const TriskVXServiceLocation fallback = TriskVXServiceLocation::fromEnvironment();
    QCOMPARE(fallback.busDescription(), u"session"_s);
    QCOMPARE(fallback.serviceName(), kVXDBusServiceName);
    qunsetenv("HALVANE_BUS");
    qunsetenv("HALVANE_SERVICE");

    // A bus without the service is no error: the service may come later.
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
}

void tst_TriskVXConnection::serviceLeavesCrashesHangsAndComesBack()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    qputenv("HALVANE_BUS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    qputenv("HALVANE_SERVICE", service.serviceName().toUtf8());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connection());
    qunsetenv("HALVANE_BUS");
    qunsetenv("HALVANE_SERVICE");
    connection->setAutoReconnect(true);
    QSignalSpy authenticated(connection.get(), &TriskVXConnection::didAuthenticate);
    QSignalSpy invalidated(connection.get(), &TriskVXConnection::didBecomeInvalid);
    QTRY_COMPARE_WITH_TIMEOUT(authenticated.count(), 1, kWait);
    QVERIFY(service.kill());
    QTRY_COMPARE_WITH_TIMEOUT(invalidated.count(), 1, kWait);

    // Back on the bus: reconnected without being asked.
    QVERIFY(service.start());
    QTRY_COMPARE_WITH_TIMEOUT(authenticated.count(), 2, kWait);
    QVERIFY(answerTo(connection.get())->succeeded());
    QCOMPARE(invalidated.count(), 1);

    // Kept alive, each interval sends a ping; answered ones keep the connection.
    TriskVXClock clock;
    clock.setNow(QDateTime::currentDateTimeUtc());
    connection->setClock(&clock);
    connection->setKeepAliveInterval(60000);
    connection->setKeepAlive(true);
    for (int i = 0; i < 3; ++i) {
        clock.advance(connection->keepAliveInterval());
        QVERIFY(roundTrip(connection->location()));
    }
    service.pause();
    clock.advance(connection->keepAliveInterval());
    QVERIFY(connection->isValid());
    // One interval without an answer: the service hangs.
    clock.advance(connection->keepAliveInterval());
    QCOMPARE(invalidated.count(), 2);
}

void tst_TriskVXConnection::observerFollowsTheService()
{
    HalvanedProcess service;
    QVERIFY(service.start({ u"--demo"_s }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    // An observer gone while its read is on the way: the answer must find nothing to write to.
    service.pause();
    delete new TriskVXObserver(connection.get());
    service.resume();

    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    const QVariantMap first = observer.schedulerPending().toList().first().toMap();
    const QString triggerID = first.value(kVXQueuedTriggerTriggerID).toString();

    // The adjust dialog (one per trigger) moves the trigger out of the current ones: one notice for each
    // variable that changed.
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    TriskVXWorkspace workspace;
    workspace.adjustQueuedTriggerWithConnection(QVariantMap(), connection.get());
    workspace.adjustQueuedTriggerWithConnection(first, connection.get());
    QPointer<TriskVXAdjustDialog> dialog = workspace.adjustDialogForTrigger(triggerID);
    QVERIFY(dialog && dialog->isVisible());
    workspace.adjustQueuedTriggerWithConnection(triggerID, connection.get());
    QCOMPARE(workspace.adjustDialogForTrigger(triggerID), dialog.data());
    QTRY_COMPARE_WITH_TIMEOUT(dialog->findChild<QLabel *>(u"label"_s)->text(),
                              u"Choose when “Evening shut down (demo)” fires:"_s, kWait);
    const QDateTime later = QDateTime::currentDateTimeUtc().addDays(4);
    dialog->setDate(later);
    dialog->accept();
    QTRY_COMPARE_WITH_TIMEOUT(namesOf(changes),
                              (QStringList { kVXObserveNotificationsCurrent, kVXObserveSchedulerPending }), kWait);
    const QVariantList pending = observer.schedulerPending().toList();
    QVERIFY(std::any_of(pending.cbegin(), pending.cend(), [&](const QVariant &record) {
        return record.toMap().value(kVXQueuedTriggerTriggerID) == triggerID
            && TriskVXRecords::triggerDateOfQueuedTrigger(record.toMap()) == later;
    }));

    // The last values stay readable while the service is away.
    QVERIFY(service.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!connection->isValid(), kWait);
    QCOMPARE(observer.schedulerPending(), QVariant(pending));
}

void tst_TriskVXConnection::serviceThatAnswersWrongly()
{
    FakeScheduler fake;
    fake.protocolVersion = kVXProtocolVersion + 1;
    const QVariantList pending { QVariantMap { { kVXQueuedTriggerTriggerID, u"t"_s } } };
    fake.published = {
        { kVXObserveSchedulerPending, QVariant::fromValue(TriskVXDBusPropertyList::encodeRecordList(pending)) },
        { kVXObserveSchedulerEnabled, u"yes"_s },
        { kVXObserveSchedulerActive, QVariant::fromValue(NotADate()) },
        { kVXObserveNotificationsWarning, QStringList { u"a"_s } },
        { kVXObserveOnDemandAvailable, qint64(5) },
        { kVXObserveAuthorisationRights, QStringList { u"everything"_s } },
        { u"SomethingElse"_s, qint64(3) },
    };
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    QSignalSpy failed(connection.get(), &TriskVXConnection::connectionAttemptFailed);
    QVERIFY(failed.wait(kWait));
    QVERIFY(failed.first().first().toString().contains(u"protocol version"_s));

    fake.protocolVersion = kVXProtocolVersion;
    fake.malformedReplies = true;
    LogCapture log;
    TriskVXObserver observer(connection.get());
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    connection->connect();
    QVERIFY(reloaded.wait(kWait));
    QCOMPARE(answerTo(connection.get()).value_or(TriskVXResponse()).status(), qint64(kVXStatusMalformedReply));
    QCOMPARE(log.messages("trisk.halvane").filter(u"malformed reply to SchedulerReset"_s).size(), 1);

    // Malformed published values are logged, not delivered.
    QCOMPARE(namesOf(changes), QStringList { kVXObserveSchedulerPending });
    QCOMPARE(log.messages("trisk.halvane").filter(u"ignoring the published"_s).size(), 5);
    for (const QString &name : TriskVXObserver::observedVariables() + QStringList { u"SomethingElse"_s })
        QCOMPARE(observer.valueForKeyPath(name).isValid(), name == kVXObserveSchedulerPending);

    // A malformed change keeps the last good value; a good one, changed or re-read when invalidated, arrives.
    changes.clear();
    fake.publish(
        { { kVXObserveSchedulerPending, QVariant(QVariantList { QVariantMap { { kVXQueuedTriggerTriggerID, 4 } } }) },
          { kVXObserveSchedulerEnabled, false } });
    fake.published.insert(kVXObserveNotificationsWarning, QVariant(QVariantList()));
    fake.publish({}, { kVXObserveNotificationsWarning });
    QTRY_COMPARE_WITH_TIMEOUT(namesOf(changes),
                              (QStringList { kVXObserveNotificationsWarning, kVXObserveSchedulerEnabled }), kWait);
    QCOMPARE(observer.schedulerEnabled(), QVariant(false));
    QCOMPARE(observer.schedulerPending(), QVariant(pending));
}

void tst_TriskVXConnection::aBurstIsTakenNewestOnly()
{
    FakeScheduler fake;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    TriskVXObserver observer(connection.get());
    observer.setTakesNewestOnly(true);
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    connection->connect();
    QVERIFY(reloaded.wait(kWait));
    LogCapture log;
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    const auto pendingOf = [](const QVariant &triggerID) {
        return QVariantList { QVariantMap { { kVXQueuedTriggerTriggerID, triggerID } } };
    };
    const QVariant malformed = pendingOf(4);
    // Twenty reports, a malformed one among them, come while this process's event loop stands still:
    // blocking round trips on the publishing and the receiving connection put them all in its queue.
    for (int i = 0; i < 20; ++i)
        fake.publish({ { kVXObserveSchedulerPending,
                         i == 10 ? malformed
                                 : QVariant::fromValue(
                                     TriskVXDBusPropertyList::encodeRecordList(pendingOf(u"t%1"_s.arg(i)))) } });
    for (const QDBusConnection &bus : { fake.connection(), QDBusConnection::sessionBus() })
        QCOMPARE(bus.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                         u"org.freedesktop.DBus"_s, u"GetId"_s))
                     .type(),
                 QDBusMessage::ReplyMessage);
    // Only the newest is decoded: one change, and the malformed one in between is never looked at.
    QTRY_COMPARE_WITH_TIMEOUT(observer.schedulerPending(), QVariant(pendingOf(u"t19"_s)), kWait);
    QCOMPARE(namesOf(changes), QStringList { kVXObserveSchedulerPending });
    QVERIFY(log.messages("trisk.halvane").filter(u"ignoring the published"_s).isEmpty());
    // Alone, a malformed report is logged and the last good value stays.
    fake.publish({ { kVXObserveSchedulerPending, malformed } });
    QTRY_COMPARE_WITH_TIMEOUT(log.messages("trisk.halvane").filter(u"ignoring the published"_s).size(), 1, kWait);
    QCOMPARE(observer.schedulerPending(), QVariant(pendingOf(u"t19"_s)));
    QCOMPARE(changes.size(), 1);
}

void tst_TriskVXConnection::valuesCrossTheBus_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("received");
    const QDateTime before1970(QDate(1969, 7, 20), QTime(20, 17, 40, 125), QTimeZone::utc());
    const QDateTime after2038(QDate(2106, 2, 7), QTime(6, 28, 16), QTimeZone::utc());
    const QVariantList scalars { true,
                                 false,
                                 qint64(9007199254740993LL),
                                 quint64(18446744073709551615ULL),
                                 1.0,
                                 -0.125,
                                 u"Grüße “x” 😀"_s,
                                 u""_s,
                                 QByteArray("\x00\xff\x10", 3),
                                 before1970,
                                 after2038 };
    QTest::newRow("every scalar type") << QVariant(scalars) << QVariant(scalars);
    const QVariantMap nested { { u"list"_s, QVariantList { QVariantList(), QVariantMap() } },
                               { u"deep"_s, QVariantMap { { u"d"_s, QVariantList { after2038 } } } } };
    QTest::newRow("nested and empty containers") << QVariant(nested) << QVariant(nested);
    // nil has no wire form: the key is left out.
    QTest::newRow("nil") << QVariant() << QVariant();
    // A value that is no property list spoils the whole dictionary.
    QTest::newRow("struct that is not a date")
        << QVariant(QVariantList { qint64(1), QVariant::fromValue(NotADate()) }) << QVariant();
    // Refused half-way through a dictionary: under scripts/sanitize.sh this used to leak the reader.
    QTest::newRow("dictionary refused half-way") << QVariant(
        QVariantMap { { u"a"_s, qint64(1) }, { u"b"_s, QVariant::fromValue(NotADate()) }, { u"c"_s, true } })
                                                 << QVariant();
    QTest::newRow("dictionary with integer keys")
        << QVariant::fromValue(QMap<int, QString> { { 1, u"x"_s } }) << QVariant();
}

// Parameters of a request travel the client's way to the fake service, which reads them as halvaned does.
void tst_TriskVXConnection::valuesCrossTheBus()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, received);
    FakeScheduler fake;
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    QVERIFY(answerTo(connection.get(), { { u"v"_s, value }, { u"n"_s, 1 } }));
    const QVariantMap parameters = fake.received().value(0).parameters;
    QCOMPARE(parameters.value(u"v"_s), received);
    QCOMPARE(parameters.value(u"v"_s).typeId(), received.typeId());
    QCOMPARE(parameters.isEmpty(), !received.isValid() && value.isValid());
}

QTEST_MAIN(tst_TriskVXConnection)
#include "tst_TriskVXConnection.moc"
