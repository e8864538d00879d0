// The desktop notifications of triggers and warnings, against the real halvaned and a recording server.
#include "HalvanedProcess.h"
#include "NotifierResources.h"
#include "RecordingNotificationServer.h"
#include "ServiceClient.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXRequestErrorReporter.h"
#include "TriskVXRequestsController.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXUserNotificationController.h"
#include "TriskVXWorkspace.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone::utc());

QVariantMap trigger(const QString &id, const QString &name, const QDateTime &date)
{
    return { { kVXQueuedTriggerTriggerID, id },
             { kVXQueuedTriggerEvent, QVariantMap { { kVXEventName, name } } },
             { kVXQueuedTriggerTrigger, date.isValid() ? QVariantMap { { kVXTriggerDate, date } } : QVariantMap() } };
}

QVariantMap warning(const QString &id, const QString &name, const QDateTime &date)
{
    return { { kVXQueuedWarningActionID, id },
             { kVXQueuedWarningEvent, QVariantMap { { kVXEventName, name } } },
             { kVXQueuedWarningDate, date },
             { kVXQueuedWarningMessage, u"Save your work."_s } };
}

QStringList titles(const TriskVXUserNotificationCenter &center)
{
    QStringList result;
    const QList<TriskVXUserNotification> delivered = center.deliveredNotifications();
    for (const TriskVXUserNotification &notification : delivered)
        result.append(notification.title());
    result.sort();
    return result;
}
} // namespace

class tst_TriskVXUserNotificationController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void followsTheService();
    void reconcilesWhatIsOnScreen();
    void clicksAdjustOrCheck_data();
    void clicksAdjustOrCheck();

private:
    TriskVXClock m_clock;
    std::unique_ptr<RecordingNotificationServer> m_server;
    std::unique_ptr<TriskVXUserNotificationCenter> m_center;
    std::unique_ptr<TriskVXUserNotificationController> m_controller;
};

void tst_TriskVXUserNotificationController::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    m_clock.setTimeZone(QTimeZone::utc());
}

void tst_TriskVXUserNotificationController::init()
{
    m_clock.setNow(kNow);
    m_server = std::make_unique<RecordingNotificationServer>();
    QVERIFY(m_server->start());
    m_center = std::make_unique<TriskVXUserNotificationCenter>(QDBusConnection::sessionBus(),
                                                               RecordingNotificationServer::testService());
    m_controller = std::make_unique<TriskVXUserNotificationController>(m_center.get(), &m_clock);
    QVERIFY(m_controller->init());
    m_controller->setVisible(true);
}

void tst_TriskVXUserNotificationController::cleanup()
{
    m_controller.reset();
    m_center.reset();
    m_server.reset();
}

void tst_TriskVXUserNotificationController::followsTheService()
{
    HalvanedProcess service;
    QVERIFY(service.startAt(kNow));
    ServiceClient client(service.location());
    QVERIFY(client.ready());
    std::unique_ptr<TriskVXRequestsController> requests(
        TriskVXRequestsController::requestsControllerWithConnection(client.connection()));
    m_controller = std::make_unique<TriskVXUserNotificationController>(m_center.get(), &m_clock);
    QVERIFY(m_controller->initWithObserverRequests(client.observer(), requests.get()));
    m_controller->refresh();

    QVERIFY(service.add(u"Night"_s,
                        { u"--at"_s, kNow.addSecs(300).toString(Qt::ISODate), u"--power"_s, u"power-off"_s,
                          u"--notice"_s, u"600"_s, u"--warning-lead"_s, u"120"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->last(u"Night"_s).body.isEmpty(), 10000);
    const RecordingNotificationServer::Notification night = m_server->last(u"Night"_s);
    QCOMPARE(night.body, u"“Night” will be performed at 08:05:00.\nClick to change the time."_s);
    QCOMPARE(night.actions, (QStringList { u"default"_s, u"Night"_s, u"action-button"_s, u"Adjust…"_s }));

    QVERIFY(service.setTestNow(kNow.addSecs(200)));
    m_clock.setNow(kNow.addSecs(200));
    QTRY_VERIFY_WITH_TIMEOUT(m_server->received().size() == 2, 10000);
    QCOMPARE(m_server->received().at(1).summary, u"Night"_s);
    QVERIFY(m_server->received().at(1).body.endsWith(u"\nHalvane is about to perform this event."_s));

    // The warning's notification stays for its day.
    const QString triggerID = client.pendingIDs(kVXObserveNotificationsCurrent).value(0);
    requests->cancelTrigger(triggerID);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->closedByClient() == QList<uint> { night.id }, 10000);
    QCOMPARE(m_server->open().size(), 1);

    // Failures must not pile up on screen: the newer takes the older one's place.
    TriskVXRequestErrorReporter reporter(m_center.get(), TriskVXNotificationCenter::defaultCenter());
    requests->cancelTrigger(triggerID);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->received().size() == 3, 10000);
    const RecordingNotificationServer::Notification refused = m_server->received().at(2);
    QCOMPARE(refused.summary, u"Not carried out: Cancel a trigger"_s);
    QCOMPARE(refused.body, TriskVXRequestErrorReporter::reasonText(kVXStatusUnknownTrigger));
    requests->resetTrigger(u"no-such-trigger"_s);
    QTRY_VERIFY_WITH_TIMEOUT(m_server->received().size() == 4, 10000);
    QCOMPARE(m_server->received().at(3).summary, u"Halvane did not carry out the request"_s);
    QCOMPARE(m_server->received().at(3).replacesId, refused.id);
}

void tst_TriskVXUserNotificationController::reconcilesWhatIsOnScreen()
{
    // Left over from an earlier run.
    TriskVXUserNotification earlier;
    earlier.setTitle(u"Earlier"_s);
    earlier.setUserInfo({ { kVXQueuedTriggerTriggerID, u"t0"_s } });
    m_center->deliverNotification(earlier);
    earlier.setTitle(u"Stale"_s);
    earlier.setIdentifier(QString());
    earlier.setUserInfo({ { kVXQueuedTriggerTriggerID, u"stale"_s } });
    m_center->deliverNotification(earlier);
    TriskVXUserNotification update;
    update.setTitle(u"Update"_s);
    update.setUserInfo({ { u"url"_s, u"update"_s } });
    m_center->deliverNotification(update);

    const QVariantList current { trigger(u"t0"_s, u"Renamed"_s, kNow.addSecs(60)),
                                 trigger(u"t1"_s, u"Nap"_s, QDateTime()), trigger(u"t1"_s, u"Nap"_s, QDateTime()) };
    m_controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, current);
    QCOMPARE(titles(*m_center), (QStringList { u"Earlier"_s, u"Nap"_s, u"Update"_s }));
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->last(u"Nap"_s).summary.isEmpty(), 10000);
    QCOMPARE(m_server->last(u"Nap"_s).body, u"Click to change the time."_s);

    // Unpublished (the service away) must not clear the screen.
    m_controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariant());
    m_controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, current);
    QCOMPARE(titles(*m_center), (QStringList { u"Earlier"_s, u"Nap"_s, u"Update"_s }));

    m_controller->observedVariableDidBecome(kVXObserveNotificationsWarning,
                                            QVariantList { warning(u"w1"_s, u"Night"_s, kNow.addSecs(120)) });
    m_controller->observedVariableDidBecome(kVXObserveNotificationsWarning, QVariantList());
    m_controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList());
    QCOMPARE(titles(*m_center), (QStringList { u"Night"_s, u"Update"_s }));
    m_clock.setNow(kNow.addSecs(120 + 86400 - 1));
    m_controller->observedVariableDidBecome(kVXObserveNotificationsWarning, QVariantList());
    QCOMPARE(titles(*m_center), (QStringList { u"Night"_s, u"Update"_s }));
    m_clock.setNow(kNow.addSecs(120 + 86400 + 1));
    m_controller->observedVariableDidBecome(kVXObserveNotificationsWarning, QVariantList());
    QCOMPARE(titles(*m_center), QStringList { u"Update"_s });
}

void tst_TriskVXUserNotificationController::clicksAdjustOrCheck_data()
{
    QTest::addColumn<QVariantMap>("userInfo");
    QTest::addColumn<int>("activation");
    QTest::addColumn<bool>("adjusts");
    QTest::addColumn<bool>("checks");

    const QVariantMap triggerInfo { { kVXQueuedTriggerTriggerID, u"t7"_s } };
    const QVariantMap updateInfo { { u"url"_s, u"update"_s } };
    QTest::newRow("trigger body") << triggerInfo << int(TriskVXUserNotification::ContentsClicked) << true << false;
    QTest::newRow("trigger button") << triggerInfo << int(TriskVXUserNotification::ActionButtonClicked) << false
                                    << false;
    QTest::newRow("update button") << updateInfo << int(TriskVXUserNotification::ActionButtonClicked) << false << true;
    QTest::newRow("update, no activation") << updateInfo << int(TriskVXUserNotification::None) << false << false;
    QTest::newRow("warning") << QVariantMap { { kVXQueuedWarningActionID, u"w"_s } }
                             << int(TriskVXUserNotification::ContentsClicked) << false << false;
}

void tst_TriskVXUserNotificationController::clicksAdjustOrCheck()
{
    QFETCH(QVariantMap, userInfo);
    QFETCH(int, activation);
    QFETCH(bool, adjusts);
    QFETCH(bool, checks);

    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    QSignalSpy checked(workspace, &TriskVXWorkspace::softwareUpdateCheckRequested);
    TriskVXUserNotification notification;
    notification.setUserInfo(userInfo);
    notification.setActivationType(TriskVXUserNotification::ActivationType(activation));
    m_controller->userNotificationCenterDidActivateNotification(m_center.get(), notification);
    std::unique_ptr<TriskVXAdjustDialog> dialog(workspace->adjustDialogForTrigger(u"t7"_s));
    QCOMPARE(dialog != nullptr, adjusts);
    QCOMPARE(checked.size(), checks ? 1 : 0);
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    resources.use();
    QApplication application(argc, argv);
    tst_TriskVXUserNotificationController test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_TriskVXUserNotificationController.moc"
