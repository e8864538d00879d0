#include "FakeSystemServices.h"
#include "HalvaneScheduler.h"
#include "HalvanedProcess.h"
#include "PrivateBus.h"
#include "ServiceClient.h"
#include "TriskVXConstants.h"
#include "TriskVXPropertyListSerialization.h"

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {
const int kWait = 10000;

QVariantMap someEvent()
{
    return { { kVXEventUniqueID, QStringLiteral("r") },
             { kVXEventName, QStringLiteral("R") },
             { kVXEventBehaviours, QVariantList { kVXElementBehaviour_CanPerformOnDemand } },
             { kVXEventTriggers,
               QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                            { kVXTriggerDate, QDateTime::currentDateTimeUtc().addDays(2) },
                                            { kVXTriggerIdentifier, QStringLiteral("r1") } } } } };
}

// Every request once, with parameters that would succeed given the right.
QList<QPair<QString, QVariantMap>> everyRequest()
{
    return {
        { kVXRPCSchedulerAdjust,
          { { kVXRPCParameterTriggerID, QStringLiteral("r1") },
            { kVXRPCParameterDate, QDateTime::currentDateTimeUtc().addDays(3) } } },
        { kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("r1") } } },
        { kVXRPCSchedulerReset, {} },
        { kVXRPCOnDemandPerform, { { kVXRPCParameterUniqueID, QStringLiteral("r") } } },
        { kVXRPCEventStoreStore,
          { { kVXRPCParameterEvents, QVariantList { QVariantMap { { kVXEventName, QStringLiteral("New") } } } } } },
        { kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } } },
    };
}

QStringList signaturesOf(const QVariant &rights)
{
    QStringList names;
    const QVariantList list = rights.toList();
    for (const QVariant &right : list)
        names.append(right.toMap().value(kVXAuthorisationRightSignature).toString());
    return names;
}
} // namespace

// Rights against the running service: from a rules file on the session bus, from polkit otherwise.
class tst_HalvaneRights : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ownerHoldsEveryRightByDefault();
    void everyRequestRefusedWithoutTheRight();
    void editedRulesReachTheClient();
    void polkitDecides();
};

void tst_HalvaneRights::ownerHoldsEveryRightByDefault()
{
    QTemporaryDir directory;
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--rules"), directory.filePath(QStringLiteral("absent.plist")) }));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(signaturesOf(client.value(kVXObserveAuthorisationRights)), HalvaneScheduler::requestNames());
    QCOMPARE(client.value(QStringLiteral("AuthorisationRights.0.Rule")), QVariant(QStringLiteral("owner")));
    QVERIFY(client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { someEvent() } } }));
    for (const auto &[request, parameters] : everyRequest())
        QVERIFY2(client.request(request, parameters), qPrintable(request));
}

void tst_HalvaneRights::everyRequestRefusedWithoutTheRight()
{
    QTemporaryDir directory;
    const QString rules = directory.filePath(QStringLiteral("rights.plist"));
    // First everything, to set the scene; then only reset.
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { QStringLiteral("*"), QVariantList { QStringLiteral("owner") } } }, rules));
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--rules"), rules }));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QVERIFY(client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { someEvent() } } }));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXRPCSchedulerReset, QVariantList { QStringLiteral("owner") } } }, rules));
    // Editors write in steps (a temporary file, then a rename): the client follows until the last one.
    QTRY_COMPARE_WITH_TIMEOUT(signaturesOf(client.value(kVXObserveAuthorisationRights)),
                              QStringList { kVXRPCSchedulerReset }, kWait);

    QHash<QString, QVariant> before;
    for (const QString &variable : TriskVXObserver::observedVariables())
        before.insert(variable, client.value(variable));
    for (const auto &[request, parameters] : everyRequest()) {
        qint64 status = 0;
        QString message;
        const bool succeeded = client.request(request, parameters, &status, &message);
        if (request == kVXRPCSchedulerReset) {
            QVERIFY(succeeded);
            continue;
        }
        QVERIFY2(!succeeded, qPrintable(request));
        QCOMPARE(status, qint64(kVXStatusNotAuthorised));
        QVERIFY2(message.contains(QStringLiteral("does not hold the right to ") + request), qPrintable(message));
        for (const QString &variable : TriskVXObserver::observedVariables())
            QCOMPARE(client.value(variable), before.value(variable));
    }
}

void tst_HalvaneRights::editedRulesReachTheClient()
{
    QTemporaryDir directory;
    const QString rules = directory.filePath(QStringLiteral("rights.plist"));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXRPCSchedulerCancel, QVariantList { QStringLiteral("everyone") } } }, rules));
    HalvanedProcess service;
    QVERIFY(service.start({ QStringLiteral("--rules"), rules }));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(
        client.value(kVXObserveAuthorisationRights),
        QVariant(QVariantList { QVariantMap { { kVXAuthorisationRightSignature, kVXRPCSchedulerCancel },
                                              { kVXAuthorisationRightRule, kVXAuthorisationRightRule_Universal } } }));
    QSignalSpy rightsChanged(client.observer(), &TriskVXObserver::authorisationRightsChanged);
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(QVariantMap(), rules));
    QVERIFY(rightsChanged.wait(kWait));
    QTRY_COMPARE_WITH_TIMEOUT(client.value(kVXObserveAuthorisationRights), QVariant(QVariantList()), kWait);
}

void tst_HalvaneRights::polkitDecides()
{
    PrivateBus systemBus;
    QVERIFY(systemBus.start());
    FakeSystemServices polkit;
    QVERIFY(polkit.start(systemBus.address()));
    polkit.answers = { { QStringLiteral("org.halvane.scheduler.store"), FakeSystemServices::Answer::Yes },
                       { QStringLiteral("org.halvane.scheduler.cancel"), FakeSystemServices::Answer::Yes },
                       { QStringLiteral("org.halvane.scheduler.adjust"), FakeSystemServices::Answer::Authenticate } };
    HalvanedProcess service;
    QVERIFY(service.start(
        { QStringLiteral("--rights"), QStringLiteral("polkit"), QStringLiteral("--polkit-bus"), systemBus.address() }));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    QCOMPARE(signaturesOf(client.value(kVXObserveAuthorisationRights)),
             (QStringList { kVXRPCSchedulerAdjust, kVXRPCSchedulerCancel, kVXRPCEventStoreStore }));
    QCOMPARE(polkit.subjects().last(), QDBusConnection::sessionBus().baseService());
    QVERIFY(client.request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { someEvent() } } }));
    QVERIFY(client.request(kVXRPCSchedulerCancel, { { kVXRPCParameterTriggerID, QStringLiteral("r1") } }));
    qint64 status = 0;
    // Adjust would need a password nobody gives here.
    QVERIFY(!client.request(kVXRPCSchedulerAdjust,
                            { { kVXRPCParameterTriggerID, QStringLiteral("r1") },
                              { kVXRPCParameterDate, QDateTime::currentDateTimeUtc() } },
                            &status));
    QCOMPARE(status, qint64(kVXStatusNotAuthorised));
    QCOMPARE(polkit.interactive().last(), true);
    QVERIFY(!client.request(kVXRPCSchedulerSetEnabled, { { kVXRPCParameterEnabled, false } }, &status));
    QCOMPARE(status, qint64(kVXStatusNotAuthorised));
    QCOMPARE(client.value(kVXObserveSchedulerEnabled), QVariant(true));
}

QTEST_GUILESS_MAIN(tst_HalvaneRights)
#include "tst_HalvaneRights.moc"
