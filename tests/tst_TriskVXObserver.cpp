#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXObserver.h"

#include <QCoreApplication>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QTimeZone>

namespace {
const int kWait = 10000;

QStringList namesOf(const QSignalSpy &spy)
{
    QStringList names;
    for (const QList<QVariant> &arguments : spy)
        names.append(arguments.first().toString());
    return names;
}
} // namespace

class tst_TriskVXObserver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nilBeforeAnythingIsPublished();
    void readsEveryVariable();
    void oneNoticePerChangedVariableOnTheMainThread();
    void reconnectionReportsWhatChanged();
    void malformedPublishedValuesAreNotDelivered();
    void invalidatedVariableIsReadAgain();
    void keyPaths_data();
    void keyPaths();
    void destroyedWhileReading();
};

void tst_TriskVXObserver::nilBeforeAnythingIsPublished()
{
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(
        TriskVXServiceLocation::onBus(QDBusConnection::sessionBus(), HalvanedProcess::uniqueServiceName())));
    TriskVXObserver observer(connection.get());
    QCOMPARE(observer.connection(), connection.get());
    for (const QString &name : TriskVXObserver::observedVariables())
        QVERIFY2(!observer.valueForKeyPath(name).isValid(), qPrintable(name));
    QVERIFY(!observer.valueForKeyPath(kVXRPCSchedulerEnabled).isValid());
    TriskVXObserver withoutConnection(nullptr);
    QVERIFY(!withoutConnection.valueForKeyPath(kVXObserveSchedulerPending).isValid());
}

void tst_TriskVXObserver::readsEveryVariable()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    for (const QString &name : TriskVXObserver::observedVariables())
        QVERIFY2(observer.valueForKeyPath(name).isValid(), qPrintable(name));
    QCOMPARE(observer.valueForKeyPath(kVXObserveSchedulerEnabled).typeId(), int(QMetaType::Bool));
    QVERIFY(observer.valueForKeyPath(kVXObserveSchedulerEnabled).toBool());
    // The quick schedule panel's read under the request constant finds the same value.
    QCOMPARE(observer.valueForKeyPath(kVXRPCSchedulerEnabled), observer.valueForKeyPath(kVXObserveSchedulerEnabled));
    const QVariantList pending = observer.valueForKeyPath(kVXObserveSchedulerPending).toList();
    QCOMPARE(pending.size(), 3);
    const QVariant date = pending.first().toMap().value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate);
    QCOMPARE(date.typeId(), int(QMetaType::QDateTime));
    QCOMPARE(observer.property("SchedulerPending"), observer.valueForKeyPath(kVXObserveSchedulerPending));
    QCOMPARE(observer.valueForKeyPath(kVXObserveOnDemandAvailable).toList().size(), 2);
    QCOMPARE(observer.valueForKeyPath(kVXObserveNotificationsWarning), QVariant(QVariantList()));
}

void tst_TriskVXObserver::oneNoticePerChangedVariableOnTheMainThread()
{
    HalvanedProcess service;
    QVERIFY(service.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    QSignalSpy pendingChanged(&observer, &TriskVXObserver::schedulerPendingChanged);
    QThread *deliveredOn = nullptr;
    connect(&observer, &TriskVXObserver::didChangeValueForKeyPath, this, [&] {
        deliveredOn = QThread::currentThread();
    });

    const QDateTime later = QDateTime::currentDateTimeUtc().addDays(3);
    const QVariantMap event {
        { kVXEventName, QStringLiteral("Later") },
        { kVXEventTriggers,
          QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, later } } } }
    };
    const TriskVXRequest store(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } });
    QVERIFY(connection->send(&store, nullptr));
    QVERIFY(changes.wait(kWait));
    QCOMPARE(namesOf(changes), QStringList { kVXObserveSchedulerPending });
    QCOMPARE(pendingChanged.count(), 1);
    QCOMPARE(deliveredOn, QCoreApplication::instance()->thread());
    const QVariantMap queued = observer.valueForKeyPath(kVXObserveSchedulerPending).toList().value(0).toMap();
    QCOMPARE(queued.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime(), later);

    changes.clear();
    const TriskVXRequest disable
        = TriskVXRequest::requestWithRequestValueForParameter(kVXRPCSchedulerSetEnabled, false, kVXRPCParameterEnabled);
    QVERIFY(connection->send(&disable, nullptr));
    QVERIFY(changes.wait(kWait));
    QCOMPARE(namesOf(changes), QStringList { kVXObserveSchedulerEnabled });
    QCOMPARE(observer.valueForKeyPath(kVXObserveSchedulerEnabled), QVariant(false));
}

void tst_TriskVXObserver::reconnectionReportsWhatChanged()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    connection->setAutoReconnect(true);
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QVERIFY(service.stop());
    QTRY_VERIFY_WITH_TIMEOUT(!connection->isValid(), kWait);
    // The last published values stay readable while the service is away.
    QCOMPARE(observer.valueForKeyPath(kVXObserveSchedulerPending).toList().size(), 3);

    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    // It comes back with a new, empty store.
    QVERIFY(QFile::remove(service.stateFile()));
    QVERIFY(service.start());
    QVERIFY(reloaded.wait(kWait));
    QStringList changed = namesOf(changes);
    changed.sort();
    QStringList expected { kVXObserveSchedulerPending, kVXObserveNotificationsCurrent, kVXObserveOnDemandAvailable };
    expected.sort();
    QCOMPARE(changed, expected);
    QCOMPARE(observer.valueForKeyPath(kVXObserveSchedulerPending), QVariant(QVariantList()));
}

void tst_TriskVXObserver::malformedPublishedValuesAreNotDelivered()
{
    TriskVXDBusPropertyList::registerTypes();
    FakeScheduler fake;
    const QVariantList warnings { QVariantMap { { kVXQueuedWarningActionID, QStringLiteral("w1") },
                                                { kVXQueuedWarningMessage, QStringLiteral("soon") } } };
    fake.published = {
        { kVXObserveSchedulerEnabled, QStringLiteral("yes") },
        { kVXObserveSchedulerPending, QVariant(QStringList { QStringLiteral("a"), QStringLiteral("b") }) },
        { kVXObserveNotificationsWarning, QVariant::fromValue(TriskVXDBusPropertyList::encodeRecordList(warnings)) },
        { QStringLiteral("SomethingElse"), qint64(3) },
        { kVXObserveAuthorisationRights, QVariant(QStringList { QStringLiteral("everything") }) },
    };
    QVERIFY(fake.start());
    LogCapture log;
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QCOMPARE(namesOf(changes), QStringList { kVXObserveNotificationsWarning });
    QCOMPARE(observer.valueForKeyPath(kVXObserveNotificationsWarning), QVariant(warnings));
    QVERIFY(!observer.valueForKeyPath(kVXObserveSchedulerEnabled).isValid());
    QVERIFY(!observer.valueForKeyPath(kVXObserveSchedulerPending).isValid());
    const QStringList messages = log.messages("trisk.halvane");
    QCOMPARE(messages.filter(QStringLiteral("ignoring the published SchedulerEnabled: not a boolean")).size(), 1);
    QCOMPARE(messages.filter(QStringLiteral("ignoring the published SchedulerPending")).size(), 1);
    QCOMPARE(messages.filter(QStringLiteral("ignoring the published AuthorisationRights")).size(), 1);
    QVERIFY(!observer.valueForKeyPath(kVXObserveAuthorisationRights).isValid());

    // A malformed change keeps the last good value; a good one is delivered.
    changes.clear();
    fake.publish({ { kVXObserveNotificationsWarning, qint64(12) } });
    fake.publish({ { kVXObserveSchedulerEnabled, false } });
    QVERIFY(changes.wait(kWait));
    QCOMPARE(namesOf(changes), QStringList { kVXObserveSchedulerEnabled });
    QCOMPARE(observer.valueForKeyPath(kVXObserveNotificationsWarning), QVariant(warnings));
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("ignoring the published NotificationsWarning")).size(),
             1);
}

void tst_TriskVXObserver::invalidatedVariableIsReadAgain()
{
    FakeScheduler fake;
    fake.published = { { kVXObserveSchedulerEnabled, true } };
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QSignalSpy changes(&observer, &TriskVXObserver::didChangeValueForKeyPath);
    fake.published.insert(kVXObserveSchedulerEnabled, false);
    fake.publish({}, { kVXObserveSchedulerEnabled });
    QVERIFY(changes.wait(kWait));
    QCOMPARE(observer.valueForKeyPath(kVXObserveSchedulerEnabled), QVariant(false));
}

void tst_TriskVXObserver::keyPaths_data()
{
    QTest::addColumn<QString>("keyPath");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("variable") << kVXObserveAuthorisationRights
                              << QVariant(QVariantList { QVariantMap {
                                     { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust },
                                     { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } } });
    QTest::newRow("index and key") << QStringLiteral("AuthorisationRights.0.Signature")
                                   << QVariant(kVXRPCSchedulerAdjust);
    QTest::newRow("index out of range") << QStringLiteral("AuthorisationRights.5.Signature") << QVariant();
    QTest::newRow("not an index") << QStringLiteral("AuthorisationRights.x") << QVariant();
    QTest::newRow("into a boolean") << QStringLiteral("SchedulerEnabled.x") << QVariant();
    QTest::newRow("unknown variable") << QStringLiteral("Nothing") << QVariant();
}

void tst_TriskVXObserver::keyPaths()
{
    QFETCH(QString, keyPath);
    QFETCH(QVariant, value);
    FakeScheduler fake;
    fake.published = { { kVXObserveSchedulerEnabled, true },
                       { kVXObserveAuthorisationRights,
                         QVariant::fromValue(QList<QVariantMap> {
                             { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust },
                               { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } } }) } };
    TriskVXDBusPropertyList::registerTypes();
    QVERIFY(fake.start());
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(fake.location()));
    TriskVXObserver observer(connection.get());
    QSignalSpy reloaded(&observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
    QCOMPARE(observer.valueForKeyPath(keyPath), value);
}

void tst_TriskVXObserver::destroyedWhileReading()
{
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--demo") }));
    std::unique_ptr<TriskVXConnection> connection(TriskVXConnection::connectionWithLocation(service.location()));
    QTRY_VERIFY_WITH_TIMEOUT(connection->isValid(), kWait);
    service.pause();
    {
        TriskVXObserver observer(connection.get());
    }
    service.resume();
    // The answer to the destroyed observer's read arrives and goes nowhere.
    TriskVXObserver second(connection.get());
    QSignalSpy reloaded(&second, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
}

QTEST_GUILESS_MAIN(tst_TriskVXObserver)
#include "tst_TriskVXObserver.moc"
