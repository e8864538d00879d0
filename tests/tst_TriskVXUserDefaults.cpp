#include "LogCapture.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString kApplication = QStringLiteral("org.halvane.trisk-notifier");
}

class tst_TriskVXUserDefaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typedAnswers_data();
    void typedAnswers();
    void argumentDomain_data();
    void argumentDomain();
    void searchOrder();
    void applicationDomainIsSavedBySynchronize();
    void persistentDomains();
    void editsByOthersCountAfterSynchronize();
    void malformedDomainIsAbsent();
    void defaultFolder();
};

void tst_TriskVXUserDefaults::typedAnswers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("boolean");
    QTest::addColumn<qint64>("integer");
    QTest::addColumn<double>("real");
    QTest::addColumn<QString>("string");
    QTest::newRow("absent") << QVariant() << false << qint64(0) << 0.0 << QString();
    QTest::newRow("true") << QVariant(true) << true << qint64(1) << 1.0 << QStringLiteral("1");
    QTest::newRow("false") << QVariant(false) << false << qint64(0) << 0.0 << QStringLiteral("0");
    QTest::newRow("integer 2") << QVariant(qint64(2)) << true << qint64(2) << 2.0 << QStringLiteral("2");
    QTest::newRow("integer 0") << QVariant(qint64(0)) << false << qint64(0) << 0.0 << QStringLiteral("0");
    QTest::newRow("real 0.5") << QVariant(0.5) << true << qint64(0) << 0.5 << QStringLiteral("0.5");
    QTest::newRow("text YES") << QVariant(QStringLiteral("YES")) << true << qint64(0) << 0.0 << QStringLiteral("YES");
    QTest::newRow("text true") << QVariant(QStringLiteral("true")) << true << qint64(0) << 0.0
                               << QStringLiteral("true");
    QTest::newRow("text NO") << QVariant(QStringLiteral("NO")) << false << qint64(0) << 0.0 << QStringLiteral("NO");
    QTest::newRow("text 2") << QVariant(QStringLiteral("2")) << true << qint64(2) << 2.0 << QStringLiteral("2");
    QTest::newRow("text 12abc") << QVariant(QStringLiteral("12abc")) << true << qint64(12) << 12.0
                                << QStringLiteral("12abc");
    QTest::newRow("text 0.25") << QVariant(QStringLiteral("0.25")) << true << qint64(0) << 0.25
                               << QStringLiteral("0.25");
    QTest::newRow("array") << QVariant(QVariantList { true }) << false << qint64(0) << 0.0 << QString();
    QTest::newRow("dictionary") << QVariant(QVariantMap { { QStringLiteral("a"), 1 } }) << false << qint64(0) << 0.0
                                << QString();
    QTest::newRow("data") << QVariant(QByteArray("1")) << false << qint64(0) << 0.0 << QString();
}

void tst_TriskVXUserDefaults::typedAnswers()
{
    QFETCH(QVariant, value);
    QFETCH(bool, boolean);
    QFETCH(qint64, integer);
    QFETCH(double, real);
    QFETCH(QString, string);
    QTemporaryDir folder;
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    if (value.isValid())
        defaults.registerDefaults({ { QStringLiteral("k"), value } });
    QCOMPARE(defaults.objectForKey(QStringLiteral("k")), value);
    QCOMPARE(defaults.boolForKey(QStringLiteral("k")), boolean);
    QCOMPARE(defaults.integerForKey(QStringLiteral("k")), integer);
    QCOMPARE(defaults.doubleForKey(QStringLiteral("k")), real);
    QCOMPARE(defaults.stringForKey(QStringLiteral("k")), string);
    QCOMPARE(defaults.arrayForKey(QStringLiteral("k")).isEmpty(), value.typeId() != QMetaType::QVariantList);
    QCOMPARE(defaults.dictionaryForKey(QStringLiteral("k")).isEmpty(), value.typeId() != QMetaType::QVariantMap);
}

void tst_TriskVXUserDefaults::argumentDomain_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QVariantMap>("domain");
    QTest::newRow("login") << QStringList { QStringLiteral("trisk-notifier"), QStringLiteral("-login"),
                                            QStringLiteral("YES") }
                           << QVariantMap { { QStringLiteral("login"), QStringLiteral("YES") } };
    QTest::newRow("a key with a space") << QStringList { QStringLiteral("trisk-notifier"),
                                                         QStringLiteral("-emphasize icon"), QStringLiteral("2") }
                                        << QVariantMap { { QStringLiteral("emphasize icon"), QStringLiteral("2") } };
    QTest::newRow("program name and long options are not keys")
        << QStringList { QStringLiteral("-weird-program"), QStringLiteral("--platform"), QStringLiteral("offscreen"),
                         QStringLiteral("-login"), QStringLiteral("NO") }
        << QVariantMap { { QStringLiteral("login"), QStringLiteral("NO") } };
    QTest::newRow("a key without a value")
        << QStringList { QStringLiteral("p"), QStringLiteral("-login") } << QVariantMap();
    QTest::newRow("nothing") << QStringList { QStringLiteral("p") } << QVariantMap();
}

void tst_TriskVXUserDefaults::argumentDomain()
{
    QFETCH(QStringList, arguments);
    QFETCH(QVariantMap, domain);
    QCOMPARE(TriskVXUserDefaults::parseArguments(arguments), domain);
}

void tst_TriskVXUserDefaults::searchOrder()
{
    QTemporaryDir folder;
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { QStringLiteral("a"), QStringLiteral("suite") },
                      { QStringLiteral("b"), QStringLiteral("suite") },
                      { QStringLiteral("c"), QStringLiteral("suite") } },
        folder.filePath(QStringLiteral("org.halvane.scheduler.plist"))));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { QStringLiteral("a"), QStringLiteral("application") },
                      { QStringLiteral("b"), QStringLiteral("application") } },
        folder.filePath(kApplication + QStringLiteral(".plist"))));
    TriskVXUserDefaults defaults(
        kApplication, { QStringLiteral("p"), QStringLiteral("-a"), QStringLiteral("argument") }, folder.path());
    defaults.registerDefaults({ { QStringLiteral("a"), QStringLiteral("registration") },
                                { QStringLiteral("d"), QStringLiteral("registration") } });
    QCOMPARE(defaults.stringForKey(QStringLiteral("c")), QString());
    defaults.addSuiteNamed(QStringLiteral("org.halvane.scheduler"));
    QCOMPARE(defaults.stringForKey(QStringLiteral("a")), QStringLiteral("argument"));
    QCOMPARE(defaults.stringForKey(QStringLiteral("b")), QStringLiteral("application"));
    QCOMPARE(defaults.stringForKey(QStringLiteral("c")), QStringLiteral("suite"));
    QCOMPARE(defaults.stringForKey(QStringLiteral("d")), QStringLiteral("registration"));
    defaults.removeSuiteNamed(QStringLiteral("org.halvane.scheduler"));
    QCOMPARE(defaults.stringForKey(QStringLiteral("c")), QString());
}

void tst_TriskVXUserDefaults::applicationDomainIsSavedBySynchronize()
{
    QTemporaryDir folder;
    {
        TriskVXUserDefaults defaults(kApplication, {}, folder.path());
        defaults.setObjectForKey(qint64(3), QStringLiteral("n"));
        QCOMPARE(defaults.integerForKey(QStringLiteral("n")), 3);
        QVERIFY(!QFile::exists(defaults.fileOfDomain(kApplication)));
        QVERIFY(defaults.synchronize());
        QVERIFY(QFile::exists(defaults.fileOfDomain(kApplication)));
        defaults.removeObjectForKey(QStringLiteral("gone"));
    }
    TriskVXUserDefaults again(kApplication, {}, folder.path());
    QCOMPARE(again.integerForKey(QStringLiteral("n")), 3);
}

void tst_TriskVXUserDefaults::persistentDomains()
{
    QTemporaryDir folder;
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    QVERIFY(!defaults.persistentDomainForName(QStringLiteral("org.halvane.scheduler")).isValid());
    QVERIFY(defaults.setPersistentDomainForName({ { QStringLiteral("notifier.status-menu"), false } },
                                                QStringLiteral("org.halvane.scheduler")));
    QCOMPARE(defaults.persistentDomainForName(QStringLiteral("org.halvane.scheduler")),
             QVariant(QVariantMap { { QStringLiteral("notifier.status-menu"), false } }));
    defaults.removePersistentDomainForName(QStringLiteral("org.halvane.scheduler"));
    QVERIFY(!defaults.persistentDomainForName(QStringLiteral("org.halvane.scheduler")).isValid());
}

void tst_TriskVXUserDefaults::editsByOthersCountAfterSynchronize()
{
    QTemporaryDir folder;
    const QString suite = folder.filePath(QStringLiteral("org.halvane.scheduler.plist"));
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(QVariantMap { { QStringLiteral("x"), false } },
                                                                      suite));
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    defaults.addSuiteNamed(QStringLiteral("org.halvane.scheduler"));
    QCOMPARE(defaults.boolForKey(QStringLiteral("x")), false);
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(QVariantMap { { QStringLiteral("x"), true } },
                                                                      suite));
    QCOMPARE(defaults.boolForKey(QStringLiteral("x")), false);
    defaults.synchronize();
    QCOMPARE(defaults.boolForKey(QStringLiteral("x")), true);
}

void tst_TriskVXUserDefaults::malformedDomainIsAbsent()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("org.halvane.scheduler.plist")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("<plist><dict><key>notifier.status-menu</key>");
    file.close();
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    LogCapture log;
    QVERIFY(!defaults.persistentDomainForName(QStringLiteral("org.halvane.scheduler")).isValid());
    QCOMPARE(log.messages("trisk.platform").filter(QStringLiteral("ignoring the preferences")).size(), 1);
    defaults.addSuiteNamed(QStringLiteral("org.halvane.scheduler"));
    QVERIFY(!defaults.objectForKey(QStringLiteral("notifier.status-menu")).isValid());
}

void tst_TriskVXUserDefaults::defaultFolder()
{
    QCOMPARE(TriskVXUserDefaults::defaultFolder(),
             qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/halvane"));
    QCOMPARE(TriskVXUserDefaults::standardUserDefaults(), TriskVXUserDefaults::standardUserDefaults());
    QCOMPARE(TriskVXUserDefaults::standardUserDefaults()->folder(), TriskVXUserDefaults::defaultFolder());
}

QTEST_GUILESS_MAIN(tst_TriskVXUserDefaults)
#include "tst_TriskVXUserDefaults.moc"
