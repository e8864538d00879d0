#include "TriskVXHalvaneStrings.h"

#include <QCoreApplication>
#include <QLocale>
#include <QProcess>
#include <QTest>

class tst_TriskVXHalvaneStrings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void english();
    void missingKeyGivesTheValue();
};

void tst_TriskVXHalvaneStrings::english()
{
    QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.title")),
             QStringLiteral("Adjust Trigger"));
    QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.label"))
                 .arg(QStringLiteral("X")),
             QStringLiteral("Choose when “X” fires:"));
}

void tst_TriskVXHalvaneStrings::missingKeyGivesTheValue()
{
    QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("No.such.key"), QStringLiteral("fallback")),
             QStringLiteral("fallback"));
    QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("No.such.key")), QString());
}

// The locale is read once, at the first lookup, so German has a process of its own.
class tst_TriskVXHalvaneStringsGerman : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void german()
    {
        QCOMPARE(TriskVXHalvaneStrings::localizedStringForKey(QStringLiteral("TriskVXWorkspace.adjust.title")),
                 QStringLiteral("Auslöser anpassen"));
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (qEnvironmentVariable("TRISK_TEST_LANGUAGE") == QLatin1String("de")) {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        tst_TriskVXHalvaneStringsGerman german;
        return QTest::qExec(&german, argc, argv);
    }
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    tst_TriskVXHalvaneStrings english;
    int result = QTest::qExec(&english, argc, argv);
    // Run the German half in a child process of its own.
    qputenv("TRISK_TEST_LANGUAGE", "de");
    result |= QProcess::execute(QCoreApplication::applicationFilePath(), {});
    return result;
}

#include "tst_TriskVXHalvaneStrings.moc"
