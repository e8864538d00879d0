// The framework's helpers where the notifier's and the service's tests do not reach them.
#include "LogCapture.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXIDateTransformer.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXITemplateAssistant.h"
#include "TriskVXRecords.h"
#include "TriskVXWorkspace.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));

QDateTime berlin(int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2030, month, day), QTime(hour, minute), kBerlin);
}

QImage draw(const QUrl &identifier, const QString &variation = TriskVXIImageAssistantVariationNone)
{
    return TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(identifier, QSizeF(16, 16),
                                                                                             variation);
}
} // namespace

class tst_TriskVXAssistants : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rights();
    void templates();
    void dateTexts_data();
    void dateTexts();
    void dateTextsFollowTheClocksZone();
    void images();
    void unreadablePreferences();
};

void tst_TriskVXAssistants::rights()
{
    const QVariantMap noRule { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust } };
    QVariantMap someRule = noRule;
    someRule.insert(kVXAuthorisationRightRule, u"admin"_s);
    // Any rule grants, not only the universal one; an entry without a rule grants nothing.
    QVERIFY(TriskVXRecords::rightsGrant({ u"junk"_s, someRule }, kVXRPCSchedulerAdjust));
    QVERIFY(!TriskVXRecords::rightsGrant({ someRule }, kVXRPCSchedulerCancel));
    QVERIFY(!TriskVXRecords::rightsGrant({ noRule }, kVXRPCSchedulerAdjust));
    // Performable on demand: enabled (a number will do, text will not) and with the behaviour.
    const QVariantList onDemand { kVXElementBehaviour_CanPerformOnDemand };
    QVERIFY(
        TriskVXRecords::isPerformableOnDemand({ { kVXEventEnabled, qint64(1) }, { kVXEventBehaviours, onDemand } }));
    QVERIFY(
        !TriskVXRecords::isPerformableOnDemand({ { kVXEventEnabled, u"yes"_s }, { kVXEventBehaviours, onDemand } }));
}

// A template's placeholder standing alone takes the value with its type; inside text, the value's text.
// Unknown placeholders stay, and the unique id goes, so that each event made is a new one.
void tst_TriskVXAssistants::templates()
{
    const QDateTime when(QDate(2030, 5, 6), QTime(7, 8, 9), QTimeZone::utc());
    const QVariantMap templateDictionary {
        { kVXEventNotes, u"For ${when}, ${n} ${other} ${n} $when"_s },
        { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, u"${when}"_s } } } },
        { kVXEventUniqueID, u"t1"_s },
        { kVXEventEnabled, true },
    };
    const QVariantMap event {
        { kVXEventNotes, u"For 2030-05-06T07:08:09Z, 2 ${other} 2 $when"_s },
        { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, when } } } },
        { kVXEventEnabled, true },
    };
    QCOMPARE(TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(
                 templateDictionary, { { u"when"_s, when }, { u"n"_s, qint64(2) } }),
             event);
}

void tst_TriskVXAssistants::dateTexts_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<qint64>("days");
    QTest::addColumn<QString>("text");
    QTest::newRow("a week on: the date") << berlin(3, 13, 8) << berlin(3, 20, 9) << qint64(7) << u"20/03/2030 09:00"_s;
    QTest::newRow("across the spring clock change")
        << berlin(3, 30, 12) << berlin(4, 1, 12) << qint64(2) << u"Monday 12:00"_s;
    QTest::newRow("across the autumn clock change")
        << berlin(10, 26, 23) << berlin(10, 27, 23, 30) << qint64(1) << u"Sunday 23:30"_s;
    QTest::newRow("UTC date, the local day counts")
        << berlin(6, 1, 1, 30) << QDateTime(QDate(2030, 5, 31), QTime(23, 45), QTimeZone::utc()) << qint64(0)
        << u"01:45"_s;
}

void tst_TriskVXAssistants::dateTexts()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, date);
    QFETCH(qint64, days);
    QFETCH(QString, text);
    TriskVXClock clock;
    clock.setNow(now);
    QCOMPARE(TriskVXIDateTransformer::relativeDaysAway(date, &clock, kBerlin), days);
    const TriskVXIDateTransformer transformer(&clock, QLocale(QLocale::English, QLocale::UnitedKingdom), kBerlin);
    QCOMPARE(transformer.transformedValue(date), QVariant(text));
}

void tst_TriskVXAssistants::dateTextsFollowTheClocksZone()
{
    TriskVXClock clock;
    clock.setTimeZone(kBerlin);
    clock.setNow(berlin(3, 13, 8));
    const TriskVXIDateTransformer transformer(&clock, QLocale(QLocale::German, QLocale::Germany), QTimeZone());
    QCOMPARE(transformer.transformedValue(berlin(3, 14, 7, 30)), QVariant(u"Donnerstag 07:30"_s));
    // The zone moves, as the system's does when the clock posts its change: so do the texts.
    clock.setTimeZone(QTimeZone("America/New_York"));
    QCOMPARE(transformer.transformedValue(berlin(3, 13, 18, 5)), QVariant(u"13:05"_s));
    for (const QVariant &notADate : { QVariant(), QVariant(u"soon"_s), QVariant(QDateTime()) })
        QVERIFY(!transformer.transformedValue(notADate).isValid());
}

void tst_TriskVXAssistants::images()
{
    const QUrl stopped = TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped);
    // A built-in image may be named in the host ("halvane-image://stopped") as well as in the path.
    const QImage normal = draw(stopped);
    QCOMPARE(draw(QUrl(u"halvane-image://stopped"_s)), normal);

    // An event's own picture file is scaled to fit, keeping its shape.
    QTemporaryDir directory;
    const QString path = directory.filePath(u"event.png"_s);
    QImage source(64, 32, QImage::Format_ARGB32);
    source.fill(Qt::red);
    QVERIFY(source.save(path));
    const QUrl file
        = TriskVXIImageAssistant::imageAssistant()->UIIdentifierForEvent(QVariantMap { { kVXEventImage, path } });
    QCOMPARE(draw(file).size(), QSize(16, 8));
    for (const QUrl &nothing : { QUrl(u"halvane-image:rocket"_s), QUrl::fromLocalFile(path + u'x') })
        QVERIFY2(draw(nothing).isNull(), qPrintable(nothing.toString()));
}

// A preference domain file that is no dictionary is logged and read as empty, and left as it is.
void tst_TriskVXAssistants::unreadablePreferences()
{
    QTemporaryDir directory;
    TriskVXWorkspace workspace;
    workspace.setPreferencesDirectory(directory.path());
    QFile domain(workspace.preferencesFile());
    QVERIFY(domain.open(QIODevice::WriteOnly) && domain.write("<plist version=\"1.0\"><array/></plist>") > 0);
    domain.close();
    LogCapture log;
    QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
    QCOMPARE(log.messages("trisk.halvane").filter(workspace.preferencesFile()).size(), 1);
    QVERIFY(domain.size() > 0);
}

QTEST_MAIN(tst_TriskVXAssistants)
#include "tst_TriskVXAssistants.moc"
