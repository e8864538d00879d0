// The floating panels against the real halvaned, and a fake service for lists the real one never publishes.
#include "FakeScheduler.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXFloatingPanel.h"
#include "TriskVXNotificationController.h"
#include "TriskVXNotificationsController.h"
#include "TriskVXRequestsController.h"
#include "TriskVXUserDefaults.h"
#include "TriskVXWarningController.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 10000;
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone("Europe/Berlin"));

QString at(qint64 seconds)
{
    return kNow.addSecs(seconds).toString(Qt::ISODateWithMs);
}

QVariantMap queuedTrigger(const QString &id, const QString &name, const QDateTime &date)
{
    return { { kVXQueuedTriggerTriggerID, id },
             { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, name } } },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date } } } };
}

// The map with key set to value, or without key when value is invalid.
QVariantMap with(QVariantMap map, const QString &key, const QVariant &value = {})
{
    if (value.isValid())
        map.insert(key, value);
    else
        map.remove(key);
    return map;
}

QVariant published(const QVariantList &records)
{
    return QVariant::fromValue(TriskVXDBusPropertyList::encodeRecordList(records));
}
} // namespace

class tst_Panels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void countDownPanelsFollowTheService();
    void simplifiedButtonsFollowThePreference_data();
    void simplifiedButtonsFollowThePreference();
    void warningPanelFollowsTheWarnings();
    void malformedListsNeverReachAPanel();

private:
    void startService();
    bool add(const QString &name, const QStringList &arguments)
    {
        return m_service->add(name, QStringList { u"--log"_s, name } + arguments);
    }
    void moveTo(qint64 seconds);
    QStringList panelNames() const;
    TriskVXNotificationController *panelOf(const QString &name) const;

    TriskVXClock m_clock;
    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
    std::unique_ptr<TriskVXRequestsController> m_requests;
    std::unique_ptr<TriskVXNotificationsController> m_notifications;
};

void tst_Panels::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    m_clock.setTimeZone(kNow.timeZone());
}

void tst_Panels::init()
{
    m_clock.setNow(kNow);
    TriskVXUserDefaults::standardUserDefaults()->removePersistentDomainForName(kVXPreferencesDomain);
}

void tst_Panels::cleanup()
{
    m_notifications.reset();
    m_requests.reset();
    m_client.reset();
    m_service.reset();
}

void tst_Panels::startService()
{
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->startAt(kNow));
    m_client = std::make_unique<ServiceClient>(m_service->location());
    QVERIFY(m_client->ready());
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_client->connection()));
    m_notifications = std::make_unique<TriskVXNotificationsController>(&m_clock);
    QVERIFY(m_notifications->initWithObserverRequests(m_client->observer(), m_requests.get()));
    m_notifications->refresh();
}

void tst_Panels::moveTo(qint64 seconds)
{
    QVERIFY(m_service->setTestNow(kNow.addSecs(seconds)));
    m_clock.setNow(kNow.addSecs(seconds));
}

QStringList tst_Panels::panelNames() const
{
    QStringList names;
    for (const TriskVXNotificationController *panel : m_notifications->notifications())
        names.append(panel->eventName());
    names.sort();
    return names;
}

TriskVXNotificationController *tst_Panels::panelOf(const QString &name) const
{
    for (TriskVXNotificationController *panel : m_notifications->notifications()) {
        if (panel->eventName() == name)
            return panel;
    }
    return nullptr;
}

void tst_Panels::countDownPanelsFollowTheService()
{
    startService();
    QVERIFY(add(u"Backup"_s, { u"--at"_s, at(600), u"--notice"_s, u"300"_s }));
    QVERIFY(add(u"Restart"_s, { u"--at"_s, at(420), u"--notice"_s, u"600"_s }));
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), QStringList { u"Restart"_s }, kWait);
    TriskVXNotificationController *restart = panelOf(u"Restart"_s);
    QWidget *window = restart->notificationWindow();
    QVERIFY(window->isVisible());
    QVERIFY(window->testAttribute(Qt::WA_ShowWithoutActivating));
    QVERIFY(!window->findChild<QLabel *>(u"eventIconView"_s)->pixmap().isNull());
    const QString title = window->windowTitle();
    QVERIFY2(title.startsWith(u"Restart at "_s) && title.contains(u"08:07:00"_s), qPrintable(title));
    QCOMPARE(restart->messageField()->text(), u"“Restart” will be performed at 08:07:00.\n7 min 0 s left."_s);

    m_clock.advance(61500);
    QCOMPARE(restart->messageField()->text(), u"“Restart” will be performed at 08:07:00.\n5 min 58 s left."_s);
    QCOMPARE(window->windowTitle(), title);
    m_clock.setNow(kNow.addSecs(7300));
    QVERIFY(restart->messageField()->text().endsWith(u"\n0 min 0 s left."_s));

    moveTo(330);
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), (QStringList { u"Backup"_s, u"Restart"_s }), kWait);
    TriskVXNotificationController *backup = panelOf(u"Backup"_s);
    QVERIFY(backup->notificationWindow()->isVisible());
    QVERIFY(!backup->notificationWindow()->frameGeometry().intersects(window->frameGeometry()));

    // Dismissed stays dismissed while the trigger is current, whatever else changes.
    backup->notificationWindow()->findChild<QPushButton *>(u"okButton"_s)->click();
    QVERIFY(!backup->notificationWindow()->isVisible());
    QVERIFY(add(u"Nap"_s, { u"--at"_s, at(900), u"--notice"_s, u"600"_s }));
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), (QStringList { u"Backup"_s, u"Nap"_s, u"Restart"_s }), kWait);
    QCOMPARE(panelOf(u"Backup"_s), backup);
    QVERIFY(!backup->notificationWindow()->isVisible());

    QSignalSpy gone(restart, &QObject::destroyed);
    restart->cancelButton()->click();
    QVERIFY(!window->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), (QStringList { u"Backup"_s, u"Nap"_s }), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(gone.size(), 1, kWait);

    TriskVXNotificationController *nap = panelOf(u"Nap"_s);
    const QString napID = nap->queuedTrigger().toMap().value(kVXQueuedTriggerTriggerID).toString();
    nap->adjustButton()->click();
    QVERIFY(!nap->notificationWindow()->isVisible());
    std::unique_ptr<TriskVXAdjustDialog> dialog(TriskVXWorkspace::workspace()->adjustDialogForTrigger(napID));
    QVERIFY(dialog && dialog->isVisible());
    dialog.reset();

    // Delayed out of its notice period and back in: a new panel, not the dismissed one.
    QVERIFY(m_service->control(
        { u"delay"_s, backup->queuedTrigger().toMap().value(kVXQueuedTriggerTriggerID).toString(), u"60"_s }));
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), QStringList { u"Nap"_s }, kWait);
    moveTo(3600 + 330);
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), QStringList { u"Backup"_s }, kWait);
    QVERIFY(panelOf(u"Backup"_s)->notificationWindow()->isVisible());

    m_notifications->hide();
    moveTo(3600 + 700);
    QVERIFY(m_client->reload());
    QCOMPARE(panelNames(), QStringList { u"Backup"_s });
    m_notifications->show();
    QCOMPARE(panelNames(), QStringList());
}

void tst_Panels::simplifiedButtonsFollowThePreference_data()
{
    QTest::addColumn<QVariant>("simplify");
    QTest::addColumn<QString>("adjustTitle");
    QTest::addColumn<QString>("cancelTitle");
    QTest::newRow("not set") << QVariant() << u"Adjust…"_s << u"Cancel This Time"_s;
    QTest::newRow("on") << QVariant(true) << u"Change Time…"_s << u"Skip This Time"_s;
}

void tst_Panels::simplifiedButtonsFollowThePreference()
{
    QFETCH(QVariant, simplify);
    QFETCH(QString, adjustTitle);
    QFETCH(QString, cancelTitle);
    if (simplify.isValid()) {
        QVERIFY(TriskVXUserDefaults::standardUserDefaults()->setPersistentDomainForName(
            { { u"notifier.notifications.simplify"_s, simplify } }, kVXPreferencesDomain));
    }
    startService();
    QVERIFY(add(u"Restart"_s, { u"--at"_s, at(420), u"--notice"_s, u"600"_s }));
    QTRY_COMPARE_WITH_TIMEOUT(panelNames(), QStringList { u"Restart"_s }, kWait);
    TriskVXNotificationController *panel = panelOf(u"Restart"_s);
    QCOMPARE(panel->adjustButton()->text(), adjustTitle);
    QCOMPARE(panel->cancelButton()->text(), cancelTitle);
}

void tst_Panels::warningPanelFollowsTheWarnings()
{
    startService();
    std::unique_ptr<TriskVXWarningController> warning(
        TriskVXNotifyObject::objectWithObserverRequests<TriskVXWarningController>(m_client->observer(),
                                                                                  m_requests.get()));
    QVERIFY(warning);
    warning->refresh();
    QWidget *panel = warning->warningPanel();
    QVERIFY(TriskVXFloatingPanel::of(panel));
    QVERIFY(add(u"Night"_s, { u"--at"_s, at(300), u"--warning-lead"_s, u"120"_s }));
    QVERIFY(add(u"Nap"_s, { u"--at"_s, at(400), u"--warning-lead"_s, u"240"_s }));
    QVERIFY(m_client->reload());
    QVERIFY(!panel->isVisible());

    const QList<QPair<qint64, QString>> steps {
        { 170, u"Nap"_s }, { 200, u"Night"_s }, { 301, u"Nap"_s }, { 401, {} }
    };
    for (const auto &[seconds, shown] : steps) {
        moveTo(seconds);
        QTRY_COMPARE_WITH_TIMEOUT(panel->isVisible() ? warning->eventNameField()->text() : QString(), shown, kWait);
        if (!shown.isEmpty())
            QVERIFY(!warning->imageView()->pixmap().isNull());
    }
}

void tst_Panels::malformedListsNeverReachAPanel()
{
    FakeScheduler fake;
    const QVariantMap good = queuedTrigger(u"a#0"_s, u"Alpha"_s, kNow.addSecs(120));
    fake.published = { { kVXObserveNotificationsCurrent, published({ good }) } };
    QVERIFY(fake.start());
    ServiceClient client(fake.location());
    QVERIFY(client.ready());
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    TriskVXNotificationsController notifications(&m_clock);
    QVERIFY(notifications.initWithObserverRequests(client.observer(), requests.get()));
    notifications.refresh();
    QCOMPARE(notifications.notifications().keys(), QStringList { u"a#0"_s });
    TriskVXNotificationController *alpha = notifications.notifications().value(u"a#0"_s);

    LogCapture log;
    const QList<QVariant> malformed {
        published({ with(good, kVXQueuedTriggerEvent) }),
        published({ good, with(good, kVXQueuedTriggerTrigger, QVariantMap()) }),
        published({ with(good, kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, u"tomorrow"_s } }) }),
        published({ with(good, kVXQueuedTriggerTriggerID) }),
    };
    for (const QVariant &value : malformed)
        fake.publish({ { kVXObserveNotificationsCurrent, value } });
    // A good list after them is the first thing the panels hear of: the kept panel is not remade.
    const QVariantMap beta = queuedTrigger(u"b#0"_s, u"Beta"_s, kNow.addSecs(240));
    fake.publish({ { kVXObserveNotificationsCurrent, published({ good, beta }) } });
    QTRY_COMPARE_WITH_TIMEOUT(notifications.notifications().size(), 2, kWait);
    QCOMPARE(notifications.notifications().value(u"a#0"_s), alpha);
    QCOMPARE(log.messages("trisk.halvane").filter(u"ignoring the published NotificationsCurrent"_s).size(),
             malformed.size());
}

int main(int argc, char *argv[])
{
    NotifierResources resources(
        { u"Info.plist"_s, u"TriskVXNotificationController.ui"_s, u"TriskVXWarningController.ui"_s });
    resources.use();
    QApplication application(argc, argv);
    tst_Panels test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Panels.moc"
