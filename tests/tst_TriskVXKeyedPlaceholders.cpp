#include "TriskVXKeyedPlaceholders.h"

#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

class tst_TriskVXKeyedPlaceholders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainText_data();
    void plainText();
    void richTextKeepsAttributes();
    void replacementContainingAPlaceholderIsNotExpandedAgain();
};

void tst_TriskVXKeyedPlaceholders::plainText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariantMap>("placeholders");
    QTest::addColumn<QString>("result");
    const QVariantMap section { { QStringLiteral("SectionName"), QStringLiteral("Pending") } };
    QTest::newRow("section heading") << QStringLiteral("{{SectionName}}") << section << QStringLiteral("Pending");
    QTest::newRow("inside text") << QStringLiteral("— {{SectionName}} —") << section << QStringLiteral("— Pending —");
    QTest::newRow("twice") << QStringLiteral("{{SectionName}}/{{SectionName}}") << section
                           << QStringLiteral("Pending/Pending");
    QTest::newRow("unknown name stays") << QStringLiteral("{{Other}}") << section << QStringLiteral("{{Other}}");
    QTest::newRow("single braces are text")
        << QStringLiteral("{SectionName}") << section << QStringLiteral("{SectionName}");
    QTest::newRow("no placeholders") << QStringLiteral("plain") << section << QStringLiteral("plain");
    QTest::newRow("number value") << QStringLiteral("{{n}} left") << QVariantMap { { QStringLiteral("n"), 3 } }
                                  << QStringLiteral("3 left");
}

void tst_TriskVXKeyedPlaceholders::plainText()
{
    QFETCH(QString, text);
    QFETCH(QVariantMap, placeholders);
    QFETCH(QString, result);
    QCOMPARE(replaceKeyedPlaceholders(text, placeholders), result);
    QTextDocument document(text);
    replaceKeyedPlaceholders(&document, placeholders);
    QCOMPARE(document.toPlainText(), result);
}

void tst_TriskVXKeyedPlaceholders::richTextKeepsAttributes()
{
    QTextDocument document;
    document.setHtml(QStringLiteral("<i>before </i><b>{{SectionName}}</b><u> after</u>"));
    replaceKeyedPlaceholders(&document, { { QStringLiteral("SectionName"), QStringLiteral("Active") } });
    QCOMPARE(document.toPlainText(), QStringLiteral("before Active after"));
    QTextCursor cursor(&document);
    auto formatAt = [&](int position) {
        cursor.setPosition(position);
        cursor.setPosition(position + 1, QTextCursor::KeepAnchor);
        return cursor.charFormat();
    };
    QVERIFY(formatAt(0).fontItalic());
    QVERIFY(!formatAt(0).font().bold());
    for (int position = 7; position < 13; ++position) {
        QVERIFY(formatAt(position).font().bold());
        QVERIFY(!formatAt(position).fontItalic());
    }
    QVERIFY(formatAt(14).fontUnderline());
    QVERIFY(!formatAt(14).font().bold());
}

void tst_TriskVXKeyedPlaceholders::replacementContainingAPlaceholderIsNotExpandedAgain()
{
    const QVariantMap placeholders { { QStringLiteral("a"), QStringLiteral("{{b}}") },
                                     { QStringLiteral("b"), QStringLiteral("B") } };
    QCOMPARE(replaceKeyedPlaceholders(QStringLiteral("{{a}}"), placeholders), QStringLiteral("{{b}}"));
    QTextDocument document(QStringLiteral("{{a}} {{b}}"));
    replaceKeyedPlaceholders(&document, placeholders);
    QCOMPARE(document.toPlainText(), QStringLiteral("{{b}} B"));
}

QTEST_MAIN(tst_TriskVXKeyedPlaceholders)
#include "tst_TriskVXKeyedPlaceholders.moc"
