#include "AssertionOf.h"
#include "FakeScheduler.h"
#include "LogCapture.h"
#include "MenuLines.h"
#include "NotifierResources.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConnection.h"
#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXMenuAlternates.h"
#include "TriskVXMenuItem.h"
#include "TriskVXRequestsController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {
NotifierResources *gResources = nullptr;

// The interface file of the build with one change, for the classes whose templates break a rule.
void writeInterface(const QString &className, const QString &from, const QString &to)
{
    QFile source(QStringLiteral(TRISK_SOURCE_DIR "/notifier/resources/TriskVXStatusMenuController.ui"));
    if (!source.open(QIODevice::ReadOnly))
        return;
    QString text = QString::fromUtf8(source.readAll());
    if (!from.isEmpty())
        text.replace(from, to);
    gResources->write(className + QStringLiteral(".ui"), text.toUtf8());
}

// Its templateMenu has no tag-1 item.
class NoPlaceholderController : public TriskVXStatusMenuController
{
    Q_OBJECT
};

// Its interface lacks the trigger template.
class NoTriggerTemplateController : public TriskVXStatusMenuController
{
    Q_OBJECT
};

// Its interface lacks the removal item.
class NoRemoveItemController : public TriskVXStatusMenuController
{
    Q_OBJECT
};

// Ran before any controller registered the class defaults: its own plist is absent.
class NoDefaultsController : public TriskVXStatusMenuController
{
    Q_OBJECT
};

const QDateTime kNow(QDate(2026, 11, 21), QTime(9, 0), QTimeZone("Europe/Berlin"));

// A queued trigger as the scheduler publishes it, due days and a time away from kNow's day.
QVariantMap queuedTrigger(const QString &id, const QDateTime &date, const QStringList &behaviours = {},
                          const QString &name = QString())
{
    QVariantList behaviourList;
    for (const QString &behaviour : behaviours)
        behaviourList.append(behaviour);
    const QVariantMap event { { kVXEventName, name.isEmpty() ? QStringLiteral("Event ") + id : name },
                              { kVXEventUniqueID, QString(QStringLiteral("E-") + id) },
                              { kVXEventEnabled, true },
                              { kVXEventBehaviours, behaviourList } };
    return { { kVXQueuedTriggerTriggerID, id },
             { kVXQueuedTriggerEvent, event },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date.toUTC() } } } };
}

QVariantMap eventRecord(const QString &name, const QString &uniqueID)
{
    return { { kVXEventName, name }, { kVXEventUniqueID, uniqueID }, { kVXEventEnabled, true } };
}

void writeTemplate(const QString &folder, const QString &name, const QByteArray &contents)
{
    QDir().mkpath(folder);
    QFile file(QDir(folder).filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}

QByteArray plist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + body + "</plist>";
}

// The fixed lines of the template around the sections, as the build's interface file has them.
const QStringList kTail { QStringLiteral("-"),
                          QStringLiteral("Quick Schedule"),
                          QStringLiteral("-"),
                          QStringLiteral("Open Halvane…"),
                          QStringLiteral("Check for Updates…"),
                          QStringLiteral("-"),
                          QStringLiteral("Remove Trisk Notifier…") };
} // namespace

// Parts 2.3 to 2.6 on a bar, clock and workspace of the test's own; requests go to a fake scheduler that
// records them.
class tst_TriskVXStatusMenuController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First: no controller has registered the class defaults yet.
    void emphasizeDefaultIsRequired();
    void initTestCase();
    void init();
    void cleanup();

    // Part 2.3
    void initialMenuIsUnavailableWithTheQuickSubmenu();
    void dayGroupsAreSeparated_data();
    void dayGroupsAreSeparated();
    void informationItem_data();
    void informationItem();
    void activeEventWithoutPendingShowsNoInformation();
    void onDemandItemsAndSections();
    void triggerSubmenus_data();
    void triggerSubmenus();
    void quickSubmenuSurvivesRebuilds();
    void removeItemOnlyWithoutTheEditor();
    void longNamesAreShortenedInPendingItemsOnly();
    void observedVariablesRebuild();
    void queriesRequireTheirArguments_data();
    void queriesRequireTheirArguments();
    void templateRules_data();
    void templateRules();
    void onDemandEventQuery_data();
    void onDemandEventQuery();
    void secondsUntilTrigger();
    void templatesStayPristine();

    // Part 2.4 (TriskVXStatusMenuControllerTitle.cpp)
    void countDownText_data();
    void countDownText();
    void countDownRunsOnlyForTheCurrentNotification();
    void performingTitleWinsUntilTheNextTick();
    void stoppedAndEmptyPictures_data();
    void stoppedAndEmptyPictures();
    void performingImageLayout();
    void performingImageIsDrawn();

    // Part 2.5
    void actionsSendTheirRequests_data();
    void actionsSendTheirRequests();
    void delayAddsToTheTriggerDate_data();
    void delayAddsToTheTriggerDate();
    void actionsWithoutTriggerID_data();
    void actionsWithoutTriggerID();
    void validation_data();
    void validation();
    void workspaceActions();

    // Part 2.6 (TriskVXStatusMenuControllerQuickSchedule.cpp)
    void quickMenuWithoutTemplates();
    void quickTemplatesAreReadInOrder();
    void brokenTemplatesAreLeftOut_data();
    void brokenTemplatesAreLeftOut();
    void quickAlternatesFollowModifiers_data();
    void quickAlternatesFollowModifiers();
    void exportedQuickMenuShowsEveryDelay();
    void quickScheduleStoresAOnceTrigger();
    void quickScheduleIgnoresBadItems_data();
    void quickScheduleIgnoresBadItems();

private:
    template<typename T = TriskVXStatusMenuController>
    std::unique_ptr<T> makeController(TriskVXRequestsController *requests = nullptr);
    QString quickFolder() const { return gResources->quickScheduleFolder(); }
    QString userQuickFolder() const { return m_support->filePath(QStringLiteral("Quick Schedule")); }
    bool connectToFake();

    TriskVXClock *m_clock = nullptr;
    TriskVXStatusBar *m_bar = nullptr;
    std::unique_ptr<QTemporaryDir> m_tools;
    std::unique_ptr<QTemporaryDir> m_support;
    std::unique_ptr<QTemporaryDir> m_preferences;
    std::unique_ptr<FakeScheduler> m_fake;
    std::unique_ptr<TriskVXConnection> m_connection;
    std::unique_ptr<TriskVXRequestsController> m_requests;
};

template<typename T>
std::unique_ptr<T> tst_TriskVXStatusMenuController::makeController(TriskVXRequestsController *requests)
{
    auto controller = std::make_unique<T>();
    controller->setStatusBar(m_bar);
    controller->setClock(m_clock);
    if (!controller->initWithObserverRequests(nullptr, requests))
        return nullptr;
    return controller;
}

bool tst_TriskVXStatusMenuController::connectToFake()
{
    m_fake = std::make_unique<FakeScheduler>();
    if (!m_fake->start())
        return false;
    m_connection.reset(TriskVXConnection::connectionWithLocation(m_fake->location()));
    if (!waitFor([this] {
            return m_connection->isValid();
        }))
        return false;
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_connection.get()));
    return m_requests != nullptr;
}

void tst_TriskVXStatusMenuController::emphasizeDefaultIsRequired()
{
    TriskVXStatusBar bar;
    TriskVXClock clock;
    NoDefaultsController controller;
    controller.setStatusBar(&bar);
    controller.setClock(&clock);
    QCOMPARE(assertionOf([&] {
                 controller.initWithObserverRequests(nullptr, nullptr);
             }),
             QStringLiteral("TriskVXStatusMenuController|emphasize icon default is required"));
}

void tst_TriskVXStatusMenuController::initTestCase()
{
    QVERIFY(TriskVXBundle::mainBundle());
    QVERIFY(TriskVXBundle::mainBundle()->installTranslations());
}

void tst_TriskVXStatusMenuController::init()
{
    m_clock = new TriskVXClock;
    m_clock->setTimeZone(QTimeZone("Europe/Berlin"));
    m_clock->setNow(kNow);
    m_bar = new TriskVXStatusBar;
    m_tools = std::make_unique<QTemporaryDir>();
    m_support = std::make_unique<QTemporaryDir>();
    m_preferences = std::make_unique<QTemporaryDir>();
    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    workspace->setToolSearchPath({ m_tools->path() });
    workspace->setSupportFolder(m_support->path());
    workspace->setPreferencesDirectory(m_preferences->path());
    QDir(quickFolder()).removeRecursively();
}

void tst_TriskVXStatusMenuController::cleanup()
{
    m_requests.reset();
    m_connection.reset();
    m_fake.reset();
    delete m_bar;
    delete m_clock;
    QDir(quickFolder()).removeRecursively();
}

void tst_TriskVXStatusMenuController::initialMenuIsUnavailableWithTheQuickSubmenu()
{
    auto controller = makeController();
    QVERIFY(controller);
    QVERIFY(controller->dateTransformer());
    QCOMPARE(controller->emphasizeInterval(), 0.5);
    QVERIFY(!controller->emphasizeTimer());
    QVERIFY(!controller->countDownTimer());
    QMenu *menu = controller->statusItem()->menu();
    QVERIFY(menu);
    QCOMPARE(menu, controller->statusMenu());
    QCOMPARE(linesOf(menu), QStringList { QStringLiteral("Schedule unavailable") } + kTail);
    QCOMPARE(itemTitled(menu, QStringLiteral("Schedule unavailable"))->toolTip(),
             QStringLiteral("The scheduler has not reported its pending events yet."));
    QVERIFY(!itemTitled(menu, QStringLiteral("Schedule unavailable"))->isEnabled());
    QCOMPARE(itemTitled(menu, QStringLiteral("Quick Schedule"))->menu(), controller->quickMenu());
    QVERIFY(controller->observes()
            == (QSet<QString> { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending, kVXObserveNotificationsCurrent,
                                kVXObserveOnDemandAvailable, kVXObserveSchedulerActive }));
    QVERIFY(controller->isSchedulerEnabled());
    QVERIFY(!controller->allEvents().isValid());
}

void tst_TriskVXStatusMenuController::dayGroupsAreSeparated_data()
{
    QTest::addColumn<QList<int>>("days");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("0 0 1 1 3") << QList<int> { 0, 0, 1, 1, 3 }
                               << QStringList { QStringLiteral("Coming up"), QStringLiteral("Event 0"),
                                                QStringLiteral("Event 1"),   QStringLiteral("-"),
                                                QStringLiteral("Event 2"),   QStringLiteral("Event 3"),
                                                QStringLiteral("-"),         QStringLiteral("Event 4") };
    QTest::newRow("2 2") << QList<int> { 2, 2 }
                         << QStringList { QStringLiteral("Coming up"), QStringLiteral("Event 0"),
                                          QStringLiteral("Event 1") };
    QTest::newRow("1 0 (an order the service never sends)")
        << QList<int> { 1, 0 }
        << QStringList { QStringLiteral("Coming up"), QStringLiteral("Event 0"), QStringLiteral("-"),
                         QStringLiteral("Event 1") };
}

void tst_TriskVXStatusMenuController::dayGroupsAreSeparated()
{
    QFETCH(QList<int>, days);
    QFETCH(QStringList, lines);
    auto controller = makeController();
    QVariantList pending;
    for (qsizetype i = 0; i < days.size(); ++i) {
        const QDateTime date(kNow.date().addDays(days.at(i)), QTime(12, int(i)), kNow.timeZone());
        pending.append(queuedTrigger(QString::number(i), date));
    }
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, pending);
    QCOMPARE(linesOf(controller->statusMenu()), lines + kTail);
    QCOMPARE(controller->nextPendingQueuedTrigger(), pending.first());
    // The second line of each item is the trigger's date as the transformer writes it.
    QAction *first = itemTitled(controller->statusMenu(), QStringLiteral("Event 0"));
    QCOMPARE(TriskVXMenuItem::title(first),
             QStringLiteral("Event 0\n") + controller->triggerDateWithQueuedTrigger(pending.first()).toString());
    QCOMPARE(first->data(), pending.first());
    QVERIFY(!first->icon().isNull());
}

void tst_TriskVXStatusMenuController::informationItem_data()
{
    QTest::addColumn<QVariant>("enabled");
    QTest::addColumn<QVariant>("pending");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("toolTip");
    const QString unavailable = QStringLiteral("Schedule unavailable");
    const QString empty = QStringLiteral("Nothing scheduled");
    const QString stopped = QStringLiteral("Scheduler stopped");
    const QString stoppedTip = QStringLiteral("The scheduler is turned off: no event will be performed.");
    QTest::newRow("enabled, nil") << QVariant(true) << QVariant() << unavailable
                                  << QStringLiteral("The scheduler has not reported its pending events yet.");
    QTest::newRow("unknown, nil") << QVariant() << QVariant() << unavailable
                                  << QStringLiteral("The scheduler has not reported its pending events yet.");
    QTest::newRow("enabled, empty") << QVariant(true) << QVariant(QVariantList()) << empty
                                    << QStringLiteral("The scheduler has no pending events.");
    QTest::newRow("stopped, nil") << QVariant(false) << QVariant() << stopped << stoppedTip;
    QTest::newRow("stopped, empty") << QVariant(false) << QVariant(QVariantList()) << stopped << stoppedTip;
}

void tst_TriskVXStatusMenuController::informationItem()
{
    QFETCH(QVariant, enabled);
    QFETCH(QVariant, pending);
    QFETCH(QString, title);
    QFETCH(QString, toolTip);
    auto controller = makeController();
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, pending);
    controller->observedVariableDidBecome(kVXObserveSchedulerEnabled, enabled);
    QCOMPARE(linesOf(controller->statusMenu()), QStringList { title } + kTail);
    QAction *information = itemTitled(controller->statusMenu(), title);
    QCOMPARE(information->toolTip(), toolTip);
    QVERIFY(TriskVXMenuItem::action(information).isEmpty());
    QVERIFY(!controller->nextPendingQueuedTrigger().isValid());
}

void tst_TriskVXStatusMenuController::activeEventWithoutPendingShowsNoInformation()
{
    auto controller = makeController();
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    const QVariantMap performed = eventRecord(QStringLiteral("Nightly backup"), QStringLiteral("E-b"));
    controller->observedVariableDidBecome(kVXObserveSchedulerActive,
                                          QVariantList { QVariantMap { { kVXActiveEventEvent, performed } } });
    // Only the active section: no heading or separator for the empty ones, no information item.
    QCOMPARE(linesOf(controller->statusMenu()),
             QStringList({ QStringLiteral("Being performed"), QStringLiteral("Nightly backup") }) + kTail);
    QAction *item = itemTitled(controller->statusMenu(), QStringLiteral("Nightly backup"));
    QCOMPARE(item->data(), QVariant(performed));
    QVERIFY(TriskVXMenuItem::action(item).isEmpty());
    QVERIFY(!item->isEnabled());
    QVERIFY(!item->icon().isNull());
    QVERIFY(itemTitled(controller->statusMenu(), QStringLiteral("Being performed"))->font().bold());
}

void tst_TriskVXStatusMenuController::onDemandItemsAndSections()
{
    auto controller = makeController();
    const QString longName(70, QLatin1Char('n'));
    const QVariantList onDemand { eventRecord(QStringLiteral("Back up & sleep"), QStringLiteral("E-s")),
                                  eventRecord(longName, QStringLiteral("E-l")) };
    controller->observedVariableDidBecome(kVXObserveOnDemandAvailable, onDemand);
    controller->observedVariableDidBecome(
        kVXObserveSchedulerActive,
        QVariantList {
            QVariantMap { { kVXActiveEventEvent, eventRecord(QStringLiteral("Update"), QStringLiteral("E-u")) } } });
    controller->observedVariableDidBecome(kVXObserveSchedulerPending,
                                          QVariantList { queuedTrigger(QStringLiteral("t"), kNow.addSecs(3600)) });
    QCOMPARE(linesOf(controller->statusMenu()),
             QStringList({ QStringLiteral("Being performed"), QStringLiteral("Update"), QStringLiteral("-"),
                           QStringLiteral("On demand"), QStringLiteral("Back up & sleep"), longName,
                           QStringLiteral("-"), QStringLiteral("Coming up"), QStringLiteral("Event t") })
                 + kTail);
    // Listed as observed: the name is not shortened, "&" is not a mnemonic.
    QAction *sleep = itemTitled(controller->statusMenu(), QStringLiteral("Back up & sleep"));
    QCOMPARE(sleep->text(), QStringLiteral("Back up && sleep"));
    QCOMPARE(TriskVXMenuItem::action(sleep), QStringLiteral("triggerOnDemandNow:"));
    QCOMPARE(TriskVXMenuItem::target(sleep), controller.get());
    QCOMPARE(sleep->data(), onDemand.first());
    QVERIFY(sleep->isEnabled());
}

void tst_TriskVXStatusMenuController::triggerSubmenus_data()
{
    QTest::addColumn<QStringList>("behaviours");
    QTest::addColumn<QStringList>("lines");
    const QStringList triggerItems { QStringLiteral("Cancel This Time"),
                                     QStringLiteral("-"),
                                     QStringLiteral("Delay 5 Minutes"),
                                     QStringLiteral("Delay 15 Minutes"),
                                     QStringLiteral("Delay 1 Hour"),
                                     QStringLiteral("-"),
                                     QStringLiteral("Reset"),
                                     QStringLiteral("Adjust…") };
    QTest::newRow("not on demand") << QStringList() << triggerItems;
    QTest::newRow("on demand") << QStringList { kVXElementBehaviour_CanPerformOnDemand }
                               << QStringList { QStringLiteral("Perform Now"), QStringLiteral("Trigger Now"),
                                                QStringLiteral("-") }
            + triggerItems;
}

void tst_TriskVXStatusMenuController::triggerSubmenus()
{
    QFETCH(QStringList, behaviours);
    QFETCH(QStringList, lines);
    auto controller = makeController();
    const QVariantMap queued = queuedTrigger(QStringLiteral("t"), kNow.addSecs(600), behaviours);
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { queued });
    QAction *pendingItem = itemTitled(controller->statusMenu(), QStringLiteral("Event t"));
    // The submenu comes as the status menu opens, its items as it opens itself, once.
    QVERIFY(!pendingItem->menu());
    // It reads as an item with a submenu all the same: enabled, with its arrow in exported menus.
    QVERIFY(pendingItem->isEnabled());
    QVERIFY(TriskVXMenuItem::hasSubmenu(pendingItem));
    Q_EMIT controller->statusMenu()->aboutToShow();
    QVERIFY(pendingItem->isEnabled());
    QVERIFY(pendingItem->menu() && pendingItem->menu()->actions().isEmpty());
    QMenu *attached = pendingItem->menu();
    Q_EMIT controller->statusMenu()->aboutToShow();
    QCOMPARE(pendingItem->menu(), attached);
    QMenu *submenu = opened(pendingItem);
    QCOMPARE(linesOf(submenu), lines);
    QCOMPARE(linesOf(opened(pendingItem)), lines);
    // Validated as it opens: the controller has every action of the template.
    QVERIFY(itemTitled(submenu, QStringLiteral("Cancel This Time"))->isEnabled());
    const QList<QAction *> items = submenu->actions();
    for (const QAction *item : items)
        QCOMPARE(item->data(), QVariant(queued));
    QCOMPARE(controller->supportsBehaviourWithQueuedTriggerBehaviour(queued, kVXElementBehaviour_CanPerformOnDemand),
             !behaviours.isEmpty());
}

void tst_TriskVXStatusMenuController::quickSubmenuSurvivesRebuilds()
{
    auto controller = makeController();
    QMenu *quick = controller->quickMenu();
    QVERIFY(quick);
    QList<QPointer<QMenu>> menus { controller->statusMenu() };
    for (int i = 0; i < 5; ++i) {
        controller->observedVariableDidBecome(kVXObserveSchedulerPending,
                                              QVariantList { queuedTrigger(QString::number(i), kNow.addSecs(60 * i)) });
        menus.append(controller->statusMenu());
    }
    QCOMPARE(controller->quickMenu(), quick);
    // Before the event loop takes the old menus away, the submenu hangs in exactly one item of all of them.
    int holders = 0;
    for (const QPointer<QMenu> &menu : std::as_const(menus)) {
        QVERIFY(menu);
        const QList<QAction *> items = menu->actions();
        for (const QAction *item : items)
            holders += item->menu() == quick ? 1 : 0;
    }
    QCOMPARE(holders, 1);
    QCOMPARE(itemTitled(controller->statusMenu(), QStringLiteral("Quick Schedule"))->menu(), quick);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    for (qsizetype i = 0; i + 1 < menus.size(); ++i)
        QVERIFY(!menus.at(i));
    QVERIFY(menus.last());
    QVERIFY(!quick->actions().isEmpty());
}

void tst_TriskVXStatusMenuController::removeItemOnlyWithoutTheEditor()
{
    auto controller = makeController();
    QAction *remove = itemTitled(controller->statusMenu(), QStringLiteral("Remove Trisk Notifier…"));
    QVERIFY(remove);
    QVERIFY(!TriskVXMenuItem::isAlternate(remove));
    QCOMPARE(TriskVXMenuItem::keyEquivalentModifierMask(remove), quint64(0));
    QCOMPARE(TriskVXMenuItem::action(remove), QStringLiteral("removeHalvane:"));
    // With the scheduler's editor installed, the removal is its business.
    QFile editor(QDir(m_tools->path()).filePath(QStringLiteral("halvane-editor")));
    QVERIFY(editor.open(QIODevice::WriteOnly));
    editor.write("#!/bin/sh\n");
    editor.close();
    QVERIFY(editor.setPermissions(editor.permissions() | QFileDevice::ExeOwner));
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    QCOMPARE(linesOf(controller->statusMenu()), QStringList({ QStringLiteral("Nothing scheduled") }) + kTail.mid(0, 5));
}

void tst_TriskVXStatusMenuController::longNamesAreShortenedInPendingItemsOnly()
{
    auto controller = makeController();
    const QString name(65, QLatin1Char('x'));
    const QVariantMap queued = queuedTrigger(QStringLiteral("t"), kNow.addSecs(600), {}, name);
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { queued });
    QCOMPARE(controller->eventNameWithQueuedTrigger(queued), QString(64, QLatin1Char('x')) + QChar(0x2026));
    QVERIFY(itemTitled(controller->statusMenu(), QString(64, QLatin1Char('x')) + QChar(0x2026)));
}

void tst_TriskVXStatusMenuController::observedVariablesRebuild()
{
    auto controller = makeController();
    const QVariantList pending { queuedTrigger(QStringLiteral("a"), kNow.addSecs(600)) };
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, pending);
    QCOMPARE(controller->pendingEvents(), QVariant(pending));
    QPointer<QMenu> before = controller->statusMenu();
    // Each of these rebuilds with the pending list kept.
    controller->observedVariableDidBecome(kVXObserveSchedulerEnabled, true);
    QVERIFY(controller->statusMenu() != before.data());
    QVERIFY(itemTitled(controller->statusMenu(), QStringLiteral("Event a")));
    before = controller->statusMenu();
    controller->observedVariableDidBecome(kVXObserveOnDemandAvailable, QVariantList());
    QVERIFY(controller->statusMenu() != before.data());
    QVERIFY(itemTitled(controller->statusMenu(), QStringLiteral("Event a")));
    // The current list does not rebuild; it only sets the title.
    before = controller->statusMenu();
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, pending);
    QCOMPARE(controller->statusMenu(), before.data());
    QCOMPARE(controller->nextCurrentQueuedTrigger(), pending.first());
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList());
    QVERIFY(!controller->nextCurrentQueuedTrigger().isValid());
    // Hidden, the item and its menu go; shown again, the menu is rebuilt from the lists kept.
    controller->hide();
    QVERIFY(!controller->statusItem());
    controller->didShow();
    QVERIFY(controller->statusItem());
    QVERIFY(controller->statusItem()->menu());
    QCOMPARE(linesOf(controller->statusItem()->menu()),
             QStringList({ QStringLiteral("Schedule unavailable") }) + kTail);
}

void tst_TriskVXStatusMenuController::queriesRequireTheirArguments_data()
{
    QTest::addColumn<int>("query");
    QTest::addColumn<QVariant>("argument");
    QTest::addColumn<QString>("assertion");
    const QString nilTrigger = QStringLiteral("Invalid parameter not satisfying: aQueuedTrigger != nil");
    const QVariant noTrigger = QVariantMap { { kVXQueuedTriggerTriggerID, QStringLiteral("t") } };
    QTest::newRow("name, nil") << 0 << QVariant() << nilTrigger;
    QTest::newRow("behaviour, nil") << 1 << QVariant() << nilTrigger;
    QTest::newRow("date, nil") << 2 << QVariant() << nilTrigger;
    QTest::newRow("days, nil") << 3 << QVariant() << nilTrigger;
    QTest::newRow("image URL, nil") << 4 << QVariant() << nilTrigger;
    QTest::newRow("onDemandEvent, nil") << 5 << QVariant()
                                        << QStringLiteral("Invalid parameter not satisfying: anEvent");
    QTest::newRow("date, no trigger") << 2 << noTrigger << QStringLiteral("Trigger is missing");
    QTest::newRow("days, no trigger") << 3 << noTrigger << QStringLiteral("Trigger is missing");
    QTest::newRow("seconds, no trigger") << 6 << noTrigger << QStringLiteral("Trigger is missing");
    QTest::newRow("count-down, no trigger") << 7 << noTrigger << QStringLiteral("Trigger is missing");
    QTest::newRow("count-down, no date") << 7
                                         << QVariant(QVariantMap { { kVXQueuedTriggerTrigger,
                                                                     QVariantMap { { kVXTriggerIdentifier, 1 } } } })
                                         << QStringLiteral("Trigger date is missing");
}

void tst_TriskVXStatusMenuController::queriesRequireTheirArguments()
{
    QFETCH(int, query);
    QFETCH(QVariant, argument);
    QFETCH(QString, assertion);
    auto controller = makeController();
    const QString raised = assertionOf([&] {
        switch (query) {
        case 0:
            controller->eventNameWithQueuedTrigger(argument);
            break;
        case 1:
            controller->supportsBehaviourWithQueuedTriggerBehaviour(argument, kVXElementBehaviour_CanPerformOnDemand);
            break;
        case 2:
            controller->triggerDateWithQueuedTrigger(argument);
            break;
        case 3:
            controller->relativeDaysAwayWithQueuedTrigger(argument);
            break;
        case 4:
            controller->imageURLForQueuedTrigger(argument);
            break;
        case 5:
            controller->onDemandEvent(argument);
            break;
        case 6:
            controller->secondsUntilQueuedTrigger(argument);
            break;
        default:
            controller->countDownTimeForQueuedTrigger(argument);
            break;
        }
    });
    QCOMPARE(raised.section(QLatin1Char('|'), 1), assertion);
    QVERIFY(raised.startsWith(QStringLiteral("TriskVXStatusMenuController")));
}

void tst_TriskVXStatusMenuController::templateRules_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<QString>("assertion");
    QTest::newRow("no placeholder")
        << 0
        << QStringLiteral("TriskVXStatusMenuController|NoPlaceholderController's templateMenu must have a tagged "
                          "placeholder menu item.");
    QTest::newRow("no trigger template")
        << 1
        << QStringLiteral(
               "TriskVXStatusMenuController|NoTriggerTemplateController's triggerTemplateMenu must be connected");
    QTest::newRow("no removal item")
        << 2
        << QStringLiteral(
               "TriskVXStatusMenuController|Invalid parameter not satisfying: removeHalvaneTemplateItem != NULL");
    QTest::newRow("appendRemoveItem without a menu")
        << 3 << QStringLiteral("TriskVXStatusMenuController|Invalid parameter not satisfying: inMenu");
    QTest::newRow("section without a title")
        << 4 << QStringLiteral("TriskVXStatusMenuController|Invalid parameter not satisfying: sectionTitle");
}

void tst_TriskVXStatusMenuController::templateRules()
{
    QFETCH(int, which);
    QFETCH(QString, assertion);
    QString raised;
    switch (which) {
    case 0:
        raised = assertionOf([this] {
            makeController<NoPlaceholderController>();
        });
        break;
    case 1:
        raised = assertionOf([this] {
            makeController<NoTriggerTemplateController>();
        });
        break;
    case 2:
        raised = assertionOf([this] {
            makeController<NoRemoveItemController>();
        });
        break;
    case 3: {
        auto controller = makeController();
        raised = assertionOf([&] {
            controller->appendRemoveItem(nullptr);
        });
        break;
    }
    default: {
        auto controller = makeController();
        QAction item;
        raised = assertionOf([&] {
            controller->encloseMenuItemsAsSection({ &item }, QString(), nullptr);
        });
        QVERIFY(controller->encloseMenuItemsAsSection({}, QStringLiteral("x"), nullptr).isEmpty());
        break;
    }
    }
    QCOMPARE(raised, assertion);
    QVERIFY(m_bar->items().isEmpty() || which >= 3);
}

void tst_TriskVXStatusMenuController::onDemandEventQuery_data()
{
    QTest::addColumn<QVariantMap>("event");
    QTest::addColumn<bool>("expected");
    const QVariantList onDemand { kVXElementBehaviour_CanPerformOnDemand };
    QTest::newRow("enabled, on demand") << QVariantMap { { kVXEventEnabled, true }, { kVXEventBehaviours, onDemand } }
                                        << true;
    QTest::newRow("disabled, on demand") << QVariantMap { { kVXEventEnabled, false }, { kVXEventBehaviours, onDemand } }
                                         << false;
    QTest::newRow("enabled, no behaviour") << QVariantMap { { kVXEventEnabled, true } } << false;
    QTest::newRow("no enabled flag") << QVariantMap { { kVXEventBehaviours, onDemand } } << false;
}

void tst_TriskVXStatusMenuController::onDemandEventQuery()
{
    QFETCH(QVariantMap, event);
    QFETCH(bool, expected);
    auto controller = makeController();
    QCOMPARE(controller->onDemandEvent(event), expected);
}

void tst_TriskVXStatusMenuController::secondsUntilTrigger()
{
    auto controller = makeController();
    QCOMPARE(controller->secondsUntilQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow.addSecs(90))), 90.0);
    QCOMPARE(controller->secondsUntilQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow.addSecs(-30))), -30.0);
    QCOMPARE(controller->secondsUntilQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow.addMSecs(1999))), 1.0);
    QCOMPARE(controller->relativeDaysAwayWithQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow.addDays(2))), 2);
    QCOMPARE(controller->imageURLForQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow)).scheme(),
             TriskVXIImageAssistantSchemeBuiltIn);
    QCOMPARE(controller->triggerIDForIBAction(this), QVariant());
}

void tst_TriskVXStatusMenuController::templatesStayPristine()
{
    auto controller = makeController();
    const qsizetype templateItems = controller->templateMenu()->actions().size();
    const qsizetype triggerItems = controller->triggerTemplateMenu()->actions().size();
    controller->observedVariableDidBecome(kVXObserveSchedulerPending,
                                          QVariantList { queuedTrigger(QStringLiteral("t"), kNow.addSecs(60),
                                                                       { kVXElementBehaviour_CanPerformOnDemand }) });
    QVERIFY(!linesOf(opened(itemTitled(controller->statusMenu(), QStringLiteral("Event t")))).isEmpty());
    QCOMPARE(controller->templateMenu()->actions().size(), templateItems);
    QCOMPARE(controller->triggerTemplateMenu()->actions().size(), triggerItems);
    const QList<QAction *> items = controller->triggerTemplateMenu()->actions();
    for (const QAction *item : items)
        QVERIFY(!item->data().isValid());
}

void tst_TriskVXStatusMenuController::countDownText_data()
{
    QTest::addColumn<qint64>("secondsBefore");
    QTest::addColumn<QString>("text");
    QTest::newRow("2 h 5 min 9 s") << qint64(2 * 3600 + 5 * 60 + 9) << QStringLiteral("2:05:09");
    QTest::newRow("59 min 59 s") << qint64(59 * 60 + 59) << QStringLiteral("59:59");
    QTest::newRow("42 s") << qint64(42) << QStringLiteral("0:42");
    QTest::newRow("30 h") << qint64(30 * 3600) << QStringLiteral("30:00:00");
    QTest::newRow("1 min") << qint64(60) << QStringLiteral("1:00");
    QTest::newRow("at the time") << qint64(0) << QString();
    QTest::newRow("after it") << qint64(-5) << QString();
}

void tst_TriskVXStatusMenuController::countDownText()
{
    QFETCH(qint64, secondsBefore);
    QFETCH(QString, text);
    auto controller = makeController();
    QCOMPARE(controller->countDownTimeForQueuedTrigger(queuedTrigger(QStringLiteral("t"), kNow.addSecs(secondsBefore))),
             text);
    QCOMPARE(controller->countDownTimeForQueuedTrigger(QVariant()), QString());
}

void tst_TriskVXStatusMenuController::countDownRunsOnlyForTheCurrentNotification()
{
    auto controller = makeController();
    const QVariantMap next = queuedTrigger(QStringLiteral("n"), kNow.addSecs(125));
    const QVariantMap later = queuedTrigger(QStringLiteral("l"), kNow.addSecs(3600));
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { next, later });
    // Pending, not yet the current notification: picture and tool tip, no text, no timer.
    QVERIFY(!controller->countDownTimer());
    QCOMPARE(controller->statusItem()->title(), QString());
    QCOMPARE(controller->statusItem()->toolTip(),
             QStringLiteral("Next: Event n, %1").arg(controller->triggerDateWithQueuedTrigger(next).toString()));
    QVERIFY(!controller->statusItem()->image().isNull());
    // Its notice period begins: the count-down runs, once a second.
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList { next });
    QTimer *timer = controller->countDownTimer();
    QVERIFY(timer && timer->isActive());
    QCOMPARE(timer->interval(), 1000);
    QCOMPARE(controller->statusItem()->title(), QStringLiteral("2:05"));
    m_clock->advance(1000);
    controller->updateTitleCountDownText(timer);
    QCOMPARE(controller->statusItem()->title(), QStringLiteral("2:04"));
    // A later trigger as the current one stops it.
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList { later });
    QVERIFY(!controller->countDownTimer());
    // Nothing pending: the timer is left as it was (already none here) and the title empties.
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList { next });
    QVERIFY(controller->countDownTimer());
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    QCOMPARE(controller->statusItem()->title(), QString());
    QCOMPARE(controller->statusItem()->toolTip(), QString());
    QVERIFY(controller->countDownTimer());
    controller->updateTitleCountDownText(controller->countDownTimer());
    QCOMPARE(controller->statusItem()->title(), QString());
}

void tst_TriskVXStatusMenuController::performingTitleWinsUntilTheNextTick()
{
    auto controller = makeController();
    const QVariantMap next = queuedTrigger(QStringLiteral("n"), kNow.addSecs(42));
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { next });
    controller->observedVariableDidBecome(kVXObserveNotificationsCurrent, QVariantList { next });
    QCOMPARE(controller->statusItem()->title(), QStringLiteral("0:42"));
    const QVariantList active {
        QVariantMap { { kVXActiveEventEvent, eventRecord(QStringLiteral("A"), QStringLiteral("E-a")) } },
        QVariantMap { { kVXActiveEventEvent, eventRecord(QStringLiteral("B"), QStringLiteral("E-b")) } }
    };
    controller->observedVariableDidBecome(kVXObserveSchedulerActive, active);
    QCOMPARE(controller->statusItem()->title(), QStringLiteral("Performing 2"));
    QVERIFY(controller->countDownTimer() && controller->countDownTimer()->isActive());
    // The cog stands beside the picture.
    QVERIFY(controller->statusItem()->image().width() > int(controller->imageSizeForMenuStatus()));
    controller->updateTitleCountDownText(controller->countDownTimer());
    QCOMPARE(controller->statusItem()->title(), QStringLiteral("0:42"));
}

void tst_TriskVXStatusMenuController::stoppedAndEmptyPictures_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("image");
    QTest::newRow("stopped") << false << kVXElementImage_Stopped;
    QTest::newRow("nothing scheduled") << true << kVXElementImage_None;
}

void tst_TriskVXStatusMenuController::stoppedAndEmptyPictures()
{
    QFETCH(bool, enabled);
    QFETCH(QString, image);
    auto controller = makeController();
    controller->observedVariableDidBecome(kVXObserveSchedulerEnabled, enabled);
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    const QImage shown = controller->statusItem()->image();
    QVERIFY(TriskVXIImageAssistant::isTemplate(shown));
    QVERIFY(controller->statusItem()->alternateImage().isNull());
    QCOMPARE(controller->statusItem()->toolTip(), QString());
    const double size = controller->imageSizeForMenuStatus();
    const QImage expected = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(image), QSizeF(size, size),
        TriskVXIImageAssistantVariationNone);
    QCOMPARE(shown.convertToFormat(QImage::Format_ARGB32), expected.convertToFormat(QImage::Format_ARGB32));
}

void tst_TriskVXStatusMenuController::performingImageLayout()
{
    const auto layout = TriskVXStatusMenuController::performingImageLayout(QSizeF(20, 18), QSizeF(18, 18));
    QCOMPARE(layout.size, QSizeF(44, 18));
    QCOMPARE(layout.baseOrigin, QPointF(2, 0));
    QCOMPARE(layout.cogOrigin, QPointF(24, 0));
    QCOMPARE(TriskVXStatusMenuController::performingImageLayout(QSizeF(10, 30), QSizeF(18, 18)).size, QSizeF(31, 30));
}

void tst_TriskVXStatusMenuController::performingImageIsDrawn()
{
    auto controller = makeController();
    controller->setImageSizeForMenuStatus(18);
    QImage base(20, 18, QImage::Format_ARGB32_Premultiplied);
    base.fill(Qt::red);
    QImage combined = controller->appendPerformingImageVariation(base, TriskVXIImageAssistantVariationNone);
    QCOMPARE(combined.size(), QSize(44, 18));
    QCOMPARE(combined.pixelColor(1, 9).alpha(), 0);
    QCOMPARE(combined.pixelColor(2, 9), QColor(Qt::red));
    QCOMPARE(combined.pixelColor(21, 9), QColor(Qt::red));
    QCOMPARE(combined.pixelColor(23, 9).alpha(), 0);
    // The cog's middle column, somewhere, is drawn.
    bool cogDrawn = false;
    for (int y = 0; y < 18; ++y)
        cogDrawn = cogDrawn || combined.pixelColor(24 + 9, y).alpha() > 0;
    QVERIFY(cogDrawn);
    QVERIFY(!TriskVXIImageAssistant::isTemplate(combined));
    TriskVXIImageAssistant::setTemplate(base, true);
    QVERIFY(TriskVXIImageAssistant::isTemplate(
        controller->appendPerformingImageVariation(base, TriskVXIImageAssistantVariationNone)));
}

void tst_TriskVXStatusMenuController::actionsSendTheirRequests_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("onDemandSection");
    QTest::addColumn<QString>("request");
    QTest::addColumn<QVariantMap>("parameters");
    const QString id = QStringLiteral("t");
    QTest::newRow("cancel") << QStringLiteral("Cancel This Time") << false << kVXRPCSchedulerCancel
                            << QVariantMap { { kVXRPCParameterTriggerID, id } };
    QTest::newRow("reset") << QStringLiteral("Reset") << false << kVXRPCSchedulerReset
                           << QVariantMap { { kVXRPCParameterTriggerID, id } };
    QTest::newRow("trigger now") << QStringLiteral("Trigger Now") << false << kVXRPCOnDemandPerform
                                 << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("E-t") },
                                                  { kVXRPCParameterApplyCriteria, true } };
    QTest::newRow("perform now") << QStringLiteral("Perform Now") << false << kVXRPCOnDemandPerform
                                 << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("E-t") } };
    QTest::newRow("on-demand item") << QStringLiteral("Sleep") << true << kVXRPCOnDemandPerform
                                    << QVariantMap { { kVXRPCParameterUniqueID, QStringLiteral("E-s") },
                                                     { kVXRPCParameterApplyCriteria, true } };
}

void tst_TriskVXStatusMenuController::actionsSendTheirRequests()
{
    QFETCH(QString, title);
    QFETCH(bool, onDemandSection);
    QFETCH(QString, request);
    QFETCH(QVariantMap, parameters);
    QVERIFY(connectToFake());
    auto controller = makeController(m_requests.get());
    controller->observedVariableDidBecome(kVXObserveOnDemandAvailable,
                                          QVariantList { eventRecord(QStringLiteral("Sleep"), QStringLiteral("E-s")) });
    controller->observedVariableDidBecome(kVXObserveSchedulerPending,
                                          QVariantList { queuedTrigger(QStringLiteral("t"), kNow.addSecs(600),
                                                                       { kVXElementBehaviour_CanPerformOnDemand }) });
    QMenu *menu = onDemandSection ? controller->statusMenu()
                                  : opened(itemTitled(controller->statusMenu(), QStringLiteral("Event t")));
    QAction *item = itemTitled(menu, title);
    QVERIFY(item);
    TriskVXMenuItem::validateMenu(menu);
    QVERIFY(item->isEnabled());
    item->trigger();
    QVERIFY(waitFor([this] {
        return !m_fake->received().isEmpty();
    }));
    QCOMPARE(m_fake->received().size(), 1);
    QCOMPARE(m_fake->received().first().request, request);
    QCOMPARE(m_fake->received().first().parameters, parameters);
}

void tst_TriskVXStatusMenuController::delayAddsToTheTriggerDate_data()
{
    QTest::addColumn<int>("tag");
    QTest::addColumn<QDateTime>("expected");
    const QDateTime due(QDate(2026, 11, 21), QTime(10, 0), QTimeZone("Europe/Berlin"));
    QTest::newRow("900") << 900 << due.addSecs(900);
    QTest::newRow("0") << 0 << due;
    QTest::newRow("-60") << -60 << due.addSecs(-60);
}

void tst_TriskVXStatusMenuController::delayAddsToTheTriggerDate()
{
    QFETCH(int, tag);
    QFETCH(QDateTime, expected);
    QVERIFY(connectToFake());
    auto controller = makeController(m_requests.get());
    const QDateTime due(QDate(2026, 11, 21), QTime(10, 0), QTimeZone("Europe/Berlin"));
    const QVariantMap queued = queuedTrigger(QStringLiteral("t"), due);
    // Whatever the present time.
    m_clock->setNow(due.addSecs(-7 * 3600 + 13));
    QAction item;
    item.setData(queued);
    TriskVXMenuItem::setTag(&item, tag);
    controller->delay(&item);
    QVERIFY(waitFor([this] {
        return !m_fake->received().isEmpty();
    }));
    QCOMPARE(m_fake->received().first().request, kVXRPCSchedulerAdjust);
    QCOMPARE(m_fake->received().first().parameters.value(kVXRPCParameterTriggerID), QVariant(QStringLiteral("t")));
    QCOMPARE(m_fake->received().first().parameters.value(kVXRPCParameterDate).toDateTime(), expected);
    // The template's 15-minute item carries 900.
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { queued });
    QAction *fifteen = itemTitled(opened(itemTitled(controller->statusMenu(), QStringLiteral("Event t"))),
                                  QStringLiteral("Delay 15 Minutes"));
    QCOMPARE(TriskVXMenuItem::tag(fifteen), 900);
}

void tst_TriskVXStatusMenuController::actionsWithoutTriggerID_data()
{
    QTest::addColumn<int>("action");
    QTest::addColumn<QString>("assertion");
    QTest::newRow("cancel:") << 0 << QStringLiteral("TriskVXStatusMenuController's cancel: trigger ID missing");
    QTest::newRow("delay:") << 1 << QStringLiteral("TriskVXStatusMenuController's cancel: trigger ID missing");
    QTest::newRow("reset:") << 2 << QStringLiteral("TriskVXStatusMenuController's reset: trigger ID missing");
}

void tst_TriskVXStatusMenuController::actionsWithoutTriggerID()
{
    QFETCH(int, action);
    QFETCH(QString, assertion);
    auto controller = makeController();
    QAction item;
    const QString raised = assertionOf([&] {
        if (action == 0)
            controller->cancel(&item);
        else if (action == 1)
            controller->delay(&item);
        else
            controller->reset(&item);
    });
    QCOMPARE(raised, QStringLiteral("TriskVXStatusMenuController|") + assertion);
}

void tst_TriskVXStatusMenuController::validation_data()
{
    QTest::addColumn<QString>("selector");
    QTest::addColumn<QVariant>("preference");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("cancel:") << QStringLiteral("cancel:") << QVariant() << true;
    QTest::newRow("not implemented") << QStringLiteral("frobnicate:") << QVariant() << false;
    QTest::newRow("no action") << QString() << QVariant() << false;
    QTest::newRow("openHalvane: (superclass)") << QStringLiteral("openHalvane:") << QVariant() << true;
    QTest::newRow("updates, never chosen") << QStringLiteral("checkForUpdates:") << QVariant() << true;
    QTest::newRow("updates, false") << QStringLiteral("checkForUpdates:") << QVariant(false) << false;
    QTest::newRow("updates, true") << QStringLiteral("checkForUpdates:") << QVariant(true) << true;
}

void tst_TriskVXStatusMenuController::validation()
{
    QFETCH(QString, selector);
    QFETCH(QVariant, preference);
    QFETCH(bool, enabled);
    if (preference.isValid()) {
        QFile domain(TriskVXWorkspace::workspace()->preferencesFile());
        QVERIFY(domain.open(QIODevice::WriteOnly));
        domain.write(plist("<dict><key>" + kVXPreferencesKeySoftwareUpdateCheck.toUtf8() + "</key>"
                           + (preference.toBool() ? "<true/>" : "<false/>") + "</dict>"));
    }
    auto controller = makeController();
    QAction item;
    TriskVXMenuItem::setTargetAction(&item, controller.get(), selector);
    QCOMPARE(controller->validateMenuItem(&item), enabled);
    // Automatic enabling asks the controller.
    QMenu menu;
    menu.addAction(&item);
    item.setEnabled(!enabled);
    TriskVXMenuItem::validateMenu(&menu);
    QCOMPARE(item.isEnabled(), enabled);
    QCOMPARE(assertionOf([&] {
                 controller->validateMenuItem(nullptr);
             }),
             QStringLiteral("TriskVXStatusMenuController|Invalid parameter not satisfying: menuItem"));
}

void tst_TriskVXStatusMenuController::workspaceActions()
{
    auto controller = makeController();
    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    QSignalSpy quick(workspace, &TriskVXWorkspace::quickScheduleRequested);
    QSignalSpy updates(workspace, &TriskVXWorkspace::softwareUpdateCheckRequested);
    itemTitled(controller->statusMenu(), QStringLiteral("Quick Schedule"))->trigger();
    QCOMPARE(quick.size(), 1);
    itemTitled(controller->quickMenu(), QStringLiteral("More Quick Schedule…"))->trigger();
    QCOMPARE(quick.size(), 2);
    itemTitled(controller->statusMenu(), QStringLiteral("Check for Updates…"))->trigger();
    QCOMPARE(updates.size(), 1);
    // adjust: opens the workspace's dialog for the trigger.
    controller->observedVariableDidBecome(kVXObserveSchedulerPending,
                                          QVariantList { queuedTrigger(QStringLiteral("t"), kNow.addSecs(600)) });
    itemTitled(opened(itemTitled(controller->statusMenu(), QStringLiteral("Event t"))), QStringLiteral("Adjust…"))
        ->trigger();
    QVERIFY(workspace->adjustDialogForTrigger(QStringLiteral("t")));
    delete workspace->adjustDialogForTrigger(QStringLiteral("t"));
}

void tst_TriskVXStatusMenuController::quickMenuWithoutTemplates()
{
    auto controller = makeController();
    QMenu *quick = controller->quickMenu();
    QCOMPARE(quick->title(), QStringLiteral("Quick Schedule"));
    QVERIFY(!TriskVXMenuItem::autoenablesItems(quick));
    const QList<QAction *> items = quick->actions();
    QCOMPARE(items.size(), 6);
    const QList<quint64> masks { 0, TriskVXMenuItem::kOptionKeyMask, TriskVXMenuItem::kCommandKeyMask,
                                 TriskVXMenuItem::kShiftKeyMask };
    const QList<int> minutes { 10, 30, 60, 2 };
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(TriskVXMenuItem::title(items.at(i)), QStringLiteral("In %1 minutes:").arg(minutes.at(i)));
        QVERIFY(!items.at(i)->isEnabled());
        QCOMPARE(TriskVXMenuItem::isAlternate(items.at(i)), i != 0);
        QCOMPARE(TriskVXMenuItem::keyEquivalentModifierMask(items.at(i)), masks.at(i));
    }
    QVERIFY(items.at(4)->isSeparator());
    QCOMPARE(TriskVXMenuItem::title(items.at(5)), QStringLiteral("More Quick Schedule…"));
    QCOMPARE(TriskVXMenuItem::action(items.at(5)), QStringLiteral("quickSchedule:"));
    // One heading line shows at a time.
    QCOMPARE(
        linesOf(quick),
        QStringList({ QStringLiteral("In 10 minutes:"), QStringLiteral("-"), QStringLiteral("More Quick Schedule…") }));
    QCOMPARE(TriskVXStatusMenuController::alternateModifierMaskAt(4), TriskVXMenuItem::kControlKeyMask);
    QCOMPARE(TriskVXStatusMenuController::alternateModifierMaskAt(5), quint64(0));
}

void tst_TriskVXStatusMenuController::quickTemplatesAreReadInOrder()
{
    writeTemplate(quickFolder(), QStringLiteral("b.halvaneevent"),
                  plist("<dict><key>Name</key><string>Bundle B</string><key>Notes</key><string>Notes of B</string>"
                        "<key>Image</key><string>sleep</string></dict>"));
    writeTemplate(quickFolder(), QStringLiteral("a.halvaneschedule"),
                  plist("<array><dict><key>Name</key><string>Bundle A1</string></dict>"
                        "<dict><key>Notes</key><string>no name</string></dict>"
                        "<dict><key>Name</key><string>Bundle A2</string></dict></array>"));
    writeTemplate(quickFolder(), QStringLiteral("ignored.txt"),
                  plist("<dict><key>Name</key><string>X</string></dict>"));
    writeTemplate(userQuickFolder(), QStringLiteral("mine.halvaneevent"),
                  plist("<dict><key>Name</key><string>Mine</string></dict>"));
    auto controller = makeController();
    const QVariantList events = controller->quickScheduleEvents();
    QStringList names;
    for (const QVariant &event : events)
        names.append(event.toMap().value(kVXEventName).toString());
    QCOMPARE(names,
             QStringList({ QStringLiteral("Bundle A1"), QString(), QStringLiteral("Bundle A2"),
                           QStringLiteral("Bundle B"), QStringLiteral("Mine") }));
    // The nameless one is left out of the menu; each event has one line, four items.
    QCOMPARE(linesOf(controller->quickMenu()),
             QStringList({ QStringLiteral("In 10 minutes:"), QStringLiteral("Bundle A1 in 10 minutes"),
                           QStringLiteral("Bundle A2 in 10 minutes"), QStringLiteral("Bundle B in 10 minutes"),
                           QStringLiteral("Mine in 10 minutes"), QStringLiteral("-"),
                           QStringLiteral("More Quick Schedule…") }));
    QCOMPARE(controller->quickMenu()->actions().size(), 4 + 4 * 4 + 2);
    int withNotes = 0;
    const QList<QAction *> items = controller->quickMenu()->actions();
    for (const QAction *item : items) {
        if (item->data().toMap().value(kVXEventName) == QVariant(QStringLiteral("Bundle B"))) {
            QCOMPARE(item->toolTip(), QStringLiteral("Notes of B"));
            QVERIFY(!item->icon().isNull());
            ++withNotes;
        } else if (!item->data().isNull()) {
            // No tool tip of its own: Qt shows the title.
            QCOMPARE(item->toolTip(), TriskVXMenuItem::title(item));
        }
    }
    QCOMPARE(withNotes, 4);
}

void tst_TriskVXStatusMenuController::brokenTemplatesAreLeftOut_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("schedule with a string")
        << QStringLiteral("mixed.halvaneschedule")
        << plist("<array><dict><key>Name</key><string>Kept out</string></dict><string>odd</string></array>");
    QTest::newRow("schedule that is a dictionary")
        << QStringLiteral("dict.halvaneschedule") << plist("<dict><key>Name</key><string>Kept out</string></dict>");
    QTest::newRow("event that is an array")
        << QStringLiteral("array.halvaneevent")
        << plist("<array><dict><key>Name</key><string>Kept out</string></dict></array>");
    QTest::newRow("not a property list") << QStringLiteral("broken.halvaneevent") << QByteArray("<plist><dict><key>");
}

void tst_TriskVXStatusMenuController::brokenTemplatesAreLeftOut()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, contents);
    writeTemplate(quickFolder(), file, contents);
    writeTemplate(quickFolder(), QStringLiteral("z.halvaneevent"),
                  plist("<dict><key>Name</key><string>Good</string></dict>"));
    LogCapture log;
    auto controller = makeController();
    const QVariantList events = controller->quickScheduleEvents();
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().toMap().value(kVXEventName), QVariant(QStringLiteral("Good")));
    // Said, with the file, and the file left as it was.
    QVERIFY(!log.messages("trisk.statusmenu").filter(file).isEmpty());
    QFile kept(QDir(quickFolder()).filePath(file));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), contents);
}

void tst_TriskVXStatusMenuController::quickAlternatesFollowModifiers_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QString>("line");
    QTest::newRow("none") << QList<int>() << QStringLiteral("In 10 minutes:") << QStringLiteral("Nap in 10 minutes");
    QTest::newRow("Option (Alt)") << QList<int> { Qt::Key_Alt } << QStringLiteral("In 30 minutes:")
                                  << QStringLiteral("Nap in 30 minutes");
    QTest::newRow("Command (Meta)") << QList<int> { Qt::Key_Meta } << QStringLiteral("In 60 minutes:")
                                    << QStringLiteral("Nap in 60 minutes");
    QTest::newRow("Shift") << QList<int> { Qt::Key_Shift } << QStringLiteral("In 2 minutes:")
                           << QStringLiteral("Nap in 2 minutes");
    QTest::newRow("Control (no fifth delay)")
        << QList<int> { Qt::Key_Control } << QStringLiteral("In 10 minutes:") << QStringLiteral("Nap in 10 minutes");
    QTest::newRow("Alt+Shift (no such row)") << QList<int> { Qt::Key_Alt, Qt::Key_Shift }
                                             << QStringLiteral("In 10 minutes:") << QStringLiteral("Nap in 10 minutes");
}

namespace {
Qt::KeyboardModifier modifierOfKey(int key)
{
    switch (key) {
    case Qt::Key_Alt:
        return Qt::AltModifier;
    case Qt::Key_Meta:
        return Qt::MetaModifier;
    case Qt::Key_Shift:
        return Qt::ShiftModifier;
    default:
        return Qt::ControlModifier;
    }
}

// Presses (or releases) the keys one after the other as a keyboard would: each event carries the
// modifiers held before it.
Qt::KeyboardModifiers sendModifierKeys(QMenu *menu, const QList<int> &keys, QEvent::Type type,
                                       Qt::KeyboardModifiers held = Qt::NoModifier)
{
    for (int key : keys) {
        QKeyEvent event(type, key, held);
        QCoreApplication::sendEvent(menu, &event);
        held ^= modifierOfKey(key);
    }
    return held;
}
} // namespace

void tst_TriskVXStatusMenuController::quickAlternatesFollowModifiers()
{
    QFETCH(QList<int>, keys);
    QFETCH(QString, heading);
    QFETCH(QString, line);
    writeTemplate(quickFolder(), QStringLiteral("nap.halvaneevent"),
                  plist("<dict><key>Name</key><string>Nap</string></dict>"));
    auto controller = makeController();
    QMenu *quick = controller->quickMenu();
    const Qt::KeyboardModifiers held = sendModifierKeys(quick, keys, QEvent::KeyPress);
    QCOMPARE(linesOf(quick),
             QStringList({ heading, line, QStringLiteral("-"), QStringLiteral("More Quick Schedule…") }));
    QList<int> reversed(keys.rbegin(), keys.rend());
    QCOMPARE(sendModifierKeys(quick, reversed, QEvent::KeyRelease, held), Qt::KeyboardModifiers(Qt::NoModifier));
    QCOMPARE(linesOf(quick).mid(0, 2),
             QStringList({ QStringLiteral("In 10 minutes:"), QStringLiteral("Nap in 10 minutes") }));
}

void tst_TriskVXStatusMenuController::exportedQuickMenuShowsEveryDelay()
{
    writeTemplate(quickFolder(), QStringLiteral("nap.halvaneevent"),
                  plist("<dict><key>Name</key><string>Nap</string></dict>"));
    auto controller = makeController();
    TriskVXMenuAlternates *alternates = TriskVXMenuAlternates::of(controller->quickMenu());
    QVERIFY(alternates);
    alternates->setPresentation(TriskVXMenuAlternates::ShowAll);
    QCOMPARE(linesOf(controller->quickMenu()),
             QStringList({ QStringLiteral("Nap in 10 minutes"), QStringLiteral("Nap in 30 minutes"),
                           QStringLiteral("Nap in 60 minutes"), QStringLiteral("Nap in 2 minutes"), QStringLiteral("-"),
                           QStringLiteral("More Quick Schedule…") }));
    alternates->setPresentation(TriskVXMenuAlternates::FollowModifiers);
    QCOMPARE(linesOf(controller->quickMenu()).size(), 4);
}

void tst_TriskVXStatusMenuController::quickScheduleStoresAOnceTrigger()
{
    writeTemplate(quickFolder(), QStringLiteral("nap.halvaneevent"),
                  plist("<dict><key>Name</key><string>Nap</string><key>Triggers</key><array><dict><key>Type</key>"
                        "<string>Daily</string></dict></array></dict>"));
    QVERIFY(connectToFake());
    auto controller = makeController(m_requests.get());
    m_clock->setNow(QDateTime(QDate(2026, 11, 21), QTime(12, 0), QTimeZone("Europe/Berlin")));
    sendModifierKeys(controller->quickMenu(), { Qt::Key_Shift }, QEvent::KeyPress);
    QAction *twoMinutes = itemTitled(controller->quickMenu(), QStringLiteral("Nap in 2 minutes"));
    QVERIFY(twoMinutes && twoMinutes->isVisible());
    QCOMPARE(TriskVXMenuItem::keyEquivalentModifierMask(twoMinutes), TriskVXMenuItem::kShiftKeyMask);
    twoMinutes->trigger();
    QVERIFY(waitFor([this] {
        return !m_fake->received().isEmpty();
    }));
    const FakeScheduler::Received received = m_fake->received().first();
    QCOMPARE(received.request, kVXRPCEventStoreStore);
    const QVariantList stored = received.parameters.value(kVXRPCParameterEvents).toList();
    QCOMPARE(stored.size(), 1);
    const QVariantMap event = stored.first().toMap();
    QCOMPARE(event.value(kVXEventName), QVariant(QStringLiteral("Nap")));
    const QVariantList triggers = event.value(kVXEventTriggers).toList();
    QCOMPARE(triggers.size(), 1);
    QCOMPARE(triggers.first().toMap().value(kVXTriggerType), QVariant(kVXTriggerType_Once));
    QCOMPARE(triggers.first().toMap().value(kVXTriggerDate).toDateTime(),
             QDateTime(QDate(2026, 11, 21), QTime(12, 2), QTimeZone("Europe/Berlin")));
}

void tst_TriskVXStatusMenuController::quickScheduleIgnoresBadItems_data()
{
    QTest::addColumn<int>("tag");
    QTest::addColumn<QVariant>("represented");
    QTest::newRow("tag 0") << 0 << QVariant(QVariantMap { { kVXEventName, QStringLiteral("Nap") } });
    QTest::newRow("negative tag") << -10 << QVariant(QVariantMap { { kVXEventName, QStringLiteral("Nap") } });
    QTest::newRow("not a dictionary") << 10 << QVariant(QStringLiteral("Nap"));
    QTest::newRow("nothing") << 10 << QVariant();
}

void tst_TriskVXStatusMenuController::quickScheduleIgnoresBadItems()
{
    QFETCH(int, tag);
    QFETCH(QVariant, represented);
    QVERIFY(connectToFake());
    auto controller = makeController(m_requests.get());
    QAction item;
    TriskVXMenuItem::setTag(&item, tag);
    item.setData(represented);
    controller->quickScheduleWithEvent(&item);
    controller->quickScheduleWithEvent(nullptr);
    QCOMPARE(m_requests->pending(), quint64(0));
    // A request that does go out shows the fake is listening.
    m_requests->cancelTrigger(QStringLiteral("x"));
    QVERIFY(waitFor([this] {
        return !m_fake->received().isEmpty();
    }));
    QCOMPARE(m_fake->received().size(), 1);
    QCOMPARE(m_fake->received().first().request, kVXRPCSchedulerCancel);
}

int main(int argc, char *argv[])
{
    // The build's resources, with a Quick Schedule folder that each test fills itself.
    NotifierResources resources;
    gResources = &resources;
    writeInterface(QStringLiteral("NoPlaceholderController"),
                   QStringLiteral("<property name=\"tag\" stdset=\"0\"><number>1</number></property>\n  "
                                  "</action>\n  <action name=\"quickScheduleItem\">"),
                   QStringLiteral("</action>\n  <action name=\"quickScheduleItem\">"));
    writeInterface(QStringLiteral("NoTriggerTemplateController"), QStringLiteral("name=\"triggerTemplateMenu\""),
                   QStringLiteral("name=\"otherMenu\""));
    writeInterface(QStringLiteral("NoRemoveItemController"), QStringLiteral("name=\"removeHalvaneTemplateItem\""),
                   QStringLiteral("name=\"otherItem\""));
    writeInterface(QStringLiteral("NoDefaultsController"), QString(), QString());
    resources.use();
    QApplication application(argc, argv);
    tst_TriskVXStatusMenuController test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TriskVXStatusMenuController.moc"
