#include "FakeSystemServices.h"
#include "HalvanePerformer.h"
#include "HalvanePowerBackend.h"
#include "LogCapture.h"
#include "PrivateBus.h"
#include "TriskVXConstants.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

namespace {
QVariantMap eventDoing(const QVariantList &actions)
{
    return { { kVXEventName, QStringLiteral("Job") }, { kVXEventActions, actions } };
}

QVariantMap command(const QStringList &arguments, const QVariantMap &extra = {})
{
    QVariantList list;
    for (const QString &argument : arguments)
        list.append(argument);
    QVariantMap action { { kVXActionType, kVXActionType_Command }, { kVXActionArguments, list } };
    action.insert(extra);
    return action;
}
} // namespace

class tst_HalvanePerformer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void actionsRunInOrderAndFinishOnce();
    void commandWithoutAShell();
    void commandRunsOutOfTime();
    void commandThatCannotStart();
    void commandAsAnotherUserNeedsRoot();
    void powerThroughLogind_data();
    void powerThroughLogind();
    void powerFailureIsLoggedAndTheRestRuns();
    void dryRunNeverCallsLogind();

private:
    bool performAndWait(HalvanePerformer &performer, const QVariantMap &event, int timeout = 10000);

    PrivateBus m_bus;
    FakeSystemServices m_system;
};

void tst_HalvanePerformer::initTestCase()
{
    QVERIFY(m_bus.start());
    QVERIFY(m_system.start(m_bus.address()));
    QVERIFY(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("logind-client")).isConnected());
}

void tst_HalvanePerformer::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("logind-client"));
}

bool tst_HalvanePerformer::performAndWait(HalvanePerformer &performer, const QVariantMap &event, int timeout)
{
    int finished = 0;
    performer.perform(event, QStringLiteral("test"), [&finished] {
        ++finished;
    });
    if (finished != 0)
        return false;
    QDeadlineTimer deadline(timeout);
    while (finished == 0 && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    QTest::qWait(20);
    return finished == 1;
}

void tst_HalvanePerformer::actionsRunInOrderAndFinishOnce()
{
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    LogCapture log;
    QVERIFY(performAndWait(
        performer,
        eventDoing(
            { QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("first") } },
              QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("second") } } })));
    const QStringList messages = log.messages("halvane.service");
    const qsizetype first = messages.indexOf(QStringLiteral("“Job”: first"));
    const qsizetype second = messages.indexOf(QStringLiteral("“Job”: second"));
    QVERIFY(first >= 0);
    QVERIFY(second > first);
    QVERIFY(messages.indexOf(QStringLiteral("performed “Job”")) > second);
    QVERIFY(performAndWait(performer, eventDoing({})));
}

void tst_HalvanePerformer::commandWithoutAShell()
{
    QTemporaryDir directory;
    const QString marker = directory.filePath(QStringLiteral("made by the command; $HOME stays as written"));
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    LogCapture log;
    QVERIFY(performAndWait(performer, eventDoing({ command({ QStringLiteral("/usr/bin/touch"), marker }) })));
    QVERIFY(QFile::exists(marker));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("/usr/bin/touch exited with 0")).size(), 1);
}

void tst_HalvanePerformer::commandRunsOutOfTime()
{
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(performAndWait(performer,
                           eventDoing({ command({ QStringLiteral("/bin/sleep"), QStringLiteral("30") },
                                                { { kVXActionTimeout, 0.3 } }) })));
    QVERIFY(elapsed.elapsed() < 10000);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("ran out of time")).size(), 1);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("/bin/sleep was stopped")).size(), 1);
}

void tst_HalvanePerformer::commandThatCannotStart()
{
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    LogCapture log;
    QVERIFY(performAndWait(performer,
                           eventDoing({ command({ QStringLiteral("/nonexistent/program") }),
                                        QVariantMap { { kVXActionType, kVXActionType_Log },
                                                      { kVXActionMessage, QStringLiteral("after") } } })));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("cannot start /nonexistent/program")).size(), 1);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("“Job”: after")).size(), 1);
}

void tst_HalvanePerformer::commandAsAnotherUserNeedsRoot()
{
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    QTemporaryDir directory;
    const QString marker = directory.filePath(QStringLiteral("as-nobody"));
    LogCapture log;
    QVERIFY(performAndWait(performer,
                           eventDoing({ command({ QStringLiteral("/usr/bin/touch"), marker },
                                                { { kVXActionUser, QStringLiteral("no-such-user-x") } }) })));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("no user no-such-user-x")).size(), 1);
    QVERIFY(!QFile::exists(marker));
    if (::geteuid() == 0) {
        // As root the command runs as the user: nobody cannot write into a folder only root may write.
        QVERIFY(performAndWait(performer,
                               eventDoing({ command({ QStringLiteral("/usr/bin/touch"), marker },
                                                    { { kVXActionUser, QStringLiteral("nobody") } }) })));
        QVERIFY(!QFile::exists(marker));
        QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("/usr/bin/touch exited with 1")).size(), 1);
    } else {
        QVERIFY(performAndWait(performer,
                               eventDoing({ command({ QStringLiteral("/usr/bin/touch"), marker },
                                                    { { kVXActionUser, QStringLiteral("root") } }) })));
        QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("only a service running as root")).size(), 1);
        QVERIFY(!QFile::exists(marker));
    }
}

void tst_HalvanePerformer::powerThroughLogind_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("method");
    QTest::newRow("power off") << kVXActionType_PowerOff << QStringLiteral("PowerOff");
    QTest::newRow("reboot") << kVXActionType_Reboot << QStringLiteral("Reboot");
    QTest::newRow("suspend") << kVXActionType_Suspend << QStringLiteral("Suspend");
    QTest::newRow("hibernate") << kVXActionType_Hibernate << QStringLiteral("Hibernate");
}

void tst_HalvanePerformer::powerThroughLogind()
{
    QFETCH(QString, action);
    QFETCH(QString, method);
    m_system.failPowerCalls = false;
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), false);
    HalvanePerformer performer(&power);
    const qsizetype before = m_system.powerCalls().size();
    QVERIFY(performAndWait(performer, eventDoing({ QVariantMap { { kVXActionType, action } } })));
    QCOMPARE(m_system.powerCalls().mid(before), QStringList { method });
}

void tst_HalvanePerformer::powerFailureIsLoggedAndTheRestRuns()
{
    m_system.failPowerCalls = true;
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), false);
    HalvanePerformer performer(&power);
    LogCapture log;
    QVERIFY(performAndWait(performer,
                           eventDoing({ QVariantMap { { kVXActionType, kVXActionType_Reboot } },
                                        QVariantMap { { kVXActionType, kVXActionType_Log },
                                                      { kVXActionMessage, QStringLiteral("after") } } })));
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("Reboot failed: logind Reboot failed: busy")).size(),
             1);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("“Job”: after")).size(), 1);
    m_system.failPowerCalls = false;
}

void tst_HalvanePerformer::dryRunNeverCallsLogind()
{
    HalvanePowerBackend power(QDBusConnection(QStringLiteral("logind-client")), true);
    HalvanePerformer performer(&power);
    const QStringList before = m_system.powerCalls();
    LogCapture log;
    QVERIFY(performAndWait(performer, eventDoing({ QVariantMap { { kVXActionType, kVXActionType_PowerOff } } })));
    QCOMPARE(m_system.powerCalls(), before);
    QCOMPARE(log.messages("halvane.service").filter(QStringLiteral("dry run: would call logind PowerOff")).size(), 1);
}

QTEST_GUILESS_MAIN(tst_HalvanePerformer)
#include "tst_HalvanePerformer.moc"
