#include "HalvanedProcess.h"
#include "NotADate.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXObserver.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTimeZone>

namespace {
const int kWait = 10000;

} // namespace

// halvaned as a client sees it: the real process on the test bus, driven through libHalvane and through
// raw D-Bus messages for what libHalvane never sends.
class tst_HalvaneSchedulerService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void propertiesHaveTheirDocumentedSignatures();
    void everyRequestChangesWhatItShould();
    void performingShowsInTheActiveList();
    void onDemandNeedsEnabledAndTheBehaviour();
    void warningsArriveInDateOrder();
    void everyValueTypeSurvivesTheService();
    void changesAnnounceOnlyTheChangedProperties();
    void malformedCalls_data();
    void malformedCalls();
    void drivenByGdbus();
    void drivenByBusctl();
    void exitsOnSigterm();
    void refusesATakenName();

public Q_SLOTS:
    void recordChange(const QDBusMessage &message) { m_changes.append(message); }

private:
    QList<QDBusMessage> m_changes;
    QDBusMessage call(const QString &method, const QVariantList &arguments);
    QVariantMap getAll();
    bool request(const QString &name, const QVariantMap &parameters, qint64 *status = nullptr);
    QStringList pendingIDs();

    HalvanedProcess *m_service = nullptr;
    TriskVXConnection *m_connection = nullptr;
    TriskVXObserver *m_observer = nullptr;
};

void tst_HalvaneSchedulerService::init()
{
    TriskVXDBusPropertyList::registerTypes();
    qDBusRegisterMetaType<NotADate>();
    m_service = new HalvanedProcess(this);
    QVERIFY(m_service->start({ QStringLiteral("--demo") }));
    m_connection = TriskVXConnection::connectionWithLocation(m_service->location(), this);
    m_observer = new TriskVXObserver(m_connection, this);
    QSignalSpy reloaded(m_observer, &TriskVXObserver::reloaded);
    QVERIFY(reloaded.wait(kWait));
}

void tst_HalvaneSchedulerService::cleanup()
{
    delete m_observer;
    delete m_connection;
    delete m_service;
}

QDBusMessage tst_HalvaneSchedulerService::call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message
        = QDBusMessage::createMethodCall(m_service->serviceName(), kVXDBusObjectPath, kVXDBusInterface, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().call(message);
}

QVariantMap tst_HalvaneSchedulerService::getAll()
{
    QDBusMessage message
        = QDBusMessage::createMethodCall(m_service->serviceName(), kVXDBusObjectPath,
                                         QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"));
    message << kVXDBusInterface;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
    return TriskVXDBusPropertyList::decode(reply.arguments().value(0)).toMap();
}

bool tst_HalvaneSchedulerService::request(const QString &name, const QVariantMap &parameters, qint64 *status)
{
    std::optional<TriskVXResponse> response;
    const TriskVXRequest request(name, parameters);
    if (!m_connection->send(&request, [&](const TriskVXResponse &received) {
            response = received;
        }))
        return false;
    QDeadlineTimer deadline(kWait);
    while (!response && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    if (status && response)
        *status = response->status();
    // Let the change notices that followed the answer arrive.
    QSignalSpy reloaded(m_observer, &TriskVXObserver::reloaded);
    m_observer->reload();
    reloaded.wait(kWait);
    return response && response->succeeded();
}

QStringList tst_HalvaneSchedulerService::pendingIDs()
{
    QStringList ids;
    const QVariantList pending = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
    for (const QVariant &record : pending)
        ids.append(record.toMap().value(kVXQueuedTriggerTriggerID).toString());
    return ids;
}

void tst_HalvaneSchedulerService::propertiesHaveTheirDocumentedSignatures()
{
    const QDBusMessage rights = call(kVXObserveAuthorisationRights, {});
    QCOMPARE(rights.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(rights.signature(), QStringLiteral("aa{sv}"));
    for (const QString &name : TriskVXObserver::observedVariables()) {
        if (name == kVXObserveAuthorisationRights)
            continue;
        QDBusMessage message
            = QDBusMessage::createMethodCall(m_service->serviceName(), kVXDBusObjectPath,
                                             QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        message << kVXDBusInterface << name;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(message);
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        const QVariant value = reply.arguments().first().value<QDBusVariant>().variant();
        if (name == kVXObserveSchedulerEnabled) {
            QCOMPARE(value.typeId(), int(QMetaType::Bool));
        } else {
            QVERIFY2(value.canConvert<QDBusArgument>(), qPrintable(name));
            QCOMPARE(value.value<QDBusArgument>().currentSignature(), QStringLiteral("aa{sv}"));
        }
    }
}

void tst_HalvaneSchedulerService::everyRequestChangesWhatItShould()
{
    const QDateTime soon = QDateTime::currentDateTimeUtc().addDays(10);
    const QVariantMap event { { kVXEventUniqueID, QStringLiteral("t-event") },
                              { kVXEventName, QStringLiteral("Test") },
                              { kVXEventTriggers,
                                QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                             { kVXTriggerDate, soon },
                                                             { kVXTriggerIdentifier, QStringLiteral("t1") } } } } };
    QVERIFY(request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } }));
    QCOMPARE(pendingIDs().last(), QStringLiteral("t1"));

    const QDateTime later = soon.addDays(1);
    QVERIFY(request(kVXRPCSchedulerAdjust,
                    { { kVXRPCParameterTriggerID, QStringLiteral("t1") }, { kVXRPCParameterDate, later } }));
    const QVariantMap last = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList().last().toMap();
    QCOMPARE(last.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime(), later);

    QVERIFY(request(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("t1") } }));
    QVERIFY(!pendingIDs().contains(QStringLiteral("t1")));
    QVERIFY(request(kVXRPCSchedulerReset, { { kVXRPCParameterTriggerID, QStringLiteral("t1") } }));
    QVERIFY(pendingIDs().contains(QStringLiteral("t1")));

    const int before = int(pendingIDs().size());
    const QVariantList all = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList();
    for (const QVariant &record : all)
        QVERIFY(request(kVXRPCSchedulerCancel,
                        { { kVXRPCParameterTriggerID, record.toMap().value(kVXQueuedTriggerTriggerID) },
                          { kVXRPCParameterUntil, later.addSecs(1) } }));
    QVERIFY(pendingIDs().size() < before);
    QVERIFY(request(kVXRPCSchedulerReset, {}));
    QCOMPARE(pendingIDs().size(), before);

    QVERIFY(request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }));
    QCOMPARE(m_observer->valueForKeyPath(kVXObserveSchedulerEnabled), QVariant(false));
    qint64 status = 0;
    QVERIFY(
        !request(kVXRPCOnDemandPerform,
                 { { kVXRPCParameterUniqueID, QStringLiteral("demo-sleep") }, { kVXRPCParameterApplyCriteria, true } },
                 &status));
    QCOMPARE(status, qint64(kVXStatusCriteriaNotMet));
    QVERIFY(request(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("demo-sleep") } }));
    QVERIFY(request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, true } }));
    QVERIFY(
        request(kVXRPCOnDemandPerform,
                { { kVXRPCParameterUniqueID, QStringLiteral("demo-sleep") }, { kVXRPCParameterApplyCriteria, true } }));
}

void tst_HalvaneSchedulerService::performingShowsInTheActiveList()
{
    QSignalSpy active(m_observer, &TriskVXObserver::schedulerActiveChanged);
    QList<int> sizes;
    connect(m_observer, &TriskVXObserver::schedulerActiveChanged, this, [&] {
        sizes.append(int(m_observer->valueForKeyPath(kVXObserveSchedulerActive).toList().size()));
    });
    const TriskVXRequest perform = TriskVXRequest::requestWithRequestValueForParameter(
        kVXRPCOnDemandPerform, QStringLiteral("demo-backup"), kVXRPCParameterUniqueID);
    QVERIFY(m_connection->send(&perform, nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(active.count(), 2, kWait);
    QCOMPARE(sizes, (QList<int> { 1, 0 }));
}

void tst_HalvaneSchedulerService::onDemandNeedsEnabledAndTheBehaviour()
{
    const QVariantList events {
        QVariantMap { { kVXEventUniqueID, QStringLiteral("disabled") },
                      { kVXEventName, QStringLiteral("Disabled") },
                      { kVXEventEnabled, false },
                      { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } } },
        QVariantMap { { kVXEventUniqueID, QStringLiteral("plain") },
                      { kVXEventName, QStringLiteral("Plain") },
                      { kVXEventEnabled, true } },
    };
    QVERIFY(request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }));
    QStringList ids;
    const QVariantList onDemand = m_observer->valueForKeyPath(kVXObserveOnDemandAvailable).toList();
    for (const QVariant &event : onDemand)
        ids.append(event.toMap().value(kVXEventUniqueID).toString());
    QCOMPARE(ids, (QStringList { QStringLiteral("demo-backup"), QStringLiteral("demo-sleep") }));
    for (const QString &id : { QStringLiteral("disabled"), QStringLiteral("plain") }) {
        qint64 status = 0;
        QVERIFY(!request(kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, id } }, &status));
        QCOMPARE(status, qint64(kVXStatusNotPerformable));
    }
}

void tst_HalvaneSchedulerService::warningsArriveInDateOrder()
{
    QCOMPARE(m_observer->valueForKeyPath(kVXObserveNotificationsWarning), QVariant(QVariantList()));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QVariantMap event {
        { kVXEventName, QStringLiteral("Warned") },
        { kVXEventWarningLead, qint64(24 * 3600) },
        { kVXEventTriggers,
          QVariantList {
              QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, now.addSecs(7200) } },
              QVariantMap { { kVXTriggerType, kVXTriggerType_Once }, { kVXTriggerDate, now.addSecs(3600) } } } }
    };
    QVERIFY(request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } }));
    const QVariantList warnings = m_observer->valueForKeyPath(kVXObserveNotificationsWarning).toList();
    QCOMPARE(warnings.size(), 2);
    QCOMPARE(warnings.at(0).toMap().value(kVXQueuedWarningDate).toDateTime(), now.addSecs(3600));
    QCOMPARE(warnings.at(1).toMap().value(kVXQueuedWarningDate).toDateTime(), now.addSecs(7200));
    QCOMPARE(warnings.at(0).toMap().value(kVXQueuedWarningEvent).toMap().value(kVXEventName),
             QVariant(QStringLiteral("Warned")));
}

void tst_HalvaneSchedulerService::everyValueTypeSurvivesTheService()
{
    const QVariantMap extra {
        { QStringLiteral("string"), QStringLiteral("Grüße") },
        { QStringLiteral("boolean"), false },
        { QStringLiteral("big"), qint64(9007199254740993LL) },
        { QStringLiteral("unsigned"), quint64(18446744073709551615ULL) },
        { QStringLiteral("real"), 1.0 },
        { QStringLiteral("data"), QByteArray("\x00\x01", 2) },
        { QStringLiteral("before 1970"), QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), QTimeZone::utc()) },
        { QStringLiteral("after 2038"), QDateTime(QDate(2200, 1, 1), QTime(0, 0), QTimeZone::utc()) },
        { QStringLiteral("empty array"), QVariantList() },
        { QStringLiteral("empty dictionary"), QVariantMap() },
        { QStringLiteral("nested"),
          QVariantList { QVariantMap { { QStringLiteral("deeper"), QVariantList { qint64(-1), QVariantMap() } } } } },
    };
    QVariantMap event { { kVXEventUniqueID, QStringLiteral("typed") },
                        { kVXEventName, QStringLiteral("Typed") },
                        { kVXEventTriggers,
                          QVariantList {
                              QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                            { kVXTriggerDate, QDateTime::currentDateTimeUtc().addYears(50) } } } } };
    event.insert(QStringLiteral("Extra"), extra);
    QVERIFY(request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } }));
    const QVariantMap published = m_observer->valueForKeyPath(kVXObserveSchedulerPending).toList().last().toMap();
    QCOMPARE(published.value(kVXQueuedTriggerEvent).toMap().value(QStringLiteral("Extra")), QVariant(extra));
}

void tst_HalvaneSchedulerService::changesAnnounceOnlyTheChangedProperties()
{
    QVERIFY(QDBusConnection::sessionBus().connect(
        m_service->serviceName(), kVXDBusObjectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"), this, SLOT(recordChange(QDBusMessage))));
    m_changes.clear();
    QVERIFY(request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }));
    QTRY_COMPARE_WITH_TIMEOUT(m_changes.size(), 1, kWait);
    QCOMPARE(m_changes.first().arguments().at(0).toString(), kVXDBusInterface);
    const QVariantMap changed = qdbus_cast<QVariantMap>(m_changes.first().arguments().at(1));
    QCOMPARE(changed.keys(), QStringList { kVXObserveSchedulerEnabled });
    QCOMPARE(changed.value(kVXObserveSchedulerEnabled), QVariant(false));
}

void tst_HalvaneSchedulerService::malformedCalls_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("error");
    QTest::addColumn<qint64>("status");
    QTest::newRow("parameters not a dictionary")
        << kVXRPCSchedulerCancel << QVariantList { QStringLiteral("t1") }
        << QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod") << qint64(0);
    QTest::newRow("no parameters at all") << kVXRPCSchedulerReset << QVariantList()
                                          << QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod") << qint64(0);
    QTest::newRow("unknown method") << QStringLiteral("SchedulerExplode") << QVariantList { QVariantMap() }
                                    << QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod") << qint64(0);
    QTest::newRow("value that is not a property list")
        << kVXRPCSchedulerCancel
        << QVariantList { QVariantMap {
               { kVXRPCParameterTriggerID, QVariant::fromValue(NotADate { QStringLiteral("x"), 1 }) } } }
        << QString() << qint64(kVXStatusInvalidParameter);
    QTest::newRow("date as a plain number")
        << kVXRPCSchedulerAdjust
        << QVariantList { QVariantMap { { kVXRPCParameterTriggerID, QStringLiteral("x") },
                                        { kVXRPCParameterDate, qint64(1893456000000) } } }
        << QString() << qint64(kVXStatusInvalidParameter);
    QTest::newRow("events as strings") << kVXRPCEventStoreStore
                                       << QVariantList { QVariantMap {
                                              { kVXRPCParameterEvents, QStringList { QStringLiteral("a") } } } }
                                       << QString() << qint64(kVXStatusInvalidEvent);
    QTest::newRow("enabled as a string") << kVXRPCSchedulerSetEnabled
                                         << QVariantList { QVariantMap {
                                                { kVXRPCParameterEnabled, QStringLiteral("false") } } }
                                         << QString() << qint64(kVXStatusInvalidParameter);
}

void tst_HalvaneSchedulerService::malformedCalls()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, error);
    QFETCH(qint64, status);
    const QVariantMap before = getAll();
    const QDBusMessage reply = call(method, arguments);
    if (!error.isEmpty()) {
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QCOMPARE(reply.errorName(), error);
    } else {
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(reply.signature(), QStringLiteral("bxs"));
        QCOMPARE(reply.arguments().at(0).toBool(), false);
        QCOMPARE(reply.arguments().at(1).toLongLong(), status);
        QVERIFY(!reply.arguments().at(2).toString().isEmpty());
    }
    QCOMPARE(getAll(), before);
    // Still serving.
    QCOMPARE(call(kVXDBusMethodAuthenticate, {}).type(), QDBusMessage::ReplyMessage);
}

void tst_HalvaneSchedulerService::drivenByGdbus()
{
    const QString gdbus = QStandardPaths::findExecutable(QStringLiteral("gdbus"));
    QVERIFY2(!gdbus.isEmpty(), "gdbus (libglib2.0-bin) is part of the project's packages");
    QProcess process;
    process.start(gdbus,
                  { QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                    m_service->serviceName(), QStringLiteral("--object-path"), kVXDBusObjectPath,
                    QStringLiteral("--method"), kVXDBusInterface + QStringLiteral(".SchedulerSetEnabled"),
                    QStringLiteral("{'Enabled': <false>}") });
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).trimmed(), QStringLiteral("(true, int64 0, '')"));
    QCOMPARE(getAll().value(kVXObserveSchedulerEnabled), QVariant(false));
    process.start(gdbus,
                  { QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                    m_service->serviceName(), QStringLiteral("--object-path"), kVXDBusObjectPath,
                    QStringLiteral("--method"), kVXDBusInterface + QStringLiteral(".SchedulerAdjust"),
                    QStringLiteral("{'TriggerID': <'nope'>, 'Date': <(int64 1893456000000,)>}") });
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).trimmed(),
             QStringLiteral("(false, int64 %1, 'unknown trigger nope')").arg(qint64(kVXStatusUnknownTrigger)));
}

void tst_HalvaneSchedulerService::drivenByBusctl()
{
    const QString busctl = QStandardPaths::findExecutable(QStringLiteral("busctl"));
    if (busctl.isEmpty())
        QSKIP("busctl (systemd) is not installed here");
    QProcess process;
    process.start(busctl,
                  { QStringLiteral("--user"), QStringLiteral("call"), m_service->serviceName(), kVXDBusObjectPath,
                    kVXDBusInterface, QStringLiteral("SchedulerCancel"), QStringLiteral("a{sv}"), QStringLiteral("1"),
                    QStringLiteral("TriggerID"), QStringLiteral("s"), QStringLiteral("nope") });
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).trimmed(),
             QStringLiteral("bxs false %1 \"unknown trigger nope\"").arg(qint64(kVXStatusUnknownTrigger)));
    process.start(busctl,
                  { QStringLiteral("--user"), QStringLiteral("get-property"), m_service->serviceName(),
                    kVXDBusObjectPath, kVXDBusInterface, QStringLiteral("SchedulerEnabled") });
    QVERIFY(process.waitForFinished(kWait));
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).trimmed(), QStringLiteral("b true"));
}

void tst_HalvaneSchedulerService::exitsOnSigterm()
{
    QVERIFY(m_service->stop());
    QVERIFY(m_service->output().contains(QStringLiteral("stopping on signal 15")));
}

void tst_HalvaneSchedulerService::refusesATakenName()
{
    QProcess second;
    second.start(QStringLiteral(HALVANED_PATH), { QStringLiteral("--name"), m_service->serviceName() });
    QVERIFY(second.waitForFinished(kWait));
    QCOMPARE(second.exitCode(), 1);
    QVERIFY(QString::fromUtf8(second.readAllStandardError()).contains(QStringLiteral("already taken")));
    QCOMPARE(call(kVXDBusMethodAuthenticate, {}).type(), QDBusMessage::ReplyMessage);
}

QTEST_GUILESS_MAIN(tst_HalvaneSchedulerService)
#include "tst_HalvaneSchedulerService.moc"
