#include "HalvanedProcess.h"
#include "MenuLines.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXMenuItem.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXRequestsController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDir>
#include <QMenu>
#include <QProcess>
#include <QTest>
#include <QTimeZone>

namespace {
const QTimeZone kBerlin("Europe/Berlin");
// Saturday 1 June 2030, 08:00 in Berlin, for the service's test clock and the menu's clock alike.
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), kBerlin);

} // namespace

// The status menu against the real halvaned on a private bus: what halvanectl stores shows in the menu,
// and what the menu's items ask for changes the service, whose reports rebuild the menu.
class tst_StatusMenuIntegration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void storedEventsAppearInSectionsAndDays();
    void cancelFromTheMenu();
    void delayAndResetFromTheMenu();
    void triggerAndPerformNowFromTheMenu();
    void quickScheduleFromTheMenu();
    void shippedTemplatesAreAccepted();

private:
    bool halvanectl(const QStringList &arguments);
    QMenu *menu() const { return m_controller->statusMenu(); }
    // Waits until the rebuilt menu's lines satisfy the check.
    bool menuBecomes(const std::function<bool(const QStringList &)> &check);
    QDateTime dateOfPending(const QString &name) const;
    // All the service has written so far (its output is read once).
    QString serviceLog()
    {
        m_log += m_service.output();
        return m_log;
    }

    HalvanedProcess m_service;
    std::unique_ptr<ServiceClient> m_client;
    std::unique_ptr<TriskVXRequestsController> m_requests;
    TriskVXClock m_clock;
    TriskVXStatusBar m_bar;
    std::unique_ptr<TriskVXStatusMenuController> m_controller;
    QString m_log;
};

bool tst_StatusMenuIntegration::halvanectl(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral(HALVANECTL_PATH),
                  QStringList { QStringLiteral("--name"), m_service.serviceName() } + arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0) {
        qWarning().noquote() << "halvanectl" << arguments << "failed:" << process.readAllStandardError();
        return false;
    }
    return true;
}

bool tst_StatusMenuIntegration::menuBecomes(const std::function<bool(const QStringList &)> &check)
{
    return waitFor([&] {
        return check(linesOf(menu()));
    });
}

QDateTime tst_StatusMenuIntegration::dateOfPending(const QString &name) const
{
    const QVariantList pending = m_controller->pendingEvents().toList();
    for (const QVariant &queued : pending) {
        const QVariantMap fields = queued.toMap();
        if (fields.value(kVXQueuedTriggerEvent).toMap().value(kVXEventName).toString() == name)
            return fields.value(kVXQueuedTriggerTrigger).toMap().value(kVXTriggerDate).toDateTime();
    }
    return {};
}

void tst_StatusMenuIntegration::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    QVERIFY(m_service.start({ QStringLiteral("--test-clock"), QStringLiteral("--dry-run") }));
    QVERIFY(m_service.setTestTimeZone(kBerlin.id()));
    QVERIFY(m_service.setTestNow(kNow));
    m_clock.setTimeZone(kBerlin);
    m_clock.setNow(kNow);
    m_client = std::make_unique<ServiceClient>(m_service.location());
    QVERIFY(m_client->ready());
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_client->connection()));
    // No editor installed: the removal item stays out of the way of these tests' line lists.
    TriskVXWorkspace::workspace()->setToolSearchPath({});
    m_controller = std::make_unique<TriskVXStatusMenuController>();
    m_controller->setStatusBar(&m_bar);
    m_controller->setClock(&m_clock);
    QVERIFY(m_controller->initWithObserverRequests(m_client->observer(), m_requests.get()));
    // The variables already read reach the menu as at a show.
    m_controller->refresh();
    QVERIFY(menuBecomes([](const QStringList &lines) {
        return lines.contains(QStringLiteral("Nothing scheduled"));
    }));
}

void tst_StatusMenuIntegration::cleanupTestCase()
{
    m_controller.reset();
    m_requests.reset();
    m_client.reset();
    m_service.stop();
}

void tst_StatusMenuIntegration::storedEventsAppearInSectionsAndDays()
{
    QVERIFY(halvanectl({ QStringLiteral("add"), QStringLiteral("Backup"), QStringLiteral("--id"),
                         QStringLiteral("backup"), QStringLiteral("--at"), QStringLiteral("2030-06-01T10:00:00+02:00"),
                         QStringLiteral("--log"), QStringLiteral("backing up"), QStringLiteral("--on-demand") }));
    QVERIFY(halvanectl({ QStringLiteral("add"), QStringLiteral("Report"), QStringLiteral("--id"),
                         QStringLiteral("report"), QStringLiteral("--daily"), QStringLiteral("12:00"),
                         QStringLiteral("--log"), QStringLiteral("reporting") }));
    QVERIFY(
        halvanectl({ QStringLiteral("add"), QStringLiteral("Tomorrow"), QStringLiteral("--id"),
                     QStringLiteral("tomorrow"), QStringLiteral("--at"), QStringLiteral("2030-06-02T09:00:00+02:00"),
                     QStringLiteral("--log"), QStringLiteral("tomorrow") }));
    QVERIFY(halvanectl({ QStringLiteral("add"), QStringLiteral("Tuesday"), QStringLiteral("--id"),
                         QStringLiteral("tuesday"), QStringLiteral("--weekly"), QStringLiteral("09:00"),
                         QStringLiteral("--days"), QStringLiteral("tue"), QStringLiteral("--log"),
                         QStringLiteral("tuesday") }));
    const QStringList expected { QStringLiteral("On demand"), QStringLiteral("Backup"),   QStringLiteral("-"),
                                 QStringLiteral("Coming up"), QStringLiteral("Backup"),   QStringLiteral("Report"),
                                 QStringLiteral("-"),         QStringLiteral("Tomorrow"), QStringLiteral("-"),
                                 QStringLiteral("Tuesday") };
    QVERIFY2(menuBecomes([&](const QStringList &lines) {
                 return lines.mid(0, expected.size()) == expected;
             }),
             qPrintable(linesOf(menu()).join(QLatin1Char('|'))));
    // Today's first trigger is next: its picture and tool tip; no count-down before its notice period.
    QCOMPARE(m_controller->nextPendingQueuedTrigger().toMap().value(kVXQueuedTriggerEvent).toMap().value(kVXEventName),
             QVariant(QStringLiteral("Backup")));
    QVERIFY(m_controller->statusItem()->toolTip().startsWith(QStringLiteral("Next: Backup, ")));
    // The on-demand one offers Perform Now and Trigger Now above the trigger's own items.
    QMenu *backup = itemTitled(menu(), QStringLiteral("Coming up")) ? opened(menu()->actions().at(4)) : nullptr;
    QVERIFY(backup);
    QCOMPARE(linesOf(backup).mid(0, 4),
             QStringList({ QStringLiteral("Perform Now"), QStringLiteral("Trigger Now"), QStringLiteral("-"),
                           QStringLiteral("Cancel This Time") }));
    QCOMPARE(linesOf(opened(itemTitled(menu(), QStringLiteral("Report")))).first(), QStringLiteral("Cancel This Time"));
}

void tst_StatusMenuIntegration::cancelFromTheMenu()
{
    QAction *cancel
        = itemTitled(opened(itemTitled(menu(), QStringLiteral("Tomorrow"))), QStringLiteral("Cancel This Time"));
    QVERIFY(cancel);
    cancel->trigger();
    // A once trigger cancelled has no firing left: it leaves the pending list, and the menu follows.
    QVERIFY2(menuBecomes([](const QStringList &lines) {
                 return !lines.contains(QStringLiteral("Tomorrow")) && lines.contains(QStringLiteral("Tuesday"));
             }),
             qPrintable(linesOf(menu()).join(QLatin1Char('|'))));
}

void tst_StatusMenuIntegration::delayAndResetFromTheMenu()
{
    const QDateTime due(QDate(2030, 6, 1), QTime(12, 0), kBerlin);
    QCOMPARE(dateOfPending(QStringLiteral("Report")), due);
    itemTitled(opened(itemTitled(menu(), QStringLiteral("Report"))), QStringLiteral("Delay 15 Minutes"))->trigger();
    QVERIFY(waitFor([&] {
        return dateOfPending(QStringLiteral("Report")) == due.addSecs(900);
    }));
    // The rebuilt item says the new time.
    QVERIFY(TriskVXMenuItem::title(itemTitled(menu(), QStringLiteral("Report")))
                .endsWith(QLocale().toString(QTime(12, 15), QLocale::ShortFormat)));
    itemTitled(opened(itemTitled(menu(), QStringLiteral("Report"))), QStringLiteral("Delay 1 Hour"))->trigger();
    QVERIFY(waitFor([&] {
        return dateOfPending(QStringLiteral("Report")) == due.addSecs(900 + 3600);
    }));
    itemTitled(opened(itemTitled(menu(), QStringLiteral("Report"))), QStringLiteral("Reset"))->trigger();
    QVERIFY(waitFor([&] {
        return dateOfPending(QStringLiteral("Report")) == due;
    }));
}

void tst_StatusMenuIntegration::triggerAndPerformNowFromTheMenu()
{
    QMenu *backup = nullptr;
    const QList<QAction *> items = menu()->actions();
    for (const QAction *item : items) {
        if (TriskVXMenuItem::title(item).startsWith(QStringLiteral("Backup\n")))
            backup = opened(item);
    }
    QVERIFY(backup);
    itemTitled(backup, QStringLiteral("Perform Now"))->trigger();
    QVERIFY(waitFor([this] {
        return serviceLog().contains(QStringLiteral("backing up"));
    }));
    const qsizetype performed = serviceLog().count(QStringLiteral("backing up"));
    // Trigger Now applies the criteria (enabled, not already performing): it performs again.
    QVERIFY(waitFor([this] {
        return m_controller->activeEvents().toList().isEmpty();
    }));
    itemTitled(itemTitled(menu(), QStringLiteral("On demand")) ? menu() : nullptr, QStringLiteral("Backup"))->trigger();
    QVERIFY(waitFor([&] {
        return serviceLog().count(QStringLiteral("backing up")) > performed;
    }));
}

void tst_StatusMenuIntegration::quickScheduleFromTheMenu()
{
    QMenu *quick = m_controller->quickMenu();
    QCOMPARE(itemTitled(menu(), QStringLiteral("Quick Schedule"))->menu(), quick);
    QAction *nap = itemTitled(quick, QStringLiteral("Nap in 10 minutes"));
    QVERIFY(nap);
    nap->trigger();
    QVERIFY2(menuBecomes([](const QStringList &lines) {
                 return lines.contains(QStringLiteral("Nap"));
             }),
             qPrintable(linesOf(menu()).join(QLatin1Char('|'))));
    QCOMPARE(dateOfPending(QStringLiteral("Nap")), kNow.addSecs(600));
    // 08:10 today: first among the pending triggers, so the next one.
    QCOMPARE(m_controller->nextPendingQueuedTrigger().toMap().value(kVXQueuedTriggerEvent).toMap().value(kVXEventName),
             QVariant(QStringLiteral("Nap")));
    QCOMPARE(itemTitled(menu(), QStringLiteral("Quick Schedule"))->menu(), quick);
}

void tst_StatusMenuIntegration::shippedTemplatesAreAccepted()
{
    // The templates the notifier ships, stored as a Quick Schedule choice stores them: the real service
    // takes each.
    const QDir folder(QStringLiteral(TRISK_BUILD_RESOURCES "/Quick Schedule"));
    const QStringList files = folder.entryList({ QStringLiteral("*.") + kVXWorkspaceFileExtensionEvent }, QDir::Files);
    QCOMPARE(files.size(), 4);
    for (const QString &file : files) {
        QString error;
        QVariantMap event
            = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(folder.filePath(file), &error).toMap();
        QVERIFY2(event.contains(kVXEventName), qPrintable(file + QLatin1Char(' ') + error));
        QVERIFY2(event.contains(kVXEventNotes), qPrintable(file));
        event.insert(kVXEventTriggers,
                     QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                  { kVXTriggerDate, kNow.addDays(30) } } });
        qint64 status = 0;
        QString message;
        QVERIFY2(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } },
                                   &status, &message),
                 qPrintable(file + QStringLiteral(": ") + message));
    }
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    resources.write(QStringLiteral("Quick Schedule/nap.halvaneevent"),
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                    "<key>Name</key><string>Nap</string>"
                    "<key>Actions</key><array><dict><key>Type</key><string>Log</string>"
                    "<key>Message</key><string>napping</string></dict></array></dict></plist>");
    resources.use();
    QApplication application(argc, argv);
    tst_StatusMenuIntegration test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_StatusMenuIntegration.moc"
