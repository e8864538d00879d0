#include "HalvaneServiceLogging.h"
#include "TriskVXDesktopLogging.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXPlatformLogging.h"
#include "TriskVXStatusMenuLogging.h"

#include <QTest>

// The logging categories docs/architecture.md names, and their default levels: progress (info) is
// logged, debug is not until QT_LOGGING_RULES asks for it.
class tst_Logging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void categories_data();
    void categories();
};

void tst_Logging::categories_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("info");
    QTest::addColumn<bool>("debug");
    QTest::newRow("platform") << QString::fromLatin1(lcTriskPlatform().categoryName())
                              << lcTriskPlatform().isInfoEnabled() << lcTriskPlatform().isDebugEnabled();
    QTest::newRow("framework") << QString::fromLatin1(lcHalvane().categoryName()) << lcHalvane().isInfoEnabled()
                               << lcHalvane().isDebugEnabled();
    QTest::newRow("notifier") << QString::fromLatin1(lcTriskNotifier().categoryName())
                              << lcTriskNotifier().isInfoEnabled() << lcTriskNotifier().isDebugEnabled();
    QTest::newRow("status menu") << QString::fromLatin1(lcTriskStatusMenu().categoryName())
                                 << lcTriskStatusMenu().isInfoEnabled() << lcTriskStatusMenu().isDebugEnabled();
    QTest::newRow("desktop") << QString::fromLatin1(lcTriskDesktop().categoryName()) << lcTriskDesktop().isInfoEnabled()
                             << lcTriskDesktop().isDebugEnabled();
    QTest::newRow("service") << QString::fromLatin1(lcHalvaned().categoryName()) << lcHalvaned().isInfoEnabled()
                             << lcHalvaned().isDebugEnabled();
}

void tst_Logging::categories()
{
    QFETCH(QString, name);
    QFETCH(bool, info);
    QFETCH(bool, debug);
    const QStringList documented { QStringLiteral("trisk.platform"), QStringLiteral("trisk.halvane"),
                                   QStringLiteral("trisk.notifier"), QStringLiteral("trisk.statusmenu"),
                                   QStringLiteral("trisk.desktop"),  QStringLiteral("halvane.service") };
    QVERIFY2(documented.contains(name), qPrintable(name));
    QVERIFY(info);
    QVERIFY(!debug);
}

QTEST_GUILESS_MAIN(tst_Logging)
#include "tst_Logging.moc"
