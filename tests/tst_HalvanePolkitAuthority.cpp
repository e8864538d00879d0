#include "FakeSystemServices.h"
#include "HalvanePolkitAuthority.h"
#include "HalvaneScheduler.h"
#include "PrivateBus.h"
#include "TriskVXConstants.h"

#include <QFile>
#include <QTest>
#include <QXmlStreamReader>

class tst_HalvanePolkitAuthority : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void actions_data();
    void actions();
    void checkRight_data();
    void checkRight();
    void rightsOfTheCaller();
    void polkitAway();
    void policyFileHasEveryAction();

private:
    PrivateBus m_bus;
    FakeSystemServices m_polkit;
    QDBusConnection connection() const { return QDBusConnection(QStringLiteral("polkit-client")); }
};

void tst_HalvanePolkitAuthority::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_polkit.start(m_bus.address()));
    QVERIFY(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("polkit-client")).isConnected());
}

void tst_HalvanePolkitAuthority::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("polkit-client"));
}

void tst_HalvanePolkitAuthority::actions_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("action");
    QTest::newRow("adjust") << kVXRPCSchedulerAdjust << QStringLiteral("org.halvane.scheduler.adjust");
    QTest::newRow("cancel") << kVXRPCSchedulerCancel << QStringLiteral("org.halvane.scheduler.cancel");
    QTest::newRow("reset") << kVXRPCSchedulerReset << QStringLiteral("org.halvane.scheduler.reset");
    QTest::newRow("perform") << kVXRPCOnDemandPerform << QStringLiteral("org.halvane.scheduler.perform");
    QTest::newRow("store") << kVXRPCEventStoreStore << QStringLiteral("org.halvane.scheduler.store");
    QTest::newRow("set enabled") << kVXRPCSchedulerSetEnabled << QStringLiteral("org.halvane.scheduler.set-enabled");
}

void tst_HalvanePolkitAuthority::actions()
{
    QFETCH(QString, request);
    QFETCH(QString, action);
    QCOMPARE(HalvanePolkitAuthority::actionOf(request), action);
}

void tst_HalvanePolkitAuthority::checkRight_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("granted");
    QTest::newRow("authorised") << int(FakeSystemServices::Answer::Yes) << true;
    QTest::newRow("would ask a password, and it was not given")
        << int(FakeSystemServices::Answer::Authenticate) << false;
    QTest::newRow("refused") << int(FakeSystemServices::Answer::No) << false;
}

void tst_HalvanePolkitAuthority::checkRight()
{
    QFETCH(int, answer);
    QFETCH(bool, granted);
    m_polkit.answers = { { QStringLiteral("org.halvane.scheduler.cancel"), FakeSystemServices::Answer(answer) } };
    HalvanePolkitAuthority authority(connection());
    std::optional<bool> decision;
    HalvaneCaller caller;
    caller.busName = QStringLiteral(":1.77");
    caller.uid = 1000;
    authority.checkRight(caller, kVXRPCSchedulerCancel, [&](bool yes, const QString &) {
        decision = yes;
    });
    QTRY_VERIFY(decision.has_value());
    QCOMPARE(*decision, granted);
    QCOMPARE(m_polkit.subjects().last(), QStringLiteral(":1.77"));
    QCOMPARE(m_polkit.interactive().last(), true);
}

void tst_HalvanePolkitAuthority::rightsOfTheCaller()
{
    m_polkit.answers = { { QStringLiteral("org.halvane.scheduler.cancel"), FakeSystemServices::Answer::Yes },
                         { QStringLiteral("org.halvane.scheduler.adjust"), FakeSystemServices::Answer::Authenticate } };
    HalvanePolkitAuthority authority(connection());
    std::optional<QVariantList> rights;
    HalvaneCaller caller;
    caller.busName = QStringLiteral(":1.78");
    authority.rightsOf(caller, [&](const QVariantList &received) {
        rights = received;
    });
    QTRY_VERIFY(rights.has_value());
    QCOMPARE(*rights,
             (QVariantList { QVariantMap { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust },
                                           { kVXAuthorisationRightRule, QStringLiteral("polkit-authentication") } },
                             QVariantMap { { kVXAuthorisationRightSignature, kVXRPCSchedulerCancel },
                                           { kVXAuthorisationRightRule, QStringLiteral("polkit") } } }));
    // Standing rights never ask the person.
    QCOMPARE(m_polkit.interactive().mid(m_polkit.interactive().size() - int(HalvaneScheduler::requestNames().size())),
             QList<bool>(HalvaneScheduler::requestNames().size(), false));
}

void tst_HalvanePolkitAuthority::polkitAway()
{
    PrivateBus empty;
    QVERIFY(empty.start());
    const QDBusConnection bus = QDBusConnection::connectToBus(empty.address(), QStringLiteral("no-polkit"));
    {
        HalvanePolkitAuthority authority(bus);
        std::optional<bool> decision;
        QString why;
        authority.checkRight(HalvaneCaller { QStringLiteral(":1.9"), 1000 }, kVXRPCSchedulerReset,
                             [&](bool yes, const QString &reason) {
                                 decision = yes;
                                 why = reason;
                             });
        QTRY_VERIFY(decision.has_value());
        QVERIFY(!*decision);
        QVERIFY(why.contains(QStringLiteral("polkit did not answer")));
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("no-polkit"));
}

void tst_HalvanePolkitAuthority::policyFileHasEveryAction()
{
    QFile policy(QStringLiteral(TRISK_SOURCE_DIR "/dist/org.halvane.scheduler.policy"));
    QVERIFY(policy.open(QIODevice::ReadOnly));
    QXmlStreamReader reader(&policy);
    QStringList actions;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement() && reader.name() == QLatin1String("action"))
            actions.append(reader.attributes().value(QLatin1String("id")).toString());
    }
    QVERIFY(!reader.hasError());
    QStringList expected;
    for (const QString &request : HalvaneScheduler::requestNames())
        expected.append(HalvanePolkitAuthority::actionOf(request));
    QCOMPARE(actions, expected);
}

QTEST_GUILESS_MAIN(tst_HalvanePolkitAuthority)
#include "tst_HalvanePolkitAuthority.moc"
