// The framework's helpers where the notifier's own tests cannot reach every case: record rules, templates
// and placeholders, date texts across clock changes, images, translations and the workspace's files.
#include "LogCapture.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXHalvaneStrings.h"
#include "TriskVXIDateTransformer.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXITemplateAssistant.h"
#include "TriskVXKeyedPlaceholders.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRecords.h"
#include "TriskVXWorkspace.h"

#include <QFile>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimeZone>

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
    void rights_data();
    void rights();
    void templates_data();
    void templates();
    void keyedPlaceholders();
    void dateTexts_data();
    void dateTexts();
    void dateTextsFollowTheClocksZone();
    void images();
    void preferences();
    void adjustDialogWithoutAConnection();
};

void tst_TriskVXAssistants::rights_data()
{
    QTest::addColumn<QVariantList>("rights");
    QTest::addColumn<bool>("adjust");
    auto right = [](const QVariant &rule) {
        QVariantMap entry { { kVXAuthorisationRightSignature, kVXRPCSchedulerAdjust } };
        if (rule.isValid())
            entry.insert(kVXAuthorisationRightRule, rule);
        return QVariant(entry);
    };
    QTest::newRow("none") << QVariantList() << false;
    QTest::newRow("any rule grants") << QVariantList { right(QStringLiteral("admin")) } << true;
    QTest::newRow("no rule grants nothing") << QVariantList { right(QVariant()) } << false;
    QTest::newRow("junk entries are skipped")
        << QVariantList { QStringLiteral("junk"), right(kVXAuthorisationRightRule_Universal) } << true;
}

void tst_TriskVXAssistants::rights()
{
    QFETCH(QVariantList, rights);
    QFETCH(bool, adjust);
    QCOMPARE(TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerAdjust), adjust);
    QVERIFY(!TriskVXRecords::rightsGrant(rights, kVXRPCSchedulerCancel));
}

void tst_TriskVXAssistants::templates_data()
{
    QTest::addColumn<QVariantMap>("templateDictionary");
    QTest::addColumn<QVariantMap>("event");
    const QDateTime when(QDate(2030, 5, 6), QTime(7, 8, 9), QTimeZone::utc());
    QTest::newRow("whole value keeps its type") << QVariantMap {
        { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, QStringLiteral("${when}") } } } }
    } << QVariantMap { { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, when } } } } };
    QTest::newRow("inside text, the value's text")
        << QVariantMap { { kVXEventNotes, QStringLiteral("For ${when}, ${n} ${other} $when") } }
        << QVariantMap { { kVXEventNotes, QStringLiteral("For 2030-05-06T07:08:09Z, 2 ${other} $when") } };
    QTest::newRow("unique id dropped") << QVariantMap { { kVXEventUniqueID, QStringLiteral("t1") } } << QVariantMap();
}

void tst_TriskVXAssistants::templates()
{
    QFETCH(QVariantMap, templateDictionary);
    QFETCH(QVariantMap, event);
    const QDateTime when(QDate(2030, 5, 6), QTime(7, 8, 9), QTimeZone::utc());
    const QVariantMap substitutions { { QStringLiteral("when"), when }, { QStringLiteral("n"), qint64(2) } };
    QCOMPARE(TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(templateDictionary, substitutions),
             event);
    QCOMPARE(TriskVXITemplateAssistant::placeholdersOfTemplate(templateDictionary).isEmpty(),
             QTest::currentDataTag() == QByteArrayLiteral("unique id dropped"));
}

void tst_TriskVXAssistants::keyedPlaceholders()
{
    // Replaced once: a replacement is not searched again.
    QCOMPARE(replaceKeyedPlaceholders(QStringLiteral("{{a}} {a} {{b}} {{c}}"),
                                      { { QStringLiteral("a"), QStringLiteral("{{b}}") }, { QStringLiteral("b"), 2 } }),
             QStringLiteral("{{b}} {a} 2 {{c}}"));
    // In rich text the replacement keeps the placeholder's attributes, and the text around keeps its own.
    QTextDocument document;
    document.setHtml(QStringLiteral("<i>before </i><b>{{Name}}</b><u> {{a}} {{Other}}</u>"));
    replaceKeyedPlaceholders(&document,
                             { { QStringLiteral("Name"), QStringLiteral("Active") }, { QStringLiteral("a"), 1 } });
    QCOMPARE(document.toPlainText(), QStringLiteral("before Active 1 {{Other}}"));
    QTextCursor cursor(&document);
    auto formatAt = [&](int position) {
        cursor.setPosition(position);
        cursor.setPosition(position + 1, QTextCursor::KeepAnchor);
        return cursor.charFormat();
    };
    QVERIFY(formatAt(0).fontItalic() && !formatAt(0).font().bold());
    for (int position = 7; position < 13; ++position)
        QVERIFY(formatAt(position).font().bold() && !formatAt(position).fontItalic());
    QVERIFY(formatAt(14).fontUnderline() && !formatAt(14).font().bold());
}

void tst_TriskVXAssistants::dateTexts_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<qint64>("days");
    QTest::addColumn<QString>("text");
    QTest::newRow("later today") << berlin(3, 13, 0, 1) << berlin(3, 13, 18, 5) << qint64(0) << QStringLiteral("18:05");
    QTest::newRow("two minutes, across midnight")
        << berlin(3, 13, 23, 59) << berlin(3, 14, 0, 1) << qint64(1) << QStringLiteral("Thursday 00:01");
    QTest::newRow("six days on") << berlin(3, 13, 8) << berlin(3, 19, 9) << qint64(6)
                                 << QStringLiteral("Tuesday 09:00");
    QTest::newRow("a week on: the date") << berlin(3, 13, 8) << berlin(3, 20, 9) << qint64(7)
                                         << QStringLiteral("20/03/2030 09:00");
    QTest::newRow("yesterday: the date") << berlin(3, 13, 0, 30) << berlin(3, 12, 23, 30) << qint64(-1)
                                         << QStringLiteral("12/03/2030 23:30");
    QTest::newRow("across the spring clock change")
        << berlin(3, 30, 12) << berlin(4, 1, 12) << qint64(2) << QStringLiteral("Monday 12:00");
    QTest::newRow("across the autumn clock change")
        << berlin(10, 26, 23) << berlin(10, 27, 23, 30) << qint64(1) << QStringLiteral("Sunday 23:30");
    QTest::newRow("UTC date, the local day counts")
        << berlin(6, 1, 1, 30) << QDateTime(QDate(2030, 5, 31), QTime(23, 45), QTimeZone::utc()) << qint64(0)
        << QStringLiteral("01:45");
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
    QCOMPARE(transformer.transformedValue(berlin(3, 14, 7, 30)), QVariant(QStringLiteral("Donnerstag 07:30")));
    // The zone moves, as the system's does when the clock posts its change: so do the texts.
    clock.setTimeZone(QTimeZone("America/New_York"));
    QCOMPARE(transformer.transformedValue(berlin(3, 13, 18, 5)), QVariant(QStringLiteral("13:05")));
    for (const QVariant &notADate : { QVariant(), QVariant(QStringLiteral("soon")), QVariant(QDateTime()) })
        QVERIFY(!transformer.transformedValue(notADate).isValid());
}

void tst_TriskVXAssistants::images()
{
    const QUrl stopped = TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped);
    // A built-in image may be named in the host ("halvane-image://stopped") as well as in the path.
    const QImage normal = draw(stopped);
    QCOMPARE(draw(QUrl(QStringLiteral("halvane-image://stopped"))), normal);
    QCOMPARE(qAlpha(normal.pixel(8, 8)), 255);
    const int faint = qAlpha(draw(stopped, TriskVXIImageAssistantVariationDisabled).pixel(8, 8));
    QVERIFY(faint > 0 && faint < 128);
    const QImage tinted = TriskVXIImageAssistant::tintedTemplateImage(normal, QColor(Qt::white));
    QCOMPARE(QColor(tinted.pixel(8, 8)), QColor(Qt::white));
    QCOMPARE(qAlpha(tinted.pixel(0, 0)), qAlpha(normal.pixel(0, 0)));

    // An event's own picture file is scaled to fit, keeping its shape.
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("event.png"));
    QImage source(64, 32, QImage::Format_ARGB32);
    source.fill(Qt::red);
    QVERIFY(source.save(path));
    const QUrl file
        = TriskVXIImageAssistant::imageAssistant()->UIIdentifierForEvent(QVariantMap { { kVXEventImage, path } });
    QCOMPARE(file, QUrl::fromLocalFile(path));
    QCOMPARE(draw(file).size(), QSize(16, 8));
    for (const QUrl &nothing :
         { QUrl(), QUrl(QStringLiteral("halvane-image:rocket")), QUrl(QStringLiteral("https://example.org/x.png")),
           QUrl::fromLocalFile(directory.filePath(QStringLiteral("none.png"))) })
        QVERIFY2(draw(nothing).isNull(), qPrintable(nothing.toString()));
}

void tst_TriskVXAssistants::preferences()
{
    QTemporaryDir directory;
    TriskVXWorkspace workspace;
    workspace.setPreferencesDirectory(directory.path());
    QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXPreferencesKeySoftwareUpdateCheck, false } }, workspace.preferencesFile()));
    QCOMPARE(workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck), QVariant(false));
    // A change by any editor is read on the next call, even within the same second.
    QVERIFY(TriskVXPropertyListSerialization::writePropertyListToFile(
        QVariantMap { { kVXPreferencesKeySoftwareUpdateCheck, true }, { QStringLiteral("x"), 1 } },
        workspace.preferencesFile()));
    QCOMPARE(workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck), QVariant(true));
    // A domain that is no dictionary is logged and read as empty, and left as it is.
    for (const QByteArray &contents :
         { QByteArray("check = yes"), QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><array/></plist>") }) {
        QFile file(workspace.preferencesFile());
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(contents);
        file.close();
        LogCapture log;
        QVERIFY(!workspace.preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck).isValid());
        QCOMPARE(log.messages("trisk.halvane").filter(workspace.preferencesFile()).size(), 1);
        QCOMPARE(file.size(), contents.size());
    }
}

void tst_TriskVXAssistants::adjustDialogWithoutAConnection()
{
    const QDateTime date = QDateTime::currentDateTimeUtc().addDays(2);
    const QVariantMap record { { kVXQueuedTriggerTriggerID, QStringLiteral("r1") },
                               { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, QStringLiteral("Backup") } } },
                               { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } } };
    TriskVXWorkspace workspace;
    LogCapture log;
    workspace.adjustQueuedTriggerWithConnection(QVariantMap(), nullptr);
    QCOMPARE(log.messages("trisk.halvane").filter(QStringLiteral("no trigger id")).size(), 1);
    workspace.adjustQueuedTriggerWithConnection(record, nullptr);
    QPointer<TriskVXAdjustDialog> dialog = workspace.adjustDialogForTrigger(QStringLiteral("r1"));
    QVERIFY(dialog && dialog->isVisible());
    QCOMPARE(dialog->findChild<QLabel *>(QStringLiteral("label"))->text(),
             QStringLiteral("Choose when “Backup” fires:"));
    QCOMPARE(dialog->date(), date);
    QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("No.such.key"), QStringLiteral("fallback")),
             QStringLiteral("fallback"));
    // A second request raises the same dialog.
    workspace.adjustQueuedTriggerWithConnection(QStringLiteral("r1"), nullptr);
    QCOMPARE(workspace.adjustDialogForTrigger(QStringLiteral("r1")), dialog.data());
    // Without a connection the request cannot go out: said, not lost silently.
    QSignalSpy finished(dialog, &TriskVXAdjustDialog::adjustFinished);
    dialog->accept();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first(), (QVariantList { false, qint64(kVXStatusRequestNotSent) }));
    QTRY_VERIFY(dialog.isNull());
    QVERIFY(!workspace.adjustDialogForTrigger(QStringLiteral("r1")));
}

QTEST_MAIN(tst_TriskVXAssistants)
#include "tst_TriskVXAssistants.moc"
