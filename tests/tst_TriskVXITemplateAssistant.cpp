#include "TriskVXConstants.h"
#include "TriskVXITemplateAssistant.h"

#include <QDateTime>
#include <QTest>
#include <QTimeZone>

class tst_TriskVXITemplateAssistant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void substitutions_data();
    void substitutions();
    void quickScheduleTemplate();
    void placeholders();
};

void tst_TriskVXITemplateAssistant::substitutions_data()
{
    QTest::addColumn<QVariantMap>("templateDictionary");
    QTest::addColumn<QVariantMap>("substitutions");
    QTest::addColumn<QVariantMap>("event");
    const QDateTime when(QDate(2030, 5, 6), QTime(7, 8, 9), QTimeZone::utc());
    const QVariantMap whenOnly { { QStringLiteral("when"), when } };
    QTest::newRow("whole value keeps its type") << QVariantMap { { kVXTriggerDate, QStringLiteral("${when}") } }
                                                << whenOnly << QVariantMap { { kVXTriggerDate, when } };
    QTest::newRow("inside text, the date's text")
        << QVariantMap { { kVXEventNotes, QStringLiteral("Made for ${when}.") } } << whenOnly
        << QVariantMap { { kVXEventNotes, QStringLiteral("Made for 2030-05-06T07:08:09Z.") } };
    QTest::newRow("several in one text") << QVariantMap { { kVXEventName, QStringLiteral("${a} and ${b}") } }
                                         << QVariantMap { { QStringLiteral("a"), QStringLiteral("A") },
                                                          { QStringLiteral("b"), qint64(2) } }
                                         << QVariantMap { { kVXEventName, QStringLiteral("A and 2") } };
    QTest::newRow("unknown placeholder stays")
        << QVariantMap { { kVXEventName, QStringLiteral("${other}") } } << whenOnly
        << QVariantMap { { kVXEventName, QStringLiteral("${other}") } };
    QTest::newRow("nested in arrays and dictionaries") << QVariantMap {
        { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, QStringLiteral("${when}") } } } }
    } << whenOnly << QVariantMap { { kVXEventTriggers, QVariantList { QVariantMap { { kVXTriggerDate, when } } } } };
    QTest::newRow("other values untouched")
        << QVariantMap { { kVXEventEnabled, true }, { QStringLiteral("n"), qint64(3) } } << whenOnly
        << QVariantMap { { kVXEventEnabled, true }, { QStringLiteral("n"), qint64(3) } };
    QTest::newRow("unique id dropped") << QVariantMap { { kVXEventUniqueID, QStringLiteral("template-1") } } << whenOnly
                                       << QVariantMap();
    QTest::newRow("dollar without braces") << QVariantMap { { kVXEventName, QStringLiteral("$when") } } << whenOnly
                                           << QVariantMap { { kVXEventName, QStringLiteral("$when") } };
}

void tst_TriskVXITemplateAssistant::substitutions()
{
    QFETCH(QVariantMap, templateDictionary);
    QFETCH(QVariantMap, substitutions);
    QFETCH(QVariantMap, event);
    QCOMPARE(TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(templateDictionary, substitutions),
             event);
}

void tst_TriskVXITemplateAssistant::quickScheduleTemplate()
{
    const QVariantMap shutDown {
        { kVXEventName, QStringLiteral("Shut down") },
        { kVXEventTriggers,
          QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                       { kVXTriggerDate, QStringLiteral("${when}") } } } },
    };
    const QDateTime when = QDateTime::currentDateTimeUtc().addSecs(600);
    const QVariantMap event = TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(
        shutDown, { { QStringLiteral("when"), when } });
    const QVariantMap trigger = event.value(kVXEventTriggers).toList().first().toMap();
    QCOMPARE(trigger.value(kVXTriggerDate).typeId(), int(QMetaType::QDateTime));
    QCOMPARE(trigger.value(kVXTriggerDate).toDateTime(), when);
    QCOMPARE(event.value(kVXEventName), QVariant(QStringLiteral("Shut down")));
}

void tst_TriskVXITemplateAssistant::placeholders()
{
    const QVariantMap templateDictionary { { QStringLiteral("a"), QStringLiteral("${when} ${who}") },
                                           { QStringLiteral("b"), QVariantList { QStringLiteral("${when}") } } };
    QCOMPARE(TriskVXITemplateAssistant::placeholdersOfTemplate(templateDictionary),
             (QStringList { QStringLiteral("when"), QStringLiteral("who") }));
}

QTEST_GUILESS_MAIN(tst_TriskVXITemplateAssistant)
#include "tst_TriskVXITemplateAssistant.moc"
