#include "TriskVXDesktopStatusBar.h"

#include "TriskVXDesktopLogging.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusNotifierItem.h"

#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

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
                present();
            });
    if (m_connection.isConnected() && m_connection.interface())
        m_watcherPresent = m_connection.interface()->isServiceRegistered(TriskVXStatusNotifierItem::kWatcherService);
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
    tray->setIcon(QIcon(QPixmap::fromImage(TriskVXStatusNotifierItem::shownImage(item->image()))));
    // A tray has no label: the count-down joins the tool tip.
    tray->setToolTip(item->title().isEmpty() ? item->toolTip() : item->title() + QLatin1Char('\n') + item->toolTip());
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
