#include "HalvaneAction.h"
#include "TriskVXConstants.h"

#include <QTest>

class tst_HalvaneAction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void validation_data();
    void validation();
    void warningMessages_data();
    void warningMessages();
};

void tst_HalvaneAction::validation_data()
{
    QTest::addColumn<QVariant>("action");
    QTest::addColumn<QString>("error");
    const QVariantList argv { QStringLiteral("/usr/bin/true") };
    QTest::newRow("log") << QVariant(
        QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, QStringLiteral("x") } })
                         << QString();
    QTest::newRow("log, message not text")
        << QVariant(QVariantMap { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, qint64(1) } })
        << QStringLiteral("message is not a string");
    QTest::newRow("command") << QVariant(
        QVariantMap { { kVXActionType, kVXActionType_Command }, { kVXActionArguments, argv } })
                             << QString();
    QTest::newRow("command with limit and user")
        << QVariant(QVariantMap { { kVXActionType, kVXActionType_Command },
                                  { kVXActionArguments, argv },
                                  { kVXActionTimeout, 2.5 },
                                  { kVXActionUser, QStringLiteral("nobody") } })
        << QString();
    QTest::newRow("command without arguments")
        << QVariant(QVariantMap { { kVXActionType, kVXActionType_Command } }) << QStringLiteral("needs Arguments");
    QTest::newRow("command, a shell line") << QVariant(
        QVariantMap { { kVXActionType, kVXActionType_Command }, { kVXActionArguments, QStringLiteral("rm -rf /") } })
                                           << QStringLiteral("needs Arguments");
    QTest::newRow("command, argument not text")
        << QVariant(QVariantMap { { kVXActionType, kVXActionType_Command },
                                  { kVXActionArguments, QVariantList { QStringLiteral("/bin/echo"), qint64(3) } } })
        << QStringLiteral("argument is not a string");
    QTest::newRow("command, empty program") << QVariant(QVariantMap {
        { kVXActionType, kVXActionType_Command }, { kVXActionArguments, QVariantList { QStringLiteral("") } } })
                                            << QStringLiteral("names no program");
    QTest::newRow("command, zero limit") << QVariant(QVariantMap {
        { kVXActionType, kVXActionType_Command }, { kVXActionArguments, argv }, { kVXActionTimeout, qint64(0) } })
                                         << QStringLiteral("positive number");
    QTest::newRow("command, empty user") << QVariant(QVariantMap {
        { kVXActionType, kVXActionType_Command }, { kVXActionArguments, argv }, { kVXActionUser, QStringLiteral("") } })
                                         << QStringLiteral("not a user name");
    for (const QString &power :
         { kVXActionType_PowerOff, kVXActionType_Reboot, kVXActionType_Suspend, kVXActionType_Hibernate })
        QTest::addRow("%s", qPrintable(power)) << QVariant(QVariantMap { { kVXActionType, power } }) << QString();
    QTest::newRow("unknown type") << QVariant(QVariantMap { { kVXActionType, QStringLiteral("SelfDestruct") } })
                                  << QStringLiteral("unknown action type SelfDestruct");
    QTest::newRow("not a dictionary") << QVariant(QStringLiteral("PowerOff")) << QStringLiteral("not a dictionary");
}

void tst_HalvaneAction::validation()
{
    QFETCH(QVariant, action);
    QFETCH(QString, error);
    QString message;
    QCOMPARE(HalvaneAction::isValid(action, &message), error.isEmpty());
    QVERIFY2(message.contains(error), qPrintable(message));
}

void tst_HalvaneAction::warningMessages_data()
{
    QTest::addColumn<QVariantList>("actions");
    QTest::addColumn<QString>("message");
    const QVariantMap log { { kVXActionType, kVXActionType_Log } };
    const QVariantMap command { { kVXActionType, kVXActionType_Command } };
    QTest::newRow("nothing") << QVariantList() << QStringLiteral("“E” is about to run.");
    QTest::newRow("a log line") << QVariantList { log } << QStringLiteral("“E” is about to run.");
    QTest::newRow("a command") << QVariantList { log, command } << QStringLiteral("“E” will run a command.");
    QTest::newRow("power wins over a command")
        << QVariantList { command, QVariantMap { { kVXActionType, kVXActionType_Reboot } } }
        << QStringLiteral("“E” will restart this computer.");
    QTest::newRow("power off") << QVariantList { QVariantMap { { kVXActionType, kVXActionType_PowerOff } } }
                               << QStringLiteral("“E” will shut this computer down.");
    QTest::newRow("suspend") << QVariantList { QVariantMap { { kVXActionType, kVXActionType_Suspend } } }
                             << QStringLiteral("“E” will put this computer to sleep.");
    QTest::newRow("hibernate") << QVariantList { QVariantMap { { kVXActionType, kVXActionType_Hibernate } } }
                               << QStringLiteral("“E” will hibernate this computer.");
}

void tst_HalvaneAction::warningMessages()
{
    QFETCH(QVariantList, actions);
    QFETCH(QString, message);
    QCOMPARE(HalvaneAction::warningMessage({ { kVXEventName, QStringLiteral("E") }, { kVXEventActions, actions } }),
             message);
    // The event's own text wins.
    QCOMPARE(HalvaneAction::warningMessage({ { kVXEventName, QStringLiteral("E") },
                                             { kVXEventActions, actions },
                                             { kVXEventWarningMessage, QStringLiteral("Mine") } }),
             QStringLiteral("Mine"));
}

QTEST_GUILESS_MAIN(tst_HalvaneAction)
#include "tst_HalvaneAction.moc"
