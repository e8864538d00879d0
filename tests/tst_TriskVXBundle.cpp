#include "LogCapture.h"
#include "TriskVXBundle.h"
#include "TriskVXPropertyListSerialization.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_TriskVXBundle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void resources_data();
    void resources();
    void infoDictionary();
    void localizedStringFallsBackToTheValue();
    void missingTranslationsAreSaid();
    void mainBundleFromTheEnvironment();

private:
    QTemporaryDir m_folder;
};

void tst_TriskVXBundle::initTestCase()
{
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { QStringLiteral("WendUpdateFeed"), QStringLiteral("https://example.org/feed") } },
        m_folder.filePath(QStringLiteral("Info.plist"))));
    QFile defaults(m_folder.filePath(QStringLiteral("TriskVXStatusMenuController.plist")));
    QVERIFY(defaults.open(QIODevice::WriteOnly));
    defaults.write("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
    defaults.close();
    qputenv("TRISK_RESOURCES", m_folder.path().toUtf8());
}

void tst_TriskVXBundle::resources_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("found");
    QTest::newRow("class defaults") << QStringLiteral("TriskVXStatusMenuController") << QStringLiteral("plist") << true;
    QTest::newRow("another type") << QStringLiteral("TriskVXStatusMenuController") << QStringLiteral("ui") << false;
    QTest::newRow("absent") << QStringLiteral("TriskVXNotifyController") << QStringLiteral("plist") << false;
}

void tst_TriskVXBundle::resources()
{
    QFETCH(QString, name);
    QFETCH(QString, type);
    QFETCH(bool, found);
    const TriskVXBundle bundle(m_folder.path());
    const QString path = bundle.pathForResource(name, type);
    QCOMPARE(!path.isNull(), found);
    if (found)
        QCOMPARE(path, m_folder.filePath(name + QLatin1Char('.') + type));
    QCOMPARE(bundle.resourceURL(), QUrl::fromLocalFile(m_folder.path()));
}

void tst_TriskVXBundle::infoDictionary()
{
    QCOMPARE(TriskVXBundle(m_folder.path()).infoDictionary().value(QStringLiteral("WendUpdateFeed")),
             QVariant(QStringLiteral("https://example.org/feed")));
    QTemporaryDir empty;
    QVERIFY(TriskVXBundle(empty.path()).infoDictionary().isEmpty());
}

void tst_TriskVXBundle::localizedStringFallsBackToTheValue()
{
    const TriskVXBundle bundle(m_folder.path());
    QCOMPARE(bundle.localizedStringForKey(QStringLiteral("TriskVXStatusMenuController.section.pending"),
                                          QStringLiteral("fallback")),
             QStringLiteral("fallback"));
    QCOMPARE(bundle.localizedStringForKey(QStringLiteral("NOTIFICATION_TITLE_FORMAT"), QString()),
             QStringLiteral("NOTIFICATION_TITLE_FORMAT"));
}

void tst_TriskVXBundle::missingTranslationsAreSaid()
{
    LogCapture log;
    QVERIFY(!TriskVXBundle(m_folder.path()).installTranslations());
    QCOMPARE(log.messages("trisk.platform").filter(QStringLiteral("no translations in")).size(), 1);
}

void tst_TriskVXBundle::mainBundleFromTheEnvironment()
{
    QVERIFY(TriskVXBundle::resourceSearchPath().first() == m_folder.path());
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    QVERIFY(bundle);
    QCOMPARE(bundle->resourcePath(), QDir(m_folder.path()).absolutePath());
    QCOMPARE(TriskVXBundle::mainBundle(), bundle);
}

QTEST_GUILESS_MAIN(tst_TriskVXBundle)
#include "tst_TriskVXBundle.moc"
