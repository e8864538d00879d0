#include "TriskVXDesktopStatusBar.h"

#include "TriskVXCountDownIconPainter.h"
#include "TriskVXDesktopLogging.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusNotifierItem.h"
#include "TriskVXUserDefaults.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QFileInfo>
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

namespace {
// Programs that show an item's label beside its picture: GNOME Shell's AppIndicator extension, MATE's
// panel, and the indicator service behind XFCE's and MATE's indicator plugins. Every other host (Plasma,
// xfce4-panel's tray, LXQt, Cinnamon, unknown ones) gets the count-down drawn as the picture, which any
// host shows.
const QStringList kLabelHosts { QStringLiteral("gnome-shell"), QStringLiteral("mate-panel"),
                                QStringLiteral("indicator-application-service"),
                                QStringLiteral("ayatana-indicator-application-service") };
// The kernel keeps this many characters of a program's name in /proc/<pid>/comm.
const qsizetype kCommLength = 15;

QStringList processNamesOf(uint pid)
{
    QStringList names;
    QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
    if (comm.open(QIODevice::ReadOnly))
        names.append(QString::fromLocal8Bit(comm.readAll()).trimmed());
    const QString exe = QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget();
    if (!exe.isEmpty())
        names.append(QFileInfo(exe).fileName());
    names.removeAll(QString());
    return names;
}
} // namespace

const QString TriskVXDesktopStatusBar::kCountDownInIconKey = QStringLiteral("StatusItemCountDownInIcon");

TriskVXDesktopStatusBar::TriskVXDesktopStatusBar(TriskVXStatusBar *bar, const QDBusConnection &connection,
                                                 QObject *parent)
    : QObject(parent)
    , m_bar(bar)
    , m_connection(connection)
    , m_trayAvailable(&QSystemTrayIcon::isSystemTrayAvailable)
{
    m_watcherWatcher = new QDBusServiceWatcher(TriskVXStatusNotifierItem::kWatcherService, m_connection,
                                               QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcherWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &newOwner) {
                m_watcherPresent = !newOwner.isEmpty();
                // A watcher that comes (back) knows nothing of the items: each registers again.
                for (TriskVXStatusNotifierItem *exported : std::as_const(m_statusNotifierItems))
                    exported->watcherLost();
                qCInfo(lcTriskDesktop).noquote()
                    << (m_watcherPresent ? QStringLiteral("a status notifier watcher is on the bus")
                                         : QStringLiteral("the status notifier watcher left the bus"));
                identifyHost();
                present();
            });
    if (m_connection.isConnected() && m_connection.interface())
        m_watcherPresent = m_connection.interface()->isServiceRegistered(TriskVXStatusNotifierItem::kWatcherService);
    const TriskVXUserDefaults *defaults = TriskVXUserDefaults::standardUserDefaults();
    if (defaults->objectForKey(kCountDownInIconKey).isValid())
        m_placement = defaults->boolForKey(kCountDownInIconKey) ? CountDownInIcon : CountDownInLabel;
    identifyHost();
    connect(m_bar, &TriskVXStatusBar::itemAdded, this, &TriskVXDesktopStatusBar::showItem);
    connect(m_bar, &TriskVXStatusBar::itemRemoved, this, &TriskVXDesktopStatusBar::forgetItem);
    present();
}

TriskVXDesktopStatusBar::~TriskVXDesktopStatusBar()
{
    qDeleteAll(m_trayIcons);
    qDeleteAll(m_statusNotifierItems);
}

TriskVXStatusNotifierItem *TriskVXDesktopStatusBar::statusNotifierItem(TriskVXStatusItem *item) const
{
    return m_statusNotifierItems.value(item);
}

QSystemTrayIcon *TriskVXDesktopStatusBar::trayIcon(TriskVXStatusItem *item) const
{
    return m_trayIcons.value(item);
}

void TriskVXDesktopStatusBar::setTrayAvailability(std::function<bool()> available)
{
    m_trayAvailable = std::move(available);
    present();
}

bool TriskVXDesktopStatusBar::hostShowsLabels(const QStringList &processNames)
{
    for (const QString &name : processNames) {
        for (const QString &host : kLabelHosts) {
            if (name == host || (name.size() == kCommLength && host.startsWith(name)))
                return true;
        }
    }
    return false;
}

bool TriskVXDesktopStatusBar::drawsCountDown() const
{
    switch (m_placement) {
    case CountDownInLabel:
        return false;
    case CountDownInIcon:
        return true;
    case CountDownAutomatic:
        break;
    }
    // A tray shows no labels; nor, as far as we know, does a host we could not identify.
    return !m_watcherPresent || !hostShowsLabels(m_hostProcessNames);
}

void TriskVXDesktopStatusBar::identifyHost()
{
    m_hostProcessNames.clear();
    if (!m_watcherPresent || !m_connection.isConnected())
        return;
    // The bus daemon knows the process behind any name, the watcher's included.
    QDBusMessage ask = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"));
    ask << TriskVXStatusNotifierItem::kWatcherService;
    auto *call = new QDBusPendingCallWatcher(m_connection.asyncCall(ask), this);
    const int serial = ++m_hostQuery;
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, serial](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        if (serial != m_hostQuery)
            return;
        const QDBusPendingReply<uint> reply = *finished;
        if (reply.isError()) {
            qCWarning(lcTriskDesktop).noquote()
                << QStringLiteral("cannot tell which program hosts the status items: %1").arg(reply.error().message());
        } else {
            m_hostProcessNames = processNamesOf(reply.value());
            qCInfo(lcTriskDesktop).noquote() << QStringLiteral("the status items are hosted by %1 (process %2)")
                                                    .arg(m_hostProcessNames.join(QLatin1Char('/')))
                                                    .arg(reply.value());
        }
        placeCountDowns();
        Q_EMIT hostIdentified(m_hostProcessNames);
    });
}

void TriskVXDesktopStatusBar::placeCountDowns()
{
    const bool draws = drawsCountDown();
    for (TriskVXStatusNotifierItem *exported : std::as_const(m_statusNotifierItems))
        exported->setDrawsCountDown(draws);
    for (auto tray = m_trayIcons.cbegin(); tray != m_trayIcons.cend(); ++tray)
        updateTray(tray.key());
}

void TriskVXDesktopStatusBar::setPresentation(Presentation presentation)
{
    if (presentation == Hidden && !m_saidHidden) {
        // Once: the panels, warnings and notifications go on without the item.
        m_saidHidden = true;
        qCWarning(lcTriskDesktop).noquote()
            << QStringLiteral("no status notifier watcher and no system tray: the status item is not shown");
    }
    if (presentation == m_presentation)
        return;
    m_presentation = presentation;
    Q_EMIT presentationChanged(presentation);
}

void TriskVXDesktopStatusBar::present()
{
    if (!m_bar)
        return;
    const QList<TriskVXStatusItem *> items = m_bar->items();
    for (TriskVXStatusItem *item : items)
        showItem(item);
    if (m_watcherPresent)
        setPresentation(StatusNotifier);
    else if (m_trayAvailable && m_trayAvailable())
        setPresentation(SystemTray);
    else
        setPresentation(Hidden);
}

void TriskVXDesktopStatusBar::showItem(TriskVXStatusItem *item)
{
    if (m_watcherPresent) {
        delete m_trayIcons.take(item);
        TriskVXStatusNotifierItem *exported = m_statusNotifierItems.value(item);
        if (!exported) {
            exported = new TriskVXStatusNotifierItem(item, m_connection);
            m_statusNotifierItems.insert(item, exported);
        }
        exported->setDrawsCountDown(drawsCountDown());
        exported->registerWithWatcher();
        return;
    }
    if (!m_trayAvailable || !m_trayAvailable())
        return;
    if (!m_trayIcons.contains(item)) {
        auto *tray = new QSystemTrayIcon;
        m_trayIcons.insert(item, tray);
        connect(item, &TriskVXStatusItem::changed, tray, [this, item] {
            updateTray(item);
        });
        connect(tray, &QSystemTrayIcon::activated, tray, [item](QSystemTrayIcon::ActivationReason reason) {
            // A left click shows the same menu as a right click.
            if (reason == QSystemTrayIcon::Trigger && item->menu())
                item->menu()->popup(QCursor::pos());
        });
    }
    updateTray(item);
    m_trayIcons.value(item)->show();
}

void TriskVXDesktopStatusBar::updateTray(TriskVXStatusItem *item)
{
    QSystemTrayIcon *tray = m_trayIcons.value(item);
    if (!tray)
        return;
    QIcon icon;
    if (drawsCountDown() && !item->imageText().isEmpty()) {
        for (const QImage &image : m_painter.imagesForText(item->imageText()))
            icon.addPixmap(QPixmap::fromImage(image));
    } else {
        icon.addPixmap(QPixmap::fromImage(TriskVXStatusNotifierItem::shownImage(item->image())));
    }
    tray->setIcon(icon);
    // A tray has no label: the title joins the tool tip, unless the tool tip tells the count-down already.
    const bool told = item->title().isEmpty() || item->toolTip().contains(item->title());
    tray->setToolTip(told ? item->toolTip() : item->title() + QLatin1Char('\n') + item->toolTip());
    if (tray->contextMenu() != item->menu())
        tray->setContextMenu(item->menu());
    // The host's icon size is the bar's thickness where the tray tells it.
    const int height = tray->geometry().height();
    if (height > 0 && m_bar)
        m_bar->setThickness(height);
}

void TriskVXDesktopStatusBar::forgetItem(TriskVXStatusItem *item)
{
    delete m_trayIcons.take(item);
    delete m_statusNotifierItems.take(item);
}
