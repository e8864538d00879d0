// Property lists, the user defaults made of them, and what a failed check raises.
#include "AssertionOf.h"
#include "LogCapture.h"
#include "TriskVXAssertionHandler.h"
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
    static void classRequire(const QVariant &aValue) { TRISK_CPARAMETER_ASSERT(aValue != nil); }
};
} // namespace

class tst_TriskVXPlatformStorage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip();
    void refusals();
    void boolAnswers_data();
    void boolAnswers();
    void domains();
    void assertionsRaise();
};

void tst_TriskVXPlatformStorage::roundTrip()
{
    const QVariantMap empties { { u"map"_s, QVariantMap() }, { u"list"_s, QVariantList() } };
    const QVariant value = QVariantList({ u"Grüße “quoted”"_s, true, false, qint64(-7), qint64(9007199254740993LL), 2.5,
                                          QByteArray("\x00\x01\xff", 3), utc(1960, 1, 2, 3, 4, 5), empties });
    for (const auto format : { Serialization::Format::Xml, Serialization::Format::Binary }) {
        QString error;
        const QByteArray data = Serialization::dataWithPropertyList(value, format, &error);
        QVERIFY2(!data.isEmpty(), qPrintable(error));
        QCOMPARE(Serialization::propertyListWithData(data, &error), value);
    }
    // Read, not written by us: a wrong date epoch or integer sign would survive a round trip, not this.
    const QVariantMap read = Serialization::propertyListWithData(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>count</key><integer>-3</integer><key>when</key><date>2001-01-01T00:00:10Z</date>
<key>off</key><false/></dict></plist>)")
                                 .toMap();
    QCOMPARE(
        read,
        QVariantMap({ { u"count"_s, qint64(-3) }, { u"when"_s, utc(2001, 1, 1, 0, 0, 10) }, { u"off"_s, false } }));

    // Binary property lists keep a date's fraction, before 2001 too, where the library counts it backwards.
    for (const QDateTime &base : { utc(2026, 11, 21, 9, 43, 9), utc(1990, 1, 1, 0, 0, 0) }) {
        for (int msec = 0; msec < 1000; ++msec) {
            const QDateTime stamp = base.addMSecs(msec);
            const QByteArray data = Serialization::dataWithPropertyList(stamp, Serialization::Format::Binary);
            QCOMPARE(Serialization::propertyListWithData(data).toDateTime(), stamp);
        }
    }
}

void tst_TriskVXPlatformStorage::refusals()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"domain.plist"_s);
    QString error;
    QVERIFY(!Serialization::propertyListWithContentsOfFile(path, &error).isValid());
    QVERIFY2(error.startsWith(u"cannot read "_s + path), qPrintable(error));
    const QVariantMap before { { u"a"_s, qint64(1) } };
    QVERIFY(Serialization::writePropertyListToFile(before, path));
    // What is no property-list value is not written, and the file stays whole. libplist 2.2 keeps a date
    // in 32-bit seconds from 2001: 1933 to 2069, and a string or key only up to a null character (one
    // read from a binary file used to come back cut short).
    for (const QVariant &value :
         { QVariant(), QVariant(QPoint(1, 2)), QVariant(QVariantMap { { u"a"_s, QVariant() } }),
           QVariant(utc(2100, 1, 1, 0, 0, 0)), QVariant(u"a\0b"_s), QVariant(QVariantMap { { u"a\0b"_s, 1 } }) }) {
        QVERIFY(!Serialization::writePropertyListToFile(value, path, Serialization::Format::Xml, &error));
        QVERIFY2(error.startsWith(u"cannot write "_s + path), qPrintable(error));
    }
    QCOMPARE(Serialization::propertyListWithContentsOfFile(path), QVariant(before));
    // A null character in XML text used to be read into the string.
    const char xmlWithNull[]
        = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>x\0y</string></dict></plist>";
    for (const QByteArray &broken :
         { QByteArray(""), QByteArray("hello, world"),
           QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key>"),
           QByteArray("bplist00\xd1\x01\x02", 11), QByteArray(xmlWithNull, sizeof(xmlWithNull) - 1),
           // Binary { "a\0b": true }: libplist used to abort the program on the key.
           QByteArray::fromHex("62706c6973743030d101025361006209080b0f0000000000000101"
                               "00000000000000030000000000000000000000000000000010") }) {
        QVERIFY(writeFile(path, broken));
        QVERIFY2(!Serialization::propertyListWithContentsOfFile(path, &error).isValid(), broken.constData());
        QVERIFY2(error.startsWith(path + u": "_s), qPrintable(error));
    }
}

// The programs ask their defaults for yes or no only.
void tst_TriskVXPlatformStorage::boolAnswers_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("answer");
    QTest::newRow("absent") << QVariant() << false;
    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("real 0.5") << QVariant(0.5) << true;
    QTest::newRow("text YES") << QVariant(u"YES"_s) << true;
    QTest::newRow("text true") << QVariant(u"true"_s) << true;
    QTest::newRow("text no") << QVariant(u"no"_s) << false;
    QTest::newRow("text 12abc") << QVariant(u"12abc"_s) << true;
    QTest::newRow("text 0.25") << QVariant(u"0.25"_s) << true;
    QTest::newRow("data") << QVariant(QByteArray("1")) << false;
}

void tst_TriskVXPlatformStorage::boolAnswers()
{
    QFETCH(QVariant, value);
    QFETCH(bool, answer);
    QTemporaryDir folder;
    TriskVXUserDefaults defaults(kApplication, {}, folder.path());
    defaults.registerDefaults({ { u"k"_s, value } });
    QCOMPARE(defaults.boolForKey(u"k"_s), answer);
}

void tst_TriskVXPlatformStorage::domains()
{
    QTemporaryDir folder;
    const QString suite = folder.filePath(kSuite + u".plist"_s);
    QVERIFY(writeFile(suite, "<plist><dict><key>a</key>"));
    QVERIFY(Serialization::writePropertyListToFile(
        QVariantMap { { u"a"_s, u"application"_s }, { u"b"_s, u"application"_s } },
        folder.filePath(kApplication + u".plist"_s)));
    // The program's name and long options are no keys, nor is a key without a value.
    TriskVXUserDefaults defaults(
        kApplication, { u"-p"_s, u"--platform"_s, u"offscreen"_s, u"-a"_s, u"argument"_s, u"-b"_s }, folder.path());
    QCOMPARE(defaults.argumentDomain(), QVariantMap({ { u"a"_s, u"argument"_s } }));
    defaults.registerDefaults(
        { { u"a"_s, u"registration"_s }, { u"c"_s, u"registration"_s }, { u"d"_s, u"registration"_s } });
    defaults.addSuiteNamed(kSuite);
    // A malformed domain file is said and counts as absent.
    LogCapture log;
    QCOMPARE(defaults.stringForKey(u"c"_s), u"registration"_s);
    QCOMPARE(log.messages("trisk.platform").filter(suite).size(), 1);
    // Mended by another program, it counts once synchronized.
    QVERIFY(Serialization::writePropertyListToFile(
        QVariantMap { { u"a"_s, u"suite"_s }, { u"b"_s, u"suite"_s }, { u"c"_s, u"suite"_s } }, suite));
    QCOMPARE(defaults.stringForKey(u"c"_s), u"registration"_s);
    defaults.setObjectForKey(qint64(3), u"n"_s);
    QVERIFY(defaults.synchronize());
    QCOMPARE(QStringList({ defaults.stringForKey(u"a"_s), defaults.stringForKey(u"b"_s), defaults.stringForKey(u"c"_s),
                           defaults.stringForKey(u"d"_s) }),
             QStringList({ u"argument"_s, u"application"_s, u"suite"_s, u"registration"_s }));
    QCOMPARE(TriskVXUserDefaults(kApplication, {}, folder.path()).objectForKey(u"n"_s), QVariant(qint64(3)));
}

void tst_TriskVXPlatformStorage::assertionsRaise()
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
}

QTEST_GUILESS_MAIN(tst_TriskVXPlatformStorage)
#include "tst_TriskVXPlatformStorage.moc"
