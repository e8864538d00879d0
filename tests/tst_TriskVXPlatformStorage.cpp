// What the platform layer keeps in files: property lists, the user defaults made of them and the resource
// bundle; and how a programming error is raised and logged.
#include "AssertionOf.h"
#include "LogCapture.h"
#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXNil.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;
using Serialization = TriskVXPropertyListSerialization;

namespace {
const QString kApplication = u"org.halvane.trisk-notifier"_s;
const QString kSuite = u"org.halvane.scheduler"_s;

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int msec = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), QTimeZone::utc());
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

// Stands in for a class with checks.
class Checked : public QObject
{
public:
    void requireNamed(const QString &aName) { TRISK_PARAMETER_ASSERT(aName != nil); }
    void requirePositive(int value) { TRISK_ASSERT(value > 0, u"%1 must be positive"_s.arg(u"Checked"_s)); }
    static void classRequire(const QVariant &aValue) { TRISK_CPARAMETER_ASSERT(aValue != nil); }
};
} // namespace

class tst_TriskVXPlatformStorage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void datesKeepTheirMilliseconds();
    void readsXmlWrittenElsewhere();
    void refusesWhatIsNoPropertyList_data();
    void refusesWhatIsNoPropertyList();
    void unsupportedValuesAreNotWritten_data();
    void unsupportedValuesAreNotWritten();
    void typedAnswers_data();
    void typedAnswers();
    void searchOrder();
    void domainsOnDisk();
    void malformedDomainIsAbsent();
    void bundle();
    void assertionsRaiseAndLog();
};

void tst_TriskVXPlatformStorage::roundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    const QVariantMap nested { { u"string"_s, u"Grüße “quoted”"_s },
                               { u"true"_s, true },
                               { u"false"_s, false },
                               { u"negative"_s, qint64(-7) },
                               { u"beyond a double"_s, qint64(9007199254740993LL) },
                               { u"real"_s, 2.5 },
                               { u"data"_s, QByteArray("\x00\x01\xff", 3) },
                               { u"old date"_s, utc(1960, 1, 2, 3, 4, 5) },
                               { u"empty"_s, QVariantList() },
                               { u"array"_s,
                                 QVariantList { qint64(1), QVariantMap { { u"none"_s, QVariantMap() } } } } };
    QTest::newRow("dictionary") << QVariant(nested);
    QTest::newRow("array") << QVariant(QVariantList { nested, u"two"_s });
}

void tst_TriskVXPlatformStorage::roundTrip()
{
    QFETCH(QVariant, value);
    for (const auto format : { Serialization::Format::Xml, Serialization::Format::Binary }) {
        QString error;
        const QByteArray data = Serialization::dataWithPropertyList(value, format, &error);
        QVERIFY2(!data.isEmpty(), qPrintable(error));
        QCOMPARE(Serialization::propertyListWithData(data, &error), value);
    }
}

void tst_TriskVXPlatformStorage::datesKeepTheirMilliseconds()
{
    // XML property lists write dates to the second; binary ones keep the fraction, before 2001 too, where
    // the library counts the fraction backwards.
    const QDateTime date = utc(2031, 3, 4, 5, 6, 7, 250);
    const QByteArray xml = Serialization::dataWithPropertyList(date, Serialization::Format::Xml);
    QCOMPARE(Serialization::propertyListWithData(xml).toDateTime(), date.addMSecs(-250));
    for (const QDateTime &base : { utc(2026, 11, 21, 9, 43, 9), utc(1990, 1, 1, 0, 0, 0) }) {
        for (int msec = 0; msec < 1000; ++msec) {
            const QDateTime stamp = base.addMSecs(msec);
            const QByteArray data = Serialization::dataWithPropertyList(stamp, Serialization::Format::Binary);
            QCOMPARE(Serialization::propertyListWithData(data).toDateTime(), stamp);
        }
    }
}

void tst_TriskVXPlatformStorage::readsXmlWrittenElsewhere()
{
    // Read, not written by us: a wrong date epoch or integer sign would survive a round trip, not this.
    const QVariantMap map = Serialization::propertyListWithData(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>notifier.status-menu</key><false/>
  <key>count</key><integer>-3</integer>
  <key>when</key><date>2001-01-01T00:00:10Z</date>
</dict></plist>)")
                                .toMap();
    QCOMPARE(map.value(u"notifier.status-menu"_s), QVariant(false));
    QCOMPARE(map.value(u"count"_s), QVariant(qint64(-3)));
    QCOMPARE(map.value(u"when"_s), QVariant(utc(2001, 1, 1, 0, 0, 10)));
}

void tst_TriskVXPlatformStorage::refusesWhatIsNoPropertyList_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("no file") << QByteArray();
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("text") << QByteArray("hello, world");
    QTest::newRow("truncated xml") << QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>");
    QTest::newRow("truncated binary") << QByteArray("bplist00\xd1\x01\x02", 11);
}

void tst_TriskVXPlatformStorage::refusesWhatIsNoPropertyList()
{
    QFETCH(QByteArray, contents);
    QTemporaryDir folder;
    const QString path = folder.filePath(u"broken.plist"_s);
    if (!contents.isNull())
        QVERIFY(writeFile(path, contents));
    QString error;
    QVERIFY(!Serialization::propertyListWithContentsOfFile(path, &error).isValid());
    QVERIFY2(error.contains(path), qPrintable(error));
}

void tst_TriskVXPlatformStorage::unsupportedValuesAreNotWritten_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("nil") << QVariant();
    QTest::newRow("point") << QVariant(QPoint(1, 2));
    QTest::newRow("nested nil") << QVariant(QVariantMap { { u"a"_s, QVariant() } });
    // libplist 2.2 keeps a date in 32-bit seconds from 2001: 1933 to 2069.
    QTest::newRow("date after 2069") << QVariant(utc(2100, 1, 1, 0, 0, 0));
}

void tst_TriskVXPlatformStorage::unsupportedValuesAreNotWritten()
{
    QFETCH(QVariant, value);
    QTemporaryDir folder;
    const QString path = folder.filePath(u"domain.plist"_s);
    const QVariantMap before { { u"a"_s, qint64(1) } };
    QVERIFY(Serialization::writePropertyListToFile(before, path));
    // The file is replaced whole or left as it was.
    QString error;
    QVERIFY(!Serialization::writePropertyListToFile(value, path, Serialization::Format::Xml, &error));
    QVERIFY(error.contains(path));
    QCOMPARE(Serialization::propertyListWithContentsOfFile(path), QVariant(before));
}

void tst_TriskVXPlatformStorage::typedAnswers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("boolean");
    QTest::addColumn<qint64>("integer");
    QTest::addColumn<double>("real");
    QTest::addColumn<QString>("string");
    QTest::newRow("absent") << QVariant() << false << qint64(0) << 0.0 << QString();
    QTest::newRow("true") << QVariant(true) << true << qint64(1) << 1.0 << u"1"_s;
    QTest::newRow("integer 0") << QVariant(qint64(0)) << false << qint64(0) << 0.0 << u"0"_s;
    QTest::newRow("real 0.5") << QVariant(0.5) << true << qint64(0) << 0.5 << u"0.5"_s;
    QTest::newRow("text YES") << QVariant(u"YES"_s) << true << qint64(0) << 0.0 << u"YES"_s;
    QTest::newRow("text NO") << QVariant(u"NO"_s) << false << qint64(0) << 0.0 << u"NO"_s;
    QTest::newRow("text 12abc") << QVariant(u"12abc"_s) << true << qint64(12) << 12.0 << u"12abc"_s;
    QTest::newRow("text 0.25") << QVariant(u"0.25"_s) << true << qint64(0) << 0.25 << u"0.25"_s;
    QTest::newRow("array") << QVariant(QVariantList { true }) << false << qint64(0) << 0.0 << QString();
    QTest::newRow("dictionary") << QVariant(QVariantMap { { u"a"_s, 1 } }) << false << qint64(0) << 0.0 << QString();
    QTest::newRow("data") << QVariant(QByteArray("1")) << false << qint64(0) << 0.0 << QString();
}

void tst_TriskVXPlatformStorage::typedAnswers()
{
    QFETCH(QVariant, value);
    QFETCH(bool, boolean);
    QFETCH(qint64, integer);
    QFETCH(double, real);
    QFETCH(QString, string);
    QTemporaryDir folder;
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    if (value.isValid())
        defaults.registerDefaults({ { u"k"_s, value } });
    QCOMPARE(defaults.objectForKey(u"k"_s), value);
    QCOMPARE(defaults.boolForKey(u"k"_s), boolean);
    QCOMPARE(defaults.integerForKey(u"k"_s), integer);
    QCOMPARE(defaults.doubleForKey(u"k"_s), real);
    QCOMPARE(defaults.stringForKey(u"k"_s), string);
    QCOMPARE(defaults.arrayForKey(u"k"_s).isEmpty(), value.typeId() != QMetaType::QVariantList);
    QCOMPARE(defaults.dictionaryForKey(u"k"_s).isEmpty(), value.typeId() != QMetaType::QVariantMap);
}

void tst_TriskVXPlatformStorage::searchOrder()
{
    QTemporaryDir folder;
    QVERIFY(Serialization::writePropertyListToFile(
        QVariantMap { { u"a"_s, u"suite"_s }, { u"b"_s, u"suite"_s }, { u"c"_s, u"suite"_s } },
        folder.filePath(kSuite + u".plist"_s)));
    QVERIFY(Serialization::writePropertyListToFile(
        QVariantMap { { u"a"_s, u"application"_s }, { u"b"_s, u"application"_s } },
        folder.filePath(kApplication + u".plist"_s)));
    // The program's name and long options are no keys, nor is a key without a value.
    TriskVXUserDefaults defaults(
        kApplication, { u"-p"_s, u"--platform"_s, u"offscreen"_s, u"-a"_s, u"argument"_s, u"-b"_s }, folder.path());
    QCOMPARE(defaults.argumentDomain(), QVariantMap({ { u"a"_s, u"argument"_s } }));
    defaults.registerDefaults({ { u"a"_s, u"registration"_s }, { u"d"_s, u"registration"_s } });
    QCOMPARE(defaults.stringForKey(u"c"_s), QString());
    defaults.addSuiteNamed(kSuite);
    QCOMPARE(defaults.stringForKey(u"a"_s), u"argument"_s);
    QCOMPARE(defaults.stringForKey(u"b"_s), u"application"_s);
    QCOMPARE(defaults.stringForKey(u"c"_s), u"suite"_s);
    QCOMPARE(defaults.stringForKey(u"d"_s), u"registration"_s);
    defaults.removeSuiteNamed(kSuite);
    QCOMPARE(defaults.stringForKey(u"c"_s), QString());
}

void tst_TriskVXPlatformStorage::domainsOnDisk()
{
    QTemporaryDir folder;
    const QString suite = folder.filePath(kSuite + u".plist"_s);
    {
        TriskVXUserDefaults defaults(kApplication, {}, folder.path());
        // The application domain reaches the disk at synchronize only.
        defaults.setObjectForKey(qint64(3), u"n"_s);
        defaults.setObjectForKey(qint64(4), u"gone"_s);
        defaults.removeObjectForKey(u"gone"_s);
        QVERIFY(!QFile::exists(defaults.fileOfDomain(kApplication)));
        QVERIFY(defaults.synchronize());
        // Another program's edit of a suite counts once synchronized.
        QVERIFY(defaults.setPersistentDomainForName({ { u"x"_s, false } }, kSuite));
        defaults.addSuiteNamed(kSuite);
        QCOMPARE(defaults.boolForKey(u"x"_s), false);
        QVERIFY(Serialization::writePropertyListToFile(QVariantMap { { u"x"_s, true } }, suite));
        QCOMPARE(defaults.boolForKey(u"x"_s), false);
        QVERIFY(defaults.synchronize());
        QCOMPARE(defaults.boolForKey(u"x"_s), true);
        defaults.removePersistentDomainForName(kSuite);
        QVERIFY(!defaults.persistentDomainForName(kSuite).isValid());
        QVERIFY(!defaults.objectForKey(u"x"_s).isValid());
    }
    TriskVXUserDefaults again(kApplication, {}, folder.path());
    QCOMPARE(again.objectForKey(u"n"_s), QVariant(qint64(3)));
    QVERIFY(!again.objectForKey(u"gone"_s).isValid());
}

void tst_TriskVXPlatformStorage::malformedDomainIsAbsent()
{
    QTemporaryDir folder;
    QVERIFY(writeFile(folder.filePath(kSuite + u".plist"_s), "<plist><dict><key>notifier.status-menu</key>"));
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    LogCapture log;
    QVERIFY(!defaults.persistentDomainForName(kSuite).isValid());
    QCOMPARE(log.messages("trisk.platform").filter(u"ignoring the preferences"_s).size(), 1);
    defaults.addSuiteNamed(kSuite);
    QVERIFY(!defaults.objectForKey(u"notifier.status-menu"_s).isValid());
}

void tst_TriskVXPlatformStorage::bundle()
{
    QTemporaryDir folder;
    QVERIFY(Serialization::writePropertyListToFile(QVariantMap { { u"WendUpdateFeed"_s, u"https://example.org"_s } },
                                                   folder.filePath(u"Info.plist"_s)));
    QVERIFY(writeFile(folder.filePath(u"Panel.ui"_s), "<ui/>"));
    qputenv("TRISK_RESOURCES", folder.path().toUtf8());
    const TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    QVERIFY(bundle);
    QCOMPARE(bundle->resourcePath(), folder.path());
    QCOMPARE(bundle->infoDictionary().value(u"WendUpdateFeed"_s), QVariant(u"https://example.org"_s));
    QCOMPARE(bundle->pathForResource(u"Panel"_s, u"ui"_s), folder.filePath(u"Panel.ui"_s));
    QVERIFY(bundle->pathForResource(u"Panel"_s, u"plist"_s).isNull());
    // Without translations a key without text answers the value given, or else itself.
    LogCapture log;
    QVERIFY(!bundle->installTranslations());
    QCOMPARE(log.messages("trisk.platform").filter(u"no translations in"_s).size(), 1);
    QCOMPARE(bundle->localizedStringForKey(u"section.pending"_s, u"fallback"_s), u"fallback"_s);
    QCOMPARE(bundle->localizedStringForKey(u"TITLE_FORMAT"_s, QString()), u"TITLE_FORMAT"_s);
    QTemporaryDir empty;
    QVERIFY(TriskVXBundle(empty.path()).infoDictionary().isEmpty());
}

void tst_TriskVXPlatformStorage::assertionsRaiseAndLog()
{
    Checked checked;
    // An empty string is no nil, a null one is.
    checked.requireNamed(u""_s);
    Checked::classRequire(QVariant(false));
    QCOMPARE(assertionOf([&checked] {
                 checked.requireNamed(QString());
             }),
             u"tst_TriskVXPlatformStorage|Invalid parameter not satisfying: aName != nil"_s);
    QCOMPARE(assertionOf([] {
                 Checked::classRequire(QVariant());
             }),
             u"tst_TriskVXPlatformStorage|Invalid parameter not satisfying: aValue != nil"_s);
    LogCapture log;
    try {
        checked.requirePositive(0);
        QFAIL("no exception");
    } catch (const TriskVXInternalInconsistencyException &exception) {
        QCOMPARE(exception.method(), u"requirePositive"_s);
        QCOMPARE(QString::fromUtf8(exception.what()), u"Checked must be positive"_s);
        QCOMPARE(log.messages("trisk.platform"),
                 QStringList({ u"*** Assertion failure in requirePositive, tst_TriskVXPlatformStorage:%1"_s.arg(
                                   exception.line()),
                               u"Checked must be positive"_s }));
    }
}

QTEST_GUILESS_MAIN(tst_TriskVXPlatformStorage)
#include "tst_TriskVXPlatformStorage.moc"
