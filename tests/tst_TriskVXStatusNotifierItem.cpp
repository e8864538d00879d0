#include "FakeStatusNotifierWatcher.h"
#include "HalvanedProcess.h"
#include "LogCapture.h"
#include "MenuLines.h"
#include "NotifierResources.h"
#include "ServiceClient.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDBusImage.h"
#include "TriskVXDBusMenuExporter.h"
#include "TriskVXDBusMenuTypes.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXRequestsController.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuController.h"
#include "TriskVXStatusNotifierItem.h"
#include "WaitFor.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTest>
#include <QTimeZone>

namespace {
const QString kItemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString kMenuInterface = QStringLiteral("com.canonical.dbusmenu");
const QTimeZone kBerlin("Europe/Berlin");
const QDateTime kNow(QDate(2030, 6, 1), QTime(8, 0), kBerlin);

// Signals a host receives, by name.
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

TriskVXDBusMenuLayoutItem layoutFrom(const QVariant &value)
{
    TriskVXDBusMenuLayoutItem layout;
    if (value.canConvert<QDBusArgument>())
        value.value<QDBusArgument>() >> layout;
    return layout;
}

// The labels of a layout's children as a person reads them ("-" for a separator), shown ones only.
QStringList linesOfLayout(const TriskVXDBusMenuLayoutItem &layout)
{
    QStringList lines;
    for (const TriskVXDBusMenuLayoutItem &child : layout.children) {
        if (child.properties.value(QStringLiteral("visible"), true).toBool())
            lines.append(
                child.properties.value(QStringLiteral("type")) == QVariant(QStringLiteral("separator"))
                    ? QStringLiteral("-")
                    : child.properties.value(QStringLiteral("label")).toString().section(QLatin1Char('\n'), 0, 0));
    }
    return lines;
}

int childIdLabelled(const TriskVXDBusMenuLayoutItem &layout, const QString &label)
{
    for (const TriskVXDBusMenuLayoutItem &child : layout.children) {
        if (child.properties.value(QStringLiteral("label")).toString().section(QLatin1Char('\n'), 0, 0) == label)
            return child.id;
    }
    return -1;
}
} // namespace

// The status item as a panel sees it, on a private bus: a watcher and host of the test's own, the real
// halvaned behind the status menu.
class tst_TriskVXStatusNotifierItem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void registersAndExportsItsProperties();
    void newSignalsOnChanges_data();
    void newSignalsOnChanges();
    void theStatusMenuThroughTheHost();
    void aRebuildSendsOneLayoutUpdated();
    void watcherLeavesAndComesBack();
    void noWatcherUsesTheTray();
    void groupCallsAndPropertyUpdates();
    void labels_data();
    void labels();
    void malformedCallsGetErrors_data();
    void malformedCallsGetErrors();

private:
    QDBusMessage callItem(const QString &service, const QString &path, const QString &interface, const QString &method,
                          const QVariantList &arguments = {});
    QVariant property(const QString &service, const QString &path, const QString &interface, const QString &name);
    TriskVXDBusMenuLayoutItem layout(const QString &service, int parent, int depth = -1);
    void listen(const QString &service, const QString &path, const QString &interface, const QString &name);
    TriskVXStatusItem *makeItem();

    HalvanedProcess m_service;
    std::unique_ptr<ServiceClient> m_client;
    std::unique_ptr<TriskVXRequestsController> m_requests;
    TriskVXClock m_clock;
    std::unique_ptr<TriskVXStatusBar> m_bar;
    std::unique_ptr<FakeStatusNotifierWatcher> m_watcher;
    std::unique_ptr<TriskVXDesktopStatusBar> m_desktop;
    std::unique_ptr<SignalLog> m_signals;
};

void tst_TriskVXStatusNotifierItem::initTestCase()
{
    registerTriskVXDBusImageTypes();
    registerTriskVXDBusMenuTypes();
    QVERIFY(TriskVXBundle::mainBundle() && TriskVXBundle::mainBundle()->installTranslations());
    QVERIFY(m_service.start({ QStringLiteral("--test-clock"), QStringLiteral("--dry-run") }));
    QVERIFY(m_service.setTestTimeZone(kBerlin.id()));
    QVERIFY(m_service.setTestNow(kNow));
    m_clock.setTimeZone(kBerlin);
    m_clock.setNow(kNow);
    m_client = std::make_unique<ServiceClient>(m_service.location());
    QVERIFY(m_client->ready());
    m_requests.reset(TriskVXRequestsController::requestsControllerWithConnection(m_client->connection()));
}

void tst_TriskVXStatusNotifierItem::init()
{
    m_bar = std::make_unique<TriskVXStatusBar>();
    m_watcher = std::make_unique<FakeStatusNotifierWatcher>();
    m_signals = std::make_unique<SignalLog>();
}

void tst_TriskVXStatusNotifierItem::cleanup()
{
    m_desktop.reset();
    m_watcher.reset();
    m_bar.reset();
    m_signals.reset();
}

QDBusMessage tst_TriskVXStatusNotifierItem::callItem(const QString &service, const QString &path,
                                                     const QString &interface, const QString &method,
                                                     const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    // Asynchronous on the host's side, so that this process can answer itself meanwhile.
    QDBusPendingCall pending = m_watcher->connection().asyncCall(call);
    waitFor([&pending] {
        return pending.isFinished();
    });
    return pending.reply();
}

QVariant tst_TriskVXStatusNotifierItem::property(const QString &service, const QString &path, const QString &interface,
                                                 const QString &name)
{
    const QDBusMessage reply = callItem(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                                        QStringLiteral("Get"), { interface, name });
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {};
    return reply.arguments().value(0).value<QDBusVariant>().variant();
}

TriskVXDBusMenuLayoutItem tst_TriskVXStatusNotifierItem::layout(const QString &service, int parent, int depth)
{
    const QDBusMessage reply = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface,
                                        QStringLiteral("GetLayout"), { parent, depth, QStringList() });
    return layoutFrom(reply.arguments().value(1));
}

void tst_TriskVXStatusNotifierItem::listen(const QString &service, const QString &path, const QString &interface,
                                           const QString &name)
{
    QVERIFY(
        m_watcher->connection().connect(service, path, interface, name, m_signals.get(), SLOT(received(QDBusMessage))));
    // The match rule goes to the bus on the host's connection, the signals come from another one: a round
    // trip to the bus on the host's connection makes sure the rule is in place before anything is sent.
    const QDBusMessage roundTrip = m_watcher->connection().call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
    QCOMPARE(roundTrip.type(), QDBusMessage::ReplyMessage);
}

TriskVXStatusItem *tst_TriskVXStatusNotifierItem::makeItem()
{
    TriskVXStatusItem *item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
    QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_None), QSizeF(17, 17),
        TriskVXIImageAssistantVariationNone);
    TriskVXIImageAssistant::setTemplate(image, true);
    item->setImage(image);
    item->setToolTip(QStringLiteral("Next: Backup, 10:00"));
    item->setAttributedTitle(QStringLiteral("0:42"), QFont());
    return item;
}

void tst_TriskVXStatusNotifierItem::registersAndExportsItsProperties()
{
    QVERIFY(m_watcher->start());
    TriskVXStatusItem *item = makeItem();
    QMenu menu;
    menu.addAction(QStringLiteral("Open"));
    item->setMenu(&menu);
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::StatusNotifier);
    TriskVXStatusNotifierItem *exported = m_desktop->statusNotifierItem(item);
    QVERIFY(exported);
    QVERIFY(waitFor([this] {
        return m_watcher->registeredItems().size() == 1;
    }));
    const QString service = exported->serviceName();
    QCOMPARE(m_watcher->registeredItems(), QStringList { service });
    QVERIFY(service.startsWith(
        QStringLiteral("org.freedesktop.StatusNotifierItem-%1-").arg(QCoreApplication::applicationPid())));
    const QString path = TriskVXStatusNotifierItem::kItemPath;
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("Id")), QVariant(QStringLiteral("trisk-notifier")));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("Category")),
             QVariant(QStringLiteral("ApplicationStatus")));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("Status")), QVariant(QStringLiteral("Active")));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("Title")),
             QVariant(QStringLiteral("Trisk Notifier")));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("ItemIsMenu")), QVariant(true));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("Menu")).value<QDBusObjectPath>().path(),
             TriskVXStatusNotifierItem::kMenuPath);
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("XAyatanaLabel")),
             QVariant(QStringLiteral("0:42")));
    QCOMPARE(property(service, path, kItemInterface, QStringLiteral("XAyatanaLabelGuide")),
             QVariant(QStringLiteral("00:00:00")));
    TriskVXDBusToolTip toolTip;
    property(service, path, kItemInterface, QStringLiteral("ToolTip")).value<QDBusArgument>() >> toolTip;
    QCOMPARE(toolTip.title, QStringLiteral("Trisk Notifier"));
    QCOMPARE(toolTip.description, QStringLiteral("Next: Backup, 10:00"));
    TriskVXDBusImageList icons;
    property(service, path, kItemInterface, QStringLiteral("IconPixmap")).value<QDBusArgument>() >> icons;
    QCOMPARE(icons.size(), 1);
    QCOMPARE(QSize(icons.first().width, icons.first().height), item->image().size());
    // The template picture is drawn in the panel's text colour: its opaque pixels are that colour.
    const QImage shown = icons.first().toImage();
    const QColor text = QApplication::palette().color(QPalette::WindowText);
    bool drawn = false;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QColor pixel = shown.pixelColor(x, y);
            if (pixel.alpha() == 255) {
                // Compositing over the edge may round a channel by one.
                QVERIFY(qAbs(pixel.red() - text.red()) <= 2 && qAbs(pixel.green() - text.green()) <= 2
                        && qAbs(pixel.blue() - text.blue()) <= 2);
                drawn = true;
            }
        }
    }
    QVERIFY(drawn);
    // Around it a faint edge of the window colour, for panels darker or lighter than the palette.
    const QColor window = QApplication::palette().color(QPalette::Window);
    bool edged = false;
    for (int y = 0; y < shown.height() && !edged; ++y) {
        for (int x = 0; x < shown.width() && !edged; ++x) {
            const QColor pixel = shown.pixelColor(x, y);
            edged = pixel.alpha() > 0 && pixel.alpha() < 255 && qAbs(pixel.red() - window.red()) <= 3
                && qAbs(pixel.green() - window.green()) <= 3 && qAbs(pixel.blue() - window.blue()) <= 3;
        }
    }
    QVERIFY(edged);
    QCOMPARE(linesOfLayout(layout(service, 0)), QStringList { QStringLiteral("Open") });
}

void tst_TriskVXStatusNotifierItem::newSignalsOnChanges_data()
{
    QTest::addColumn<int>("change");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("tool tip") << 0 << QStringList { QStringLiteral("NewToolTip") };
    QTest::newRow("picture") << 1 << QStringList { QStringLiteral("NewIcon") };
    QTest::newRow("title") << 2 << QStringList { QStringLiteral("XAyatanaNewLabel") };
    QTest::newRow("the same tool tip again") << 3 << QStringList();
    QTest::newRow("menu replaced") << 4 << QStringList { QStringLiteral("LayoutUpdated") };
}

void tst_TriskVXStatusNotifierItem::newSignalsOnChanges()
{
    QFETCH(int, change);
    QFETCH(QStringList, expected);
    QVERIFY(m_watcher->start());
    TriskVXStatusItem *item = makeItem();
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    const QString service = m_desktop->statusNotifierItem(item)->serviceName();
    for (const QString &name : { QStringLiteral("NewToolTip"), QStringLiteral("NewIcon"), QStringLiteral("NewTitle"),
                                 QStringLiteral("XAyatanaNewLabel") })
        listen(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, name);
    listen(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("LayoutUpdated"));
    QMenu menu;
    switch (change) {
    case 0:
        item->setToolTip(QStringLiteral("Next: Report, 12:00"));
        break;
    case 1:
        item->setImage(QImage(4, 4, QImage::Format_ARGB32));
        break;
    case 2:
        item->setAttributedTitle(QStringLiteral("0:41"), QFont());
        break;
    case 3:
        item->setToolTip(item->toolTip());
        break;
    default:
        item->setMenu(&menu);
        break;
    }
    // A marker call that makes sure every signal sent before it has arrived.
    property(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, QStringLiteral("Id"));
    QCoreApplication::processEvents();
    QCOMPARE(m_signals->names, expected);
    if (change == 2)
        QCOMPARE(m_signals->arguments.first(), (QVariantList { QStringLiteral("0:41"), QStringLiteral("00:00:00") }));
}

void tst_TriskVXStatusNotifierItem::theStatusMenuThroughTheHost()
{
    QVERIFY(m_watcher->start());
    TriskVXStatusMenuController controller;
    controller.setStatusBar(m_bar.get());
    controller.setClock(&m_clock);
    QVERIFY(controller.initWithObserverRequests(m_client->observer(), m_requests.get()));
    controller.refresh();
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    const QString service = m_desktop->statusNotifierItem(controller.statusItem())->serviceName();
    listen(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, QStringLiteral("XAyatanaNewLabel"));

    // A trigger three minutes away, within its notice period: the count-down shows as the label.
    const QVariantMap event { { kVXEventUniqueID, QStringLiteral("nap") },
                              { kVXEventName, QStringLiteral("Nap") },
                              { kVXEventTriggers,
                                QVariantList { QVariantMap { { kVXTriggerType, kVXTriggerType_Once },
                                                             { kVXTriggerDate, kNow.addSecs(180) } } } },
                              { kVXEventActions,
                                QVariantList { QVariantMap { { kVXActionType, kVXActionType_Log },
                                                             { kVXActionMessage, QStringLiteral("nap") } } } } };
    QVERIFY(m_client->request(kVXRPCEventStoreStore, { { kVXRPCParameterEvents, QVariantList { event } } }));
    QVERIFY(waitFor([&] {
        return property(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, QStringLiteral("XAyatanaLabel"))
            == QVariant(QStringLiteral("3:00"));
    }));
    m_clock.advance(1000);
    controller.updateTitleCountDownText(controller.countDownTimer());
    QCOMPARE(property(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, QStringLiteral("XAyatanaLabel")),
             QVariant(QStringLiteral("2:59")));
    QVERIFY(waitFor([this] {
        return !m_signals->arguments.isEmpty()
            && m_signals->arguments.last().value(0) == QVariant(QStringLiteral("2:59"));
    }));

    // The exported layout mirrors the rebuilt menu; the trigger's submenu comes as the host opens it.
    TriskVXDBusMenuLayoutItem root = layout(service, 0);
    QCOMPARE(linesOfLayout(root), linesOf(controller.statusMenu()));
    // Before the host opens the menu, the trigger's line already says it has a submenu, and is enabled.
    for (const TriskVXDBusMenuLayoutItem &child : root.children) {
        if (child.properties.value(QStringLiteral("label")).toString().startsWith(QStringLiteral("Nap\n"))) {
            QCOMPARE(child.properties.value(QStringLiteral("children-display")), QVariant(QStringLiteral("submenu")));
            QVERIFY(!child.properties.contains(QStringLiteral("enabled")));
        }
    }
    const QDBusMessage opened
        = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("AboutToShow"), { 0 });
    QCOMPARE(opened.arguments().value(0), QVariant(true));
    root = layout(service, 0);
    const int napId = childIdLabelled(root, QStringLiteral("Nap"));
    QVERIFY(napId > 0);
    for (const TriskVXDBusMenuLayoutItem &child : root.children) {
        if (child.id == napId)
            QCOMPARE(child.properties.value(QStringLiteral("children-display")), QVariant(QStringLiteral("submenu")));
        if (child.properties.value(QStringLiteral("label")) == QVariant(QStringLiteral("Coming up")))
            QCOMPARE(child.properties.value(QStringLiteral("enabled")), QVariant(false));
    }
    callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("AboutToShow"), { napId });
    const TriskVXDBusMenuLayoutItem submenu = layout(service, napId);
    QCOMPARE(linesOfLayout(submenu).first(), QStringLiteral("Cancel This Time"));
    // A click from the host is a click: the real service cancels the trigger and the menu follows.
    const int cancelId = childIdLabelled(submenu, QStringLiteral("Cancel This Time"));
    const QDBusMessage clicked
        = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("Event"),
                   { cancelId, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0u });
    QCOMPARE(clicked.type(), QDBusMessage::ReplyMessage);
    QVERIFY(waitFor([&] {
        return linesOfLayout(layout(service, 0)).contains(QStringLiteral("Nothing scheduled"));
    }));
    QVERIFY(m_client->reload());
    QVERIFY(m_client->pendingIDs().isEmpty());
}

void tst_TriskVXStatusNotifierItem::aRebuildSendsOneLayoutUpdated()
{
    QVERIFY(m_watcher->start());
    TriskVXStatusMenuController controller;
    controller.setStatusBar(m_bar.get());
    controller.setClock(&m_clock);
    QVERIFY(controller.initWithObserverRequests(nullptr, nullptr));
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    const QString service = m_desktop->statusNotifierItem(controller.statusItem())->serviceName();
    listen(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("LayoutUpdated"));
    const uint before = m_desktop->statusNotifierItem(controller.statusItem())->menuExporter()->revision();
    controller.observedVariableDidBecome(kVXObserveSchedulerPending, QVariantList());
    property(service, TriskVXStatusNotifierItem::kItemPath, kItemInterface, QStringLiteral("Id"));
    QCoreApplication::processEvents();
    QCOMPARE(m_signals->names, QStringList { QStringLiteral("LayoutUpdated") });
    QCOMPARE(m_signals->arguments.first(), (QVariantList { before + 1, 0 }));
    QCOMPARE(linesOfLayout(layout(service, 0)), linesOf(controller.statusMenu()));
}

void tst_TriskVXStatusNotifierItem::watcherLeavesAndComesBack()
{
    QVERIFY(m_watcher->start());
    TriskVXStatusItem *item = makeItem();
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    m_desktop->setTrayAvailability([] {
        return false;
    });
    QVERIFY(waitFor([this] {
        return m_watcher->registeredItems().size() == 1;
    }));
    LogCapture log;
    m_watcher->stop();
    QVERIFY(waitFor([this] {
        return m_desktop->presentation() == TriskVXDesktopStatusBar::Hidden;
    }));
    QCOMPARE(log.messages("trisk.desktop").filter(QStringLiteral("the status item is not shown")).size(), 1);
    // The panel restarts: the item registers again, with the same name.
    QVERIFY(m_watcher->start());
    QVERIFY(waitFor([this] {
        return m_watcher->registeredItems().size() == 1;
    }));
    QCOMPARE(m_watcher->registeredItems().first(), m_desktop->statusNotifierItem(item)->serviceName());
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::StatusNotifier);
    // Said once only, however often it happens.
    m_watcher->stop();
    QVERIFY(waitFor([this] {
        return m_desktop->presentation() == TriskVXDesktopStatusBar::Hidden;
    }));
    QCOMPARE(log.messages("trisk.desktop").filter(QStringLiteral("the status item is not shown")).size(), 1);
}

void tst_TriskVXStatusNotifierItem::noWatcherUsesTheTray()
{
    TriskVXStatusItem *item = makeItem();
    QMenu menu;
    item->setMenu(&menu);
    // Offscreen there is no tray; this says there is one, the one way to see the fallback taken.
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    m_desktop->setTrayAvailability([] {
        return true;
    });
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::SystemTray);
    QSystemTrayIcon *tray = m_desktop->trayIcon(item);
    QVERIFY(tray);
    QVERIFY(!m_desktop->statusNotifierItem(item));
    QCOMPARE(tray->contextMenu(), &menu);
    QCOMPARE(tray->toolTip(), QStringLiteral("0:42\nNext: Backup, 10:00"));
    QVERIFY(!tray->icon().isNull());
    item->setToolTip(QStringLiteral("Next: Report, 12:00"));
    QCOMPARE(tray->toolTip(), QStringLiteral("0:42\nNext: Report, 12:00"));
    // A watcher appears: the item moves to it.
    QVERIFY(m_watcher->start());
    QVERIFY(waitFor([this] {
        return m_watcher->registeredItems().size() == 1;
    }));
    QVERIFY(!m_desktop->trayIcon(item));
    QCOMPARE(m_desktop->presentation(), TriskVXDesktopStatusBar::StatusNotifier);
}

void tst_TriskVXStatusNotifierItem::groupCallsAndPropertyUpdates()
{
    QVERIFY(m_watcher->start());
    TriskVXStatusItem *item = makeItem();
    QMenu menu;
    QAction *open = menu.addAction(QStringLiteral("Open"));
    QAction *later = menu.addAction(QStringLiteral("Later"));
    later->setEnabled(false);
    int chosen = 0;
    connect(open, &QAction::triggered, this, [&chosen] {
        ++chosen;
    });
    item->setMenu(&menu);
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    const QString service = m_desktop->statusNotifierItem(item)->serviceName();
    listen(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("ItemsPropertiesUpdated"));
    const TriskVXDBusMenuLayoutItem root = layout(service, 0);
    const int openId = childIdLabelled(root, QStringLiteral("Open"));
    const int laterId = childIdLabelled(root, QStringLiteral("Later"));
    QVERIFY(openId > 0 && laterId > 0);

    // Properties of several items; an id the host has wrong is left out.
    QDBusMessage reply
        = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("GetGroupProperties"),
                   { QVariant::fromValue(QList<int> { openId, laterId, 999 }),
                     QStringList { QStringLiteral("label"), QStringLiteral("enabled") } });
    TriskVXDBusMenuItemList items;
    reply.arguments().value(0).value<QDBusArgument>() >> items;
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).properties, (QVariantMap { { QStringLiteral("label"), QStringLiteral("Open") } }));
    QCOMPARE(
        items.at(1).properties,
        (QVariantMap { { QStringLiteral("label"), QStringLiteral("Later") }, { QStringLiteral("enabled"), false } }));
    QCOMPARE(property(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("Version")),
             QVariant(3u));

    // Events together: the good one runs, the bad id comes back; a disabled item does nothing.
    TriskVXDBusMenuEventList events { { openId, QStringLiteral("clicked"), QDBusVariant(0), 0 },
                                      { laterId, QStringLiteral("clicked"), QDBusVariant(0), 0 },
                                      { 999, QStringLiteral("clicked"), QDBusVariant(0), 0 } };
    reply = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("EventGroup"),
                     { QVariant::fromValue(events) });
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QList<int> idErrors;
    reply.arguments().value(0).value<QDBusArgument>() >> idErrors;
    QCOMPARE(idErrors, QList<int> { 999 });
    QCOMPARE(chosen, 1);
    reply = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, QStringLiteral("AboutToShowGroup"),
                     { QVariant::fromValue(QList<int> { 0, 999 }) });
    reply.arguments().value(1).value<QDBusArgument>() >> idErrors;
    QCOMPARE(idErrors, QList<int> { 999 });

    // An item that changes is announced with its new properties.
    open->setText(QStringLiteral("Open &now"));
    QVERIFY(waitFor([this] {
        return !m_signals->arguments.isEmpty();
    }));
    TriskVXDBusMenuItemList updated;
    m_signals->arguments.first().value(0).value<QDBusArgument>() >> updated;
    QCOMPARE(updated.size(), 1);
    QCOMPARE(updated.first().id, openId);
    QCOMPARE(updated.first().properties.value(QStringLiteral("label")), QVariant(QStringLiteral("Open _now")));
}

void tst_TriskVXStatusNotifierItem::labels_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("label");
    QTest::newRow("plain") << QStringLiteral("Reset") << QStringLiteral("Reset");
    QTest::newRow("mnemonic") << QStringLiteral("&Open") << QStringLiteral("_Open");
    QTest::newRow("literal ampersand") << QStringLiteral("Back up && sleep") << QStringLiteral("Back up & sleep");
    QTest::newRow("underscore") << QStringLiteral("my_event") << QStringLiteral("my__event");
    QTest::newRow("trailing ampersand") << QStringLiteral("A&") << QStringLiteral("A");
}

void tst_TriskVXStatusNotifierItem::labels()
{
    QFETCH(QString, text);
    QFETCH(QString, label);
    QCOMPARE(TriskVXDBusMenuExporter::labelOf(text), label);
}

void tst_TriskVXStatusNotifierItem::malformedCallsGetErrors_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("GetLayout, unknown id") << QStringLiteral("GetLayout") << QVariantList { 999, -1, QStringList() };
    QTest::newRow("GetProperty, unknown id")
        << QStringLiteral("GetProperty") << QVariantList { 999, QStringLiteral("label") };
    QTest::newRow("GetProperty, unknown property")
        << QStringLiteral("GetProperty") << QVariantList { 1, QStringLiteral("colour") };
    QTest::newRow("Event, unknown id") << QStringLiteral(
        "Event") << QVariantList { 999, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0u };
    QTest::newRow("AboutToShow, unknown id") << QStringLiteral("AboutToShow") << QVariantList { 999 };
    QTest::newRow("GetLayout, wrong types")
        << QStringLiteral("GetLayout") << QVariantList { QStringLiteral("root"), QStringLiteral("all") };
    QTest::newRow("Event, too few arguments") << QStringLiteral("Event") << QVariantList { 1 };
    QTest::newRow("no such method") << QStringLiteral("Explode") << QVariantList();
}

void tst_TriskVXStatusNotifierItem::malformedCallsGetErrors()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QVERIFY(m_watcher->start());
    TriskVXStatusItem *item = makeItem();
    QMenu menu;
    menu.addAction(QStringLiteral("Open"));
    item->setMenu(&menu);
    m_desktop = std::make_unique<TriskVXDesktopStatusBar>(m_bar.get(), QDBusConnection::sessionBus());
    const QString service = m_desktop->statusNotifierItem(item)->serviceName();
    // Ids are given as the host first reads the layout.
    QCOMPARE(linesOfLayout(layout(service, 0)), QStringList { QStringLiteral("Open") });
    const QDBusMessage reply
        = callItem(service, TriskVXStatusNotifierItem::kMenuPath, kMenuInterface, method, arguments);
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QVERIFY(!reply.errorMessage().isEmpty());
    // And it answers on.
    QCOMPARE(linesOfLayout(layout(service, 0)), QStringList { QStringLiteral("Open") });
}

int main(int argc, char *argv[])
{
    NotifierResources resources;
    resources.use();
    QApplication application(argc, argv);
    tst_TriskVXStatusNotifierItem test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TriskVXStatusNotifierItem.moc"
