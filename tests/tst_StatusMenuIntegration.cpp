// The status menu against the real halvaned and a panel host on a private bus, malformed dbusmenu calls too.
#include "FakeStatusNotifierWatcher.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "MenuLines.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXCountDownIconPainter.h"
#include "TriskVXDBusImage.h"
#include "TriskVXDBusMenuTypes.h"
#include "TriskVXDBusPropertyList.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXRequestsController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXStatusNotifierItem.h"
#include "TriskVXWorkspace.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QSystemTrayIcon>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 10000;

QVariantMap onceEvent(const QString &name, const QDateTime &date)
{
    const QVariantMap trigger { { kVXTriggerIdentifier, name },
                                { kVXTriggerType, kVXTriggerType_Once },
                                { kVXTriggerDate, date } };
    const QVariantMap log { { kVXActionType, kVXActionType_Log }, { kVXActionMessage, name } };
    return { { kVXEventUniqueID, name.toLower() },
             { kVXEventName, name },
             { kVXEventActions, QVariantList { log } },
             { kVXEventTriggers, QVariantList { trigger } } };
}
const QString kItem = u"org.kde.StatusNotifierItem"_s;
const QString kMenu = u"com.canonical.dbusmenu"_s;
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), QTimeZone("Europe/Berlin"));

class SignalLog : public QObject
{
    Q_OBJECT

public:
    QStringList names;
    QList<QVariantList> arguments;

public Q_SLOTS:
    void received(const QDBusMessage &message)
    {
        names.append(message.member());
        arguments.append(message.arguments());
    }
};

QString labelOf(const TriskVXDBusMenuLayoutItem &item)
{
    return item.properties.value(u"label"_s).toString().section(u'\n', 0, 0);
}

// A layout's shown children as a person reads them ("-" for a separator).
QStringList linesOfLayout(const TriskVXDBusMenuLayoutItem &layout)
{
    QStringList lines;
    for (const TriskVXDBusMenuLayoutItem &child : layout.children) {
        if (child.properties.value(u"visible"_s, true).toBool())
            lines.append(child.properties.value(u"type"_s) == QVariant(u"separator"_s) ? u"-"_s : labelOf(child));
    }
    return lines;
}

const TriskVXDBusMenuLayoutItem *childLabelled(const TriskVXDBusMenuLayoutItem &layout, const QString &label)
{
    for (const TriskVXDBusMenuLayoutItem &child : layout.children) {
        if (labelOf(child) == label)
            return &child;
    }
    return nullptr;
}

bool near(const QColor &pixel, const QColor &colour, int by)
{
    return qAbs(pixel.red() - colour.red()) <= by && qAbs(pixel.green() - colour.green()) <= by
        && qAbs(pixel.blue() - colour.blue()) <= by;
}
} // namespace

class tst_StatusMenuIntegration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void menuAgainstTheService();
    void theStatusMenuThroughTheHost();
    void groupAndMalformedCalls();
    void trayAndWatcherComeAndGo();

private:
    void startService();
    QMenu *menu() const { return m_controller->statusMenu(); }
    QString menuText() const { return linesOf(menu()).join(u'|'); }
    QMenu *pendingSubmenu(const QString &name) const;
    QDateTime dateOfPending(const QString &name) const;

    void exportItem(TriskVXStatusItem *item);
    QDBusMessage call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments = {});
    QDBusMessage menuCall(const QString &method, const QVariantList &arguments = {})
    {
        return call(TriskVXStatusNotifierItem::kMenuPath, kMenu, method, arguments);
    }
    QVariant property(const QString &name);
    // The length of a list the service publishes, read with a blocking call: this process's event loop
    // does not run meanwhile, so the service's reports wait in its queue.
    qsizetype publishedCountBlocking(const QString &variable) const;
    TriskVXDBusMenuLayoutItem layout(int parent);
    void listen(const QString &path, const QString &interface, const QString &name);

    std::unique_ptr<HalvanedProcess> m_service;
    std::unique_ptr<ServiceClient> m_client;
    std::unique_ptr<TriskVXRequestsController> m_requests;
    std::unique_ptr<TriskVXStatusMenuController> m_controller;
    TriskVXClock m_clock;
    std::unique_ptr<TriskVXStatusBar> m_bar;
    std::unique_ptr<FakeStatusNotifierWatcher> m_watcher;
    std::unique_ptr<TriskVXDesktopStatusBar> m_desktop;
    std::unique_ptr<SignalLog> m_signals;
    QString m_bus;
};

void tst_StatusMenuIntegration::initTestCase()
{
    registerTriskVXDBusImageTypes();
    registerTriskVXDBusMenuTypes();
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    // No editor installed: the removal item stays out of the way of these tests' line lists.
    TriskVXWorkspace::workspace()->setToolSearchPath({});
    m_clock.setTimeZone(kNow.timeZone());
}

void tst_StatusMenuIntegration::init()
{
    m_clock.setNow(kNow);
    m_bar = std::make_unique<TriskVXStatusBar>();
    m_watcher = std::make_unique<FakeStatusNotifierWatcher>();
    m_signals = std::make_unique<SignalLog>();
}

void tst_StatusMenuIntegration::cleanup()
{
    m_desktop.reset();
    m_controller.reset();
    m_requests.reset();
    m_client.reset();
    m_service.reset();
}

void tst_StatusMenuIntegration::startService()
{
    m_service = std::make_unique<HalvanedProcess>();
    QVERIFY(m_service->startAt(kNow));
    m_client = std::make_unique<ServiceClient>(m_service->location());
    QVERIFY(m_client->ready());
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_client->connection()));
    m_controller = std::make_unique<TriskVXStatusMenuController>();
    m_controller->setStatusBar(m_bar.get());
    m_controller->setClock(&m_clock);
    QVERIFY(m_controller->initWithObserverRequests(m_client->observer(), m_requests.get()));
    m_controller->refresh();
    QTRY_VERIFY_WITH_TIMEOUT(linesOf(menu()).contains(u"Nothing scheduled"_s), kWait);
}

QMenu *tst_StatusMenuIntegration::pendingSubmenu(const QString &name) const
{
    const QList<QAction *> items = menu()->actions();
    for (const QAction *item : items) {
        if (TriskVXMenuItem::title(item).startsWith(name + u'\n'))
            return opened(item);
    }
    return nullptr;
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

void tst_StatusMenuIntegration::exportItem(TriskVXStatusItem *item)
{
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    m_bus = m_desktop->statusNotifierItem(item) ? m_desktop->statusNotifierItem(item)->serviceName() : QString();
}

QDBusMessage tst_StatusMenuIntegration::call(const QString &path, const QString &interface, const QString &method,
                                             const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(m_bus, path, interface, method);
    message.setArguments(arguments);
    // Asynchronous on the host's side, so that this process can answer itself meanwhile.
    QDBusPendingCall pending = m_watcher->connection().asyncCall(message);
    waitFor(
        [&pending] {
            return pending.isFinished();
        },
        kWait);
    return pending.reply();
}

QVariant tst_StatusMenuIntegration::property(const QString &name)
{
    const QDBusMessage reply
        = call(TriskVXStatusNotifierItem::kItemPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s, { kItem, name });
    return reply.arguments().value(0).value<QDBusVariant>().variant();
}

TriskVXDBusMenuLayoutItem tst_StatusMenuIntegration::layout(int parent)
{
    TriskVXDBusMenuLayoutItem layout;
    const QVariant reply = menuCall(u"GetLayout"_s, { parent, -1, QStringList() }).arguments().value(1);
    if (reply.canConvert<QDBusArgument>())
        reply.value<QDBusArgument>() >> layout;
    return layout;
}

void tst_StatusMenuIntegration::listen(const QString &path, const QString &interface, const QString &name)
{
    QDBusConnection host = m_watcher->connection();
    QVERIFY(host.connect(m_bus, path, interface, name, m_signals.get(), SLOT(received(QDBusMessage))));
    // The match rule goes to the bus on the host's connection: a round trip to the bus makes sure it is in
    // place before anything is sent.
    const QDBusMessage roundTrip = host.call(QDBusMessage::createMethodCall(
        u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, u"GetId"_s));
    QCOMPARE(roundTrip.type(), QDBusMessage::ReplyMessage);
}

void tst_StatusMenuIntegration::menuAgainstTheService()
{
    startService();
    QVERIFY(m_service->add(
        u"Backup"_s, { u"--at"_s, u"2030-06-01T10:00:00+02:00"_s, u"--log"_s, u"backing up"_s, u"--on-demand"_s }));
    QVERIFY(m_service->add(u"Report"_s, { u"--daily"_s, u"12:00"_s, u"--log"_s, u"r"_s }));
    QVERIFY(m_service->add(u"Tomorrow"_s, { u"--at"_s, u"2030-06-02T09:00:00+02:00"_s, u"--log"_s, u"t"_s }));
    QVERIFY(m_service->add(u"Tuesday"_s, { u"--weekly"_s, u"09:00"_s, u"--days"_s, u"tue"_s, u"--log"_s, u"t"_s }));
    QTRY_COMPARE_WITH_TIMEOUT(menuText().section(u'|', 0, 9),
                              u"On demand|Backup|-|Coming up|Backup|Report|-|Tomorrow|-|Tuesday"_s, kWait);
    QCOMPARE(linesOf(pendingSubmenu(u"Backup"_s)).mid(0, 4),
             QStringList({ u"Perform Now"_s, u"Trigger Now"_s, u"-"_s, u"Cancel This Time"_s }));

    // Without halvaned nothing of the old schedule may be offered; once it is back, all of it returns
    // without being asked.
    const QString before = menuText();
    TriskVXStatusItem *item = m_controller->statusItem();
    const QString toolTip = item->toolTip();
    const QSizeF size(m_controller->imageSizeForMenuStatus(), m_controller->imageSizeForMenuStatus());
    const QImage disconnected = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Disconnected), size,
        TriskVXIImageAssistantVariationNone);

    QVERIFY(m_service->stop());
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->isServiceReachable() && !m_controller->isRebuildScheduled(), kWait);
    QCOMPARE(linesOf(menu()),
             QStringList({ u"Schedule unavailable"_s, u"-"_s, u"Open Halvane…"_s, u"Check for Updates…"_s, u"-"_s,
                           u"Remove Trisk Notifier…"_s }));
    QVERIFY(item->toolTip() != toolTip && !item->toolTip().isEmpty());
    QCOMPARE(item->image().convertToFormat(QImage::Format_ARGB32), disconnected.convertToFormat(QImage::Format_ARGB32));

    QVERIFY(m_service->startAt(kNow));
    QTRY_COMPARE_WITH_TIMEOUT(menuText(), before, kWait);
    QTRY_COMPARE_WITH_TIMEOUT(item->toolTip(), toolTip, kWait);

    itemTitled(pendingSubmenu(u"Tomorrow"_s), u"Cancel This Time"_s)->trigger();
    QTRY_VERIFY2_WITH_TIMEOUT(!menuText().contains(u"Tomorrow"_s), qPrintable(menuText()), kWait);

    // Delays add to the trigger's date, not to the present time.
    const QDateTime noon(kNow.date(), QTime(12, 0), kNow.timeZone());
    QCOMPARE(dateOfPending(u"Report"_s), noon);
    itemTitled(pendingSubmenu(u"Report"_s), u"Delay 15 Minutes"_s)->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(dateOfPending(u"Report"_s), noon.addSecs(900), kWait);
    itemTitled(pendingSubmenu(u"Report"_s), u"Reset"_s)->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(dateOfPending(u"Report"_s), noon, kWait);

    // Trigger Now applies the criteria (not being performed), so each waits for the last run to end.
    QString log;
    for (const QString &choice : { u"Perform Now"_s, u"Trigger Now"_s, QString() }) {
        const qsizetype performed = (log += m_service->output()).count(u"backing up"_s);
        QTRY_VERIFY_WITH_TIMEOUT(m_controller->activeEvents().toList().isEmpty(), kWait);
        // Each rebuild makes new items: they are looked up afresh.
        QMenu *holder = choice.isEmpty() ? menu() : pendingSubmenu(u"Backup"_s);
        itemTitled(holder, choice.isEmpty() ? u"Backup"_s : choice)->trigger();
        QTRY_VERIFY_WITH_TIMEOUT((log += m_service->output()).count(u"backing up"_s) > performed, kWait);
    }

    // The template's own daily trigger gives way to one firing, counted from the menu's clock.
    QMenu *quick = m_controller->quickMenu();
    itemTitled(quick, u"Nap in 10 minutes"_s)->trigger();
    QTRY_VERIFY2_WITH_TIMEOUT(linesOf(menu()).contains(u"Nap"_s), qPrintable(menuText()), kWait);
    QCOMPARE(dateOfPending(u"Nap"_s), kNow.addSecs(600));
    QCOMPARE(linesOf(menu()).count(u"Nap"_s), 1);
}

void tst_StatusMenuIntegration::theStatusMenuThroughTheHost()
{
    startService();
    QVERIFY(m_watcher->start());
    exportItem(m_controller->statusItem());
    QTRY_COMPARE_WITH_TIMEOUT(m_watcher->registeredItems(), QStringList { m_bus }, kWait);
    TriskVXDBusImageList icons;
    property(u"IconPixmap"_s).value<QDBusArgument>() >> icons;
    QCOMPARE(icons.size(), 1);
    // Text colour with a faint edge of the window colour, so that it shows on dark and light panels alike
    // (compositing may round a channel).
    const QImage shown = icons.first().toImage();
    bool drawn = false;
    bool edged = false;
    for (int i = 0; i < shown.width() * shown.height(); ++i) {
        const QColor pixel = shown.pixelColor(i % shown.width(), i / shown.width());
        QVERIFY(pixel.alpha() < 255 || near(pixel, QApplication::palette().color(QPalette::WindowText), 2));
        drawn = drawn || pixel.alpha() == 255;
        edged = edged || (pixel.alpha() % 255 && near(pixel, QApplication::palette().color(QPalette::Window), 3));
    }
    QVERIFY(drawn && edged);
    const QStringList changes { u"NewIcon"_s, u"NewToolTip"_s };
    for (const QString &name : changes + QStringList { u"XAyatanaNewLabel"_s })
        listen(TriskVXStatusNotifierItem::kItemPath, kItem, name);
    listen(TriskVXStatusNotifierItem::kMenuPath, kMenu, u"LayoutUpdated"_s);
    QVERIFY(m_service->add(u"Nap"_s, { u"--at"_s, kNow.addSecs(180).toString(Qt::ISODate), u"--log"_s, u"nap"_s }));
    TriskVXDBusToolTip toolTip;
    // Hosts that show nothing else of the tool tip show its title.
    QTRY_VERIFY_WITH_TIMEOUT((property(u"ToolTip"_s).value<QDBusArgument>() >> toolTip,
                              toolTip.title.startsWith(u"Next: Nap, "_s) && toolTip.title.endsWith(u" (in 3 min)"_s)),
                             kWait);
    // Building the menu at each report cost too much: it waits until the host lays it out.
    QVERIFY(m_controller->statusItem()->menuNeedsUpdate());
    property(u"IconPixmap"_s).value<QDBusArgument>() >> icons;
    QCOMPARE(icons.size(), TriskVXCountDownIconPainter::kSizes.size());
    for (const QString &name : changes + QStringList { u"LayoutUpdated"_s })
        QTRY_VERIFY2_WITH_TIMEOUT(m_signals->names.contains(name), qPrintable(name), kWait);
    // Hosts show the arrow and enable the line only if told before the submenu is made as it opens.
    const TriskVXDBusMenuLayoutItem root = layout(0);
    QCOMPARE(linesOfLayout(root), linesOf(menu()));
    const TriskVXDBusMenuLayoutItem *napItem = childLabelled(root, u"Nap"_s);
    QVERIFY(napItem);
    QCOMPARE(napItem->properties.value(u"children-display"_s), QVariant(u"submenu"_s));
    QVERIFY(!napItem->properties.contains(u"enabled"_s));
    QCOMPARE(menuCall(u"AboutToShow"_s, { 0 }).arguments().value(0), QVariant(true));
    menuCall(u"AboutToShow"_s, { napItem->id });
    const TriskVXDBusMenuLayoutItem submenu = layout(napItem->id);
    const TriskVXDBusMenuLayoutItem *cancel = childLabelled(submenu, u"Cancel This Time"_s);
    QVERIFY(cancel);
    const QVariantList clicked { cancel->id, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0u };
    QCOMPARE(menuCall(u"Event"_s, clicked).type(), QDBusMessage::ReplyMessage);
    QTRY_VERIFY_WITH_TIMEOUT(linesOfLayout(layout(0)).contains(u"Nothing scheduled"_s), kWait);

    QVariantList events;
    for (int i = 0; i < 100; ++i)
        events.append(onceEvent(u"Burst %1"_s.arg(i), kNow.addMSecs(60000 + i * 10)));
    for (int i = 0; i < 60; ++i)
        events.append(onceEvent(u"Later %1"_s.arg(i), kNow.addSecs(3600 + i * 60)));
    QVERIFY(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, events } }));
    QTRY_VERIFY2_WITH_TIMEOUT(linesOf(menu()).contains(u"110 more coming up"_s), qPrintable(menuText()), kWait);
    QCOMPARE(linesOfLayout(layout(0)), linesOf(menu()));
    m_signals->names.clear();

    // Every firing and every end is a report; they reach the notifier together, as when it is busy.
    QVERIFY(m_service->setTestNow(kNow.addSecs(61)));
    QDeadlineTimer deadline(kWait);
    while ((publishedCountBlocking(kVXObserveSchedulerPending) > 60
            || publishedCountBlocking(kVXObserveSchedulerActive) > 0)
           && !deadline.hasExpired()) { }
    QVERIFY(!deadline.hasExpired());
    // Until the host reads it, nothing here builds the menu: reading it between the reports would rebuild.
    const auto settled = [this] {
        TriskVXObserver *observer = m_client->observer();
        return observer->valueForKeyPath(kVXObserveSchedulerPending).toList().size() == 60
            && observer->valueForKeyPath(kVXObserveSchedulerActive).toList().isEmpty();
    };
    QTRY_VERIFY_WITH_TIMEOUT(settled(), kWait);
    // One rebuild and one new picture, not one per report (the reports are applied at most 100 ms apart).
    QTRY_VERIFY_WITH_TIMEOUT(linesOfLayout(layout(0)).contains(u"10 more coming up"_s), kWait);
    QCOMPARE(linesOfLayout(layout(0)), linesOf(menu()));
    QCoreApplication::sendPostedEvents();
    // A read while the last reports were still being applied may cost one more: never one per report.
    const qsizetype layouts = m_signals->names.count(u"LayoutUpdated"_s);
    QVERIFY2(layouts >= 1 && layouts <= 2, qPrintable(QString::number(layouts)));
    QCOMPARE(m_signals->names.count(u"NewIcon"_s), 1);
    QCOMPARE(m_signals->names.count(u"XAyatanaNewLabel"_s), 0);
}

qsizetype tst_StatusMenuIntegration::publishedCountBlocking(const QString &variable) const
{
    QDBusMessage get = QDBusMessage::createMethodCall(m_service->serviceName(), kVXDBusObjectPath,
                                                      u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get << kVXDBusInterface << variable;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block);
    return TriskVXDBusPropertyList::decode(reply.arguments().value(0).value<QDBusVariant>().variant()).toList().size();
}

void tst_StatusMenuIntegration::groupAndMalformedCalls()
{
    QVERIFY(m_watcher->start());
    QMenu menu;
    QAction *open = menu.addAction(u"Open"_s);
    QAction *later = menu.addAction(u"Back up && sleep_later"_s);
    later->setEnabled(false);
    int chosen = 0;
    connect(open, &QAction::triggered, this, [&chosen] {
        ++chosen;
    });
    TriskVXStatusItem *item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
    item->setMenu(&menu);
    exportItem(item);
    listen(TriskVXStatusNotifierItem::kMenuPath, kMenu, u"ItemsPropertiesUpdated"_s);
    const TriskVXDBusMenuLayoutItem root = layout(0);
    const QStringList lines { u"Open"_s, u"Back up & sleep__later"_s };
    QCOMPARE(linesOfLayout(root), lines);
    const int openId = childLabelled(root, u"Open"_s)->id;
    const int laterId = childLabelled(root, u"Back up & sleep__later"_s)->id;
    const QList<QPair<QString, QVariantList>> malformed {
        { u"GetLayout"_s, { 999, -1, QStringList() } },
        { u"GetProperty"_s, { 999, u"label"_s } },
        { u"GetProperty"_s, { openId, u"colour"_s } },
        { u"Event"_s, { 999, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0u } },
        { u"AboutToShow"_s, { 999 } },
    };
    for (const auto &[method, arguments] : malformed) {
        const QDBusMessage reply = menuCall(method, arguments);
        QVERIFY2(reply.type() == QDBusMessage::ErrorMessage && !reply.errorMessage().isEmpty(), qPrintable(method));
        QCOMPARE(linesOfLayout(layout(0)), lines);
    }
    QCOMPARE(chosen, 0);
    const QVariantList ids { QVariant::fromValue(QList<int> { openId, laterId, 999 }),
                             QStringList { u"label"_s, u"enabled"_s } };
    TriskVXDBusMenuItemList items;
    menuCall(u"GetGroupProperties"_s, ids).arguments().value(0).value<QDBusArgument>() >> items;
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).properties, (QVariantMap { { u"label"_s, u"Open"_s } }));
    QCOMPARE(items.at(1).properties.value(u"enabled"_s), QVariant(false));
    const TriskVXDBusMenuEventList events { { openId, u"clicked"_s, QDBusVariant(0), 0 },
                                            { laterId, u"clicked"_s, QDBusVariant(0), 0 },
                                            { 999, u"clicked"_s, QDBusVariant(0), 0 } };
    QList<int> idErrors;
    menuCall(u"EventGroup"_s, { QVariant::fromValue(events) }).arguments().value(0).value<QDBusArgument>() >> idErrors;
    QCOMPARE(idErrors, QList<int> { 999 });
    QCOMPARE(chosen, 1);
    const QVariantList shown { QVariant::fromValue(QList<int> { 0, 999 }) };
    menuCall(u"AboutToShowGroup"_s, shown).arguments().value(1).value<QDBusArgument>() >> idErrors;
    QCOMPARE(idErrors, QList<int> { 999 });
    open->setText(u"Open &now"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!m_signals->arguments.isEmpty(), kWait);
    TriskVXDBusMenuItemList updated;
    m_signals->arguments.first().value(0).value<QDBusArgument>() >> updated;
    QCOMPARE(updated.size(), 1);
    QCOMPARE(updated.first().id, openId);
    QCOMPARE(updated.first().properties.value(u"label"_s), QVariant(u"Open _now"_s));
}

// Panels restart: the item must come back under the same name each time, and its absence be said once.
void tst_StatusMenuIntegration::trayAndWatcherComeAndGo()
{
    LogCapture log;
    QMenu menu;
    TriskVXStatusItem *item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
    item->setMenu(&menu);
    item->setToolTip(u"Next: Backup, 10:00"_s);
    exportItem(item);
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::Hidden);
    // Offscreen there is no tray: the one way to see the fallback taken.
    m_desktop->setTrayAvailability([] {
        return true;
    });
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::SystemTray);
    QSystemTrayIcon *tray = m_desktop->trayIcon(item);
    QVERIFY(tray && !m_desktop->statusNotifierItem(item));
    QCOMPARE(tray->contextMenu(), &menu);
    QVERIFY(tray->toolTip().endsWith(u"Next: Backup, 10:00"_s));
    item->setToolTip(u"Next: Report, 12:00"_s);
    QVERIFY(tray->toolTip().endsWith(u"Next: Report, 12:00"_s));
    QVERIFY(m_watcher->start());
    QTRY_COMPARE_WITH_TIMEOUT(m_watcher->registeredItems().size(), 1, kWait);
    QVERIFY(!m_desktop->trayIcon(item));
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::StatusNotifier);
    const QStringList registered = m_watcher->registeredItems();
    m_desktop->setTrayAvailability([] {
        return false;
    });
    for (int restart = 0; restart < 2; ++restart) {
        m_watcher->stop();
        QTRY_COMPARE_WITH_TIMEOUT(m_desktop->presentation(), TriskVXDesktopStatusBar::Hidden, kWait);
        QCOMPARE(log.messages("trisk.desktop").filter(u"the status item is not shown"_s).size(), 1);
        QVERIFY(m_watcher->start());
        QTRY_COMPARE_WITH_TIMEOUT(m_watcher->registeredItems(), registered, kWait);
        QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::StatusNotifier);
    }
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    resources.write(u"Quick Schedule/nap.halvaneevent"_s,
                    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                    "<key>Name</key><string>Nap</string>"
                    "<key>Triggers</key><array><dict><key>Type</key><string>Daily</string></dict></array>"
                    "<key>Actions</key><array><dict><key>Type</key><string>Log</string>"
                    "<key>Message</key><string>napping</string></dict></array></dict></plist>");
    resources.use();
    QApplication application(argc, argv);
    tst_StatusMenuIntegration test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_StatusMenuIntegration.moc"
