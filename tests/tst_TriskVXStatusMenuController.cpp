// The status menu notifier fed reports by hand, for the states and limits the real halvaned does not reach
// at will; what its items ask of the service is tested in tst_StatusMenuIntegration.
#include "LogCapture.h"
#include "MenuLines.h"
#include "NotifierResources.h"
#include "TriskVXAdjustDialog.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
NotifierResources *gResources = nullptr;

const QDateTime kNow(QDate(2026, 11, 21), QTime(9, 0), QTimeZone("Europe/Berlin"));

QVariantMap eventRecord(const QString &name, const QString &uniqueID)
{
    return { { kVXEventName, name }, { kVXEventUniqueID, uniqueID }, { kVXEventEnabled, true } };
}

QVariantMap queuedTrigger(const QString &id, const QDateTime &date, const QString &name = QString())
{
    return { { kVXQueuedTriggerTriggerID, id },
             { kVXQueuedTriggerEvent, eventRecord(name.isEmpty() ? u"Event "_s + id : name, id) },
             { kVXQueuedTriggerTrigger, QVariantMap { { kVXTriggerDate, date.toUTC() } } } };
}

QVariant pendingOn(const QList<int> &days)
{
    QVariantList pending;
    for (qsizetype i = 0; i < days.size(); ++i)
        pending.append(queuedTrigger(QString::number(i),
                                     QDateTime(kNow.date().addDays(days.at(i)), QTime(12, int(i)), kNow.timeZone())));
    return pending;
}

QVariantList activeEvents(const QStringList &names)
{
    QVariantList active;
    for (const QString &name : names)
        active.append(QVariantMap { { kVXActiveEventEvent, eventRecord(name, name) } });
    return active;
}

QByteArray plist(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\">" + body + "</plist>";
}

bool settled(const TriskVXStatusMenuController &controller)
{
    return waitFor([&controller] {
        return !controller.isRebuildScheduled();
    });
}

void report(TriskVXStatusMenuController &controller, const QString &variable, const QVariant &value)
{
    controller.observedVariableDidBecome(variable, value);
    QVERIFY(settled(controller));
}

const QStringList kTail = u"-|Quick Schedule|-|Open Halvane…|Check for Updates…|-|Remove Trisk Notifier…"_s.split(u'|');
} // namespace

class tst_TriskVXStatusMenuController : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void menuLines_data();
    void menuLines();
    void longSectionsEndInACount_data();
    void longSectionsEndInACount();
    void rebuildsAndValidation();
    void toolItemsNeedTheirTool_data();
    void toolItemsNeedTheirTool();
    void titleFollowsTheCurrentNotification();
    void widthEasesAndLandsOneSecondAfterTheLastChange();
    void brokenTemplatesAreLeftOut();
    void quickAlternatesFollowModifiers_data();
    void quickAlternatesFollowModifiers();

private:
    std::unique_ptr<TriskVXStatusMenuController> makeController();
    QString quickFolder() const { return gResources->quickScheduleFolder(); }

    TriskVXClock m_clock;
    std::unique_ptr<TriskVXStatusBar> m_bar;
    std::unique_ptr<QTemporaryDir> m_home;
};

std::unique_ptr<TriskVXStatusMenuController> tst_TriskVXStatusMenuController::makeController()
{
    auto controller = std::make_unique<TriskVXStatusMenuController>();
    controller->setStatusBar(m_bar.get());
    controller->setClock(&m_clock);
    if (!controller->initWithObserverRequests(nullptr, nullptr))
        return nullptr;
    return controller;
}

void tst_TriskVXStatusMenuController::init()
{
    m_clock.setTimeZone(kNow.timeZone());
    m_clock.setNow(kNow);
    m_bar = std::make_unique<TriskVXStatusBar>();
    m_bar->setThickness(24.0);
    m_home = std::make_unique<QTemporaryDir>();
    TriskVXWorkspace::workspace()->setToolSearchPath({});
    TriskVXWorkspace::workspace()->setPreferencesDirectory(m_home->path());
    QDir(quickFolder()).removeRecursively();
}

void tst_TriskVXStatusMenuController::menuLines_data()
{
    QTest::addColumn<QVariant>("enabled");
    QTest::addColumn<QVariant>("pending");
    QTest::addColumn<QStringList>("active");
    QTest::addColumn<QVariantList>("onDemand");
    QTest::addColumn<QString>("lines");
    QTest::addColumn<QString>("image");
    const QVariant none;
    const QVariant empty = QVariantList();
    const QVariantList sleep { eventRecord(u"Sleep"_s, u"s"_s) };
    QTest::newRow("before any report") << none << none << QStringList() << QVariantList() << u"Schedule unavailable"_s
                                       << kVXElementImage_None;
    QTest::newRow("stopped, nothing reported") << QVariant(false) << none << QStringList() << QVariantList()
                                               << u"Scheduler stopped"_s << kVXElementImage_Stopped;
    QTest::newRow("days 1 0, an order the service never sends")
        << QVariant(true) << pendingOn({ 1, 0 }) << QStringList() << QVariantList() << u"Coming up|Event 0|-|Event 1"_s
        << QString();
    QTest::newRow("performing, nothing pending: no information item")
        << QVariant(true) << empty << QStringList { u"Backup"_s } << QVariantList() << u"Being performed|Backup"_s
        << QString();
    QTest::newRow("every section") << QVariant(true) << pendingOn({ 0 }) << QStringList { u"Update"_s } << sleep
                                   << u"Being performed|Update|-|On demand|Sleep|-|Coming up|Event 0"_s << QString();
}

void tst_TriskVXStatusMenuController::menuLines()
{
    QFETCH(QVariant, enabled);
    QFETCH(QVariant, pending);
    QFETCH(QStringList, active);
    QFETCH(QVariantList, onDemand);
    QFETCH(QString, lines);
    QFETCH(QString, image);
    auto controller = makeController();
    controller->observedVariableDidBecome(kVXObserveSchedulerActive, activeEvents(active));
    controller->observedVariableDidBecome(kVXObserveOnDemandAvailable, onDemand);
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, pending);
    controller->observedVariableDidBecome(kVXObserveSchedulerEnabled, enabled);
    QVERIFY(settled(*controller));
    QCOMPARE(linesOf(controller->statusMenu()), lines.split(u'|') + kTail);
    QCOMPARE(controller->nextPendingQueuedTrigger(), pending.toList().value(0));
    const QSizeF size(controller->imageSizeForMenuStatus(), controller->imageSizeForMenuStatus());
    if (!image.isEmpty())
        QCOMPARE(
            controller->statusItem()->image().convertToFormat(QImage::Format_ARGB32),
            TriskVXIImageAssistant::imageAssistant()
                ->imageForUIIdentifierScaleToFitVariation(TriskVXIImageAssistant::UIIdentifierForElementImage(image),
                                                          size, TriskVXIImageAssistantVariationNone)
                .convertToFormat(QImage::Format_ARGB32));
}

void tst_TriskVXStatusMenuController::longSectionsEndInACount_data()
{
    QTest::addColumn<int>("onDemand");
    QTest::addColumn<int>("pending");
    QTest::addColumn<QString>("onDemandEnd");
    QTest::addColumn<QString>("pendingEnd");
    QTest::newRow("at the limit") << 50 << 50 << u"On demand 49"_s << u"Event 49"_s;
    QTest::newRow("one over") << 51 << 51 << u"1 more on demand"_s << u"1 more coming up"_s;
    QTest::newRow("ten thousand") << 2000 << 10000 << u"%1 more on demand"_s.arg(QLocale().toString(1950))
                                  << u"%1 more coming up"_s.arg(QLocale().toString(9950));
}

void tst_TriskVXStatusMenuController::longSectionsEndInACount()
{
    QFETCH(int, onDemand);
    QFETCH(int, pending);
    QFETCH(QString, onDemandEnd);
    QFETCH(QString, pendingEnd);
    QVariantList events;
    for (int i = 0; i < onDemand; ++i)
        events.append(eventRecord(u"On demand %1"_s.arg(i), u"d%1"_s.arg(i)));
    QVariantList queued;
    for (int i = 0; i < pending; ++i)
        queued.append(queuedTrigger(QString::number(i), kNow.addSecs(60 + i)));
    auto controller = makeController();
    controller->observedVariableDidBecome(kVXObserveOnDemandAvailable, events);
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, queued);
    QVERIFY(settled(*controller));
    QMenu *menu = controller->statusMenu();
    const QStringList lines = linesOf(menu);
    const qsizetype listed = std::min<qsizetype>(pending, TriskVXStatusMenuController::kSectionLimit);
    // The pending section closes the sections; the count line says what is left out, and does nothing.
    QCOMPARE(lines.at(lines.size() - kTail.size() - 1), pendingEnd);
    QCOMPARE(itemTitled(menu, pendingEnd)->isEnabled(), pending <= TriskVXStatusMenuController::kSectionLimit);
    QCOMPARE(lines.at(lines.indexOf(u"Coming up"_s) - 2), onDemandEnd);
    // Submenus for all triggers would cost more than the rebuild may: only the listed get one.
    Q_EMIT menu->aboutToShow();
    qsizetype submenus = 0;
    const QList<QAction *> items = menu->actions();
    for (const QAction *item : items)
        submenus += item->menu() && item->menu() != controller->quickMenu() ? 1 : 0;
    QCOMPARE(submenus, listed);
}

void tst_TriskVXStatusMenuController::rebuildsAndValidation()
{
    auto controller = makeController();
    QCOMPARE(controller->imageSizeForMenuStatus(), 19.0);
    QMenu *quick = controller->quickMenu();
    QList<QPointer<QMenu>> menus { controller->statusMenu() };
    const QVariantList pending { queuedTrigger(u"a"_s, kNow.addSecs(600), QString(65, QLatin1Char('x'))) };
    report(*controller, kVXObserveSchedulerPending, pending);
    menus.append(controller->statusMenu());
    report(*controller, kVXObserveSchedulerEnabled, true);
    menus.append(controller->statusMenu());
    report(*controller, kVXObserveOnDemandAvailable, QVariantList());
    menus.append(controller->statusMenu());
    QAction *shortened = itemTitled(controller->statusMenu(), QString(64, QLatin1Char('x')) + QChar(0x2026));
    QVERIFY(shortened);
    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    QSignalSpy quickSchedule(workspace, &TriskVXWorkspace::quickScheduleRequested);
    itemTitled(controller->statusMenu(), u"Quick Schedule"_s)->trigger();
    QCOMPARE(quickSchedule.size(), 1);
    itemTitled(opened(shortened), u"Adjust…"_s)->trigger();
    std::unique_ptr<TriskVXAdjustDialog> dialog(workspace->adjustDialogForTrigger(u"a"_s));
    QVERIFY(dialog);
    // The current notifications only set the title: no rebuild.
    report(*controller, kVXObserveNotificationsCurrent, pending);
    QCOMPARE(controller->statusMenu(), menus.last().data());
    // Old menus must not pile up rebuild after rebuild.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    for (qsizetype i = 0; i + 1 < menus.size(); ++i)
        QVERIFY(!menus.at(i));
    controller->hide();
    QVERIFY(m_bar->items().isEmpty());
    controller->show();
    QCOMPARE(m_bar->items(), QList<TriskVXStatusItem *> { controller->statusItem() });
    QCOMPARE(itemTitled(controller->statusItem()->menu(), u"Quick Schedule"_s)->menu(), quick);
    // Validation as the menu opens: a listener appeared since the build; then the preference switches it off.
    QSignalSpy updates(TriskVXWorkspace::workspace(), &TriskVXWorkspace::softwareUpdateCheckRequested);
    Q_EMIT controller->statusMenu()->aboutToShow();
    itemTitled(controller->statusMenu(), u"Check for Updates…"_s)->trigger();
    QCOMPARE(updates.size(), 1);
    QFile domain(TriskVXWorkspace::workspace()->preferencesFile());
    QVERIFY(domain.open(QIODevice::WriteOnly));
    domain.write(plist("<dict><key>" + kVXPreferencesKeySoftwareUpdateCheck.toUtf8() + "</key><false/></dict>"));
    domain.close();
    report(*controller, kVXObserveSchedulerPending, QVariantList());
    QVERIFY(!itemTitled(controller->statusMenu(), u"Check for Updates…"_s)->isEnabled());
}

void tst_TriskVXStatusMenuController::toolItemsNeedTheirTool_data()
{
    QTest::addColumn<QStringList>("tools");
    QTest::addColumn<bool>("updateChecker");
    QTest::addColumn<QString>("items");
    QTest::newRow("nothing installed") << QStringList() << false
                                       << u"Open Halvane… off|Check for Updates… off|Remove Trisk Notifier… off"_s;
    QTest::newRow("a remover and an update checker")
        << QStringList { u"halvane-uninstall"_s } << true
        << u"Open Halvane… off|Check for Updates… on|Remove Trisk Notifier… on"_s;
    QTest::newRow("the editor") << QStringList { u"halvane-editor"_s } << false
                                << u"Open Halvane… on|Check for Updates… off"_s;
}

// The fixed items are offered only when what they start is there, and then start it.
void tst_TriskVXStatusMenuController::toolItemsNeedTheirTool()
{
    QFETCH(QStringList, tools);
    QFETCH(bool, updateChecker);
    QFETCH(QString, items);
    QTemporaryDir bin;
    for (const QString &tool : std::as_const(tools)) {
        QFile script(bin.filePath(tool));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\ntouch \"$0.started\"\n");
        script.close();
        QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    }
    TriskVXWorkspace *workspace = TriskVXWorkspace::workspace();
    workspace->setToolSearchPath({ bin.path() });
    QObject checker;
    if (updateChecker)
        connect(workspace, &TriskVXWorkspace::softwareUpdateCheckRequested, &checker, [] {});
    auto controller = makeController();
    QStringList shown;
    const QList<QAction *> menuItems = controller->statusMenu()->actions();
    for (QAction *item : menuItems) {
        const QString action = TriskVXMenuItem::action(item);
        const bool startsTool = action == u"openHalvane:"_s || action == u"removeHalvane:"_s;
        if (startsTool || action == u"checkForUpdates:"_s)
            shown.append(TriskVXMenuItem::title(item) + (item->isEnabled() ? u" on"_s : u" off"_s));
        if (startsTool && item->isEnabled())
            item->trigger();
    }
    QCOMPARE(shown.join(u'|'), items);
    for (const QString &tool : std::as_const(tools))
        QTRY_VERIFY(QFile::exists(bin.filePath(tool + u".started"_s)));
}

void tst_TriskVXStatusMenuController::titleFollowsTheCurrentNotification()
{
    auto controller = makeController();
    // Seconds to go = title = picture (two digits at most) = tool tip.
    for (const QString &pair :
         u"7509=2:05:09=2h=2 h 5 min;108000=30:00:00=30h=30 h 0 min;360000=100:00:00=4d=100 h 0 min;"
         u"3599=59:59=59m=59 min;60=1:00=1m=1 min;42=0:42=42=under 1 min;0===;-5==="_s.split(u';')) {
        const int seconds = pair.section(u'=', 0, 0).toInt();
        const QVariantMap trigger = queuedTrigger(u"t"_s, kNow.addSecs(seconds));
        QCOMPARE(controller->countDownTimeForQueuedTrigger(trigger), pair.section(u'=', 1, 1));
        QCOMPARE(controller->imageTextForSeconds(seconds), pair.section(u'=', 2, 2));
        QCOMPARE(controller->toolTipTimeForSeconds(seconds), pair.section(u'=', 3, 3));
    }
    TriskVXStatusItem *item = controller->statusItem();
    const QVariantMap next = queuedTrigger(u"n"_s, kNow.addSecs(125));
    const QVariantMap later = queuedTrigger(u"l"_s, kNow.addSecs(3600));
    // The host reads the menu before the report's update has run, as it does when the item registers:
    // the menu built for it leaves the title to follow the report all the same.
    controller->observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList { next, later });
    QVERIFY(item->menu());
    QVERIFY(settled(*controller));
    // Not yet in its notice period: no count-down.
    QVERIFY(!controller->countDownTimer());
    QCOMPARE(item->title(), QString());
    QCOMPARE(item->toolTip(), u"Next: Event n, %1"_s.arg(controller->triggerDateWithQueuedTrigger(next).toString()));
    const int pictureWidth = item->image().width();
    report(*controller, kVXObserveNotificationsCurrent, QVariantList { next });
    TriskVXSecondTimer *timer = controller->countDownTimer();
    QVERIFY(timer && timer->isActive());
    QCOMPARE(item->title(), u"2:05"_s);
    const QString date = controller->triggerDateWithQueuedTrigger(next).toString();
    QCOMPARE(item->imageText(), u"2m"_s);
    m_clock.advance(1000);
    controller->updateTitleCountDownText(timer);
    QCOMPARE(item->title(), u"2:04"_s);
    // The tool tip changes with the minute only: hosts redraw it at each signal.
    QCOMPARE(item->toolTip(), u"Next: Event n, %1 (in 2 min)"_s.arg(date));
    m_clock.advance(5000);
    controller->updateTitleCountDownText(timer);
    QCOMPARE(item->toolTip(), u"Next: Event n, %1 (in 1 min)"_s.arg(date));
    QCOMPARE(item->iconName(), u"trisk-notifier-event-symbolic"_s);
    report(*controller, kVXObserveSchedulerActive, activeEvents({ u"A"_s, u"B"_s }));
    QCOMPARE(item->title(), u"Performing 2"_s);
    QVERIFY(item->image().width() > pictureWidth);
    QCOMPARE(item->iconName(), u"trisk-notifier-performing-symbolic"_s);
    QCOMPARE(item->imageText(), QString());
    controller->updateTitleCountDownText(controller->countDownTimer());
    QCOMPARE(item->title(), u"1:59"_s);
    report(*controller, kVXObserveNotificationsCurrent, QVariantList { later });
    QVERIFY(!controller->countDownTimer());
    report(*controller, kVXObserveSchedulerActive, QVariantList());
    report(*controller, kVXObserveSchedulerPending, QVariantList());
    QCOMPARE(item->title(), QString());
    QCOMPARE(item->toolTip(), QString());
}

void tst_TriskVXStatusMenuController::widthEasesAndLandsOneSecondAfterTheLastChange()
{
    TriskVXStatusItem *item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(item, &m_clock, m_bar.get()));
    QCOMPARE(item->length(), 0.0);
    QVERIFY(qFuzzyCompare(resize->targetLength(), 1.1 * 24.0));
    resize->adjustWidth();
    QCOMPARE(item->length(), resize->targetLength() / 2);
    m_clock.advance(500);
    resize->setTitle(u"9:59:59"_s);
    QVERIFY(resize->timer() && resize->timer()->isActive());
    const QDateTime lastChange = m_clock.now();
    resize->setTitle(u"9:59:59"_s);
    QCOMPARE(resize->endTime(), lastChange.addSecs(1));
    m_clock.setNow(lastChange.addMSecs(1001));
    resize->adjustWidth();
    QCOMPARE(item->length(), resize->targetLength());
    QVERIFY(!resize->timer());
    // A variable-length item has no length of its own to ease from.
    resize->setTitle(u"1:00"_s);
    item->setLength(TriskVXStatusItem::kVariableLength);
    item->setViewWidth(40.0);
    resize->adjustWidth();
    QCOMPARE(item->length(), 40.0 + (resize->targetLength() - 40.0) * 0.5);
}

void tst_TriskVXStatusMenuController::brokenTemplatesAreLeftOut()
{
    const QList<QPair<QString, QByteArray>> broken {
        { u"mixed.halvaneschedule"_s,
          plist("<array><dict><key>Name</key><string>Kept out</string></dict><string>odd</string></array>") },
        { u"dict.halvaneschedule"_s, plist("<dict><key>Name</key><string>Kept out</string></dict>") },
        { u"array.halvaneevent"_s, plist("<array><dict><key>Name</key><string>Kept out</string></dict></array>") },
        { u"broken.halvaneevent"_s, QByteArray("<plist><dict><key>") },
    };
    for (const auto &[file, contents] : broken)
        gResources->write(u"Quick Schedule/"_s + file, contents);
    gResources->write(u"Quick Schedule/z.halvaneevent"_s, plist("<dict><key>Name</key><string>Good</string></dict>"));
    LogCapture log;
    auto controller = makeController();
    const QVariantList events = controller->quickScheduleEvents();
    QCOMPARE(events.size(), 1);
    QCOMPARE(events.first().toMap().value(kVXEventName), QVariant(u"Good"_s));
    // A template folder is the person's own: nothing in it is rewritten.
    for (const auto &[file, contents] : broken) {
        QVERIFY2(!log.messages("trisk.statusmenu").filter(file).isEmpty(), qPrintable(file));
        QFile kept(QDir(quickFolder()).filePath(file));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), contents);
    }
}

void tst_TriskVXStatusMenuController::quickAlternatesFollowModifiers_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("held");
    QTest::addColumn<QString>("line");
    QTest::newRow("none") << 0 << 0 << u"Nap in 10 minutes"_s;
    QTest::newRow("Alt") << int(Qt::Key_Alt) << 0 << u"Nap in 30 minutes"_s;
    QTest::newRow("Control: no fifth delay") << int(Qt::Key_Control) << 0 << u"Nap in 10 minutes"_s;
    QTest::newRow("Alt+Shift: no such group") << int(Qt::Key_Shift) << int(Qt::AltModifier) << u"Nap in 10 minutes"_s;
}

void tst_TriskVXStatusMenuController::quickAlternatesFollowModifiers()
{
    QFETCH(int, key);
    QFETCH(int, held);
    QFETCH(QString, line);
    gResources->write(u"Quick Schedule/"_s + u"nap.halvaneevent"_s,
                      plist("<dict><key>Name</key><string>Nap</string></dict>"));
    auto controller = makeController();
    QKeyEvent press(QEvent::KeyPress, key, Qt::KeyboardModifiers(held));
    if (key)
        QCoreApplication::sendEvent(controller->quickMenu(), &press);
    QCOMPARE(
        linesOf(controller->quickMenu()),
        QStringList({ u"In %1 minutes:"_s.arg(line.section(u' ', 2, 2)), line, u"-"_s, u"More Quick Schedule…"_s }));
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    gResources = &resources;
    resources.use();
    QApplication application(argc, argv);
    if (!TriskVXBundle::mainBundle() || !TriskVXBundle::mainBundle()->installTranslations())
        return 1;
    tst_TriskVXStatusMenuController test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TriskVXStatusMenuController.moc"
