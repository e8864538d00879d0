#include "TriskVXStatusNotifierItem.h"

#include "TriskVXBundle.h"
#include "TriskVXDBusMenuExporter.h"
#include "TriskVXDesktopLogging.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXStatusItem.h"
#include "statusnotifieritem_adaptor.h"
#include "statusnotifierwatcher_interface.h"

#include <QApplication>
#include <QDBusPendingCallWatcher>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QPainter>
#include <QPalette>
#include <QStandardPaths>

namespace {
// Widest count-down the label shows; hosts that reserve room for the label measure this.
const QString kLabelGuide = QStringLiteral("00:00:00");
const qreal kEdgeOpacity = 0.5;

int nextItemNumber()
{
    static int number = 0;
    return ++number;
}
} // namespace

const QString TriskVXStatusNotifierItem::kWatcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString TriskVXStatusNotifierItem::kWatcherPath = QStringLiteral("/StatusNotifierWatcher");
const QString TriskVXStatusNotifierItem::kItemPath = QStringLiteral("/StatusNotifierItem");
const QString TriskVXStatusNotifierItem::kMenuPath = QStringLiteral("/MenuBar");

TriskVXStatusNotifierItem::TriskVXStatusNotifierItem(TriskVXStatusItem *item, const QDBusConnection &connection,
                                                     QObject *parent)
    : QObject(parent)
    , m_item(item)
    , m_connection(connection)
    , m_serviceName(QStringLiteral("org.freedesktop.StatusNotifierItem-%1-%2")
                        .arg(QCoreApplication::applicationPid())
                        .arg(nextItemNumber()))
    , m_iconThemePath(uninstalledIconThemePath())
{
    registerTriskVXDBusImageTypes();
    new StatusNotifierItemAdaptor(this);
    m_menuExporter = new TriskVXDBusMenuExporter(m_connection, kMenuPath, this);
    m_exported = m_connection.registerObject(kItemPath, this) && m_connection.registerService(m_serviceName);
    if (!m_exported)
        qCWarning(lcTriskDesktop).noquote() << QStringLiteral("cannot export the status item as %1: %2")
                                                   .arg(m_serviceName, m_connection.lastError().message());
    if (m_item) {
        // The menu is built when the host first reads it, not before the item is even registered.
        m_menuExporter->setMenu(m_item->builtMenu());
        if (m_item->menuNeedsUpdate())
            m_menuExporter->invalidateMenu();
        connect(m_menuExporter, &TriskVXDBusMenuExporter::menuNeeded, this, [this] {
            if (m_item)
                m_menuExporter->setMenu(m_item->menu());
        });
        m_image = m_item->image();
        m_iconName = iconName();
        m_drawnText = drawnText();
        m_toolTip = m_item->toolTip();
        m_label = label();
        connect(m_item, &TriskVXStatusItem::changed, this, &TriskVXStatusNotifierItem::itemChanged);
    }
}

TriskVXStatusNotifierItem::~TriskVXStatusNotifierItem()
{
    if (m_exported) {
        m_connection.unregisterService(m_serviceName);
        m_connection.unregisterObject(kItemPath);
    }
}

void TriskVXStatusNotifierItem::registerWithWatcher()
{
    if (!m_exported || m_registered || m_registering)
        return;
    m_registering = true;
    OrgKdeStatusNotifierWatcherInterface watcher(kWatcherService, kWatcherPath, m_connection);
    auto *call = new QDBusPendingCallWatcher(watcher.RegisterStatusNotifierItem(m_serviceName), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        m_registering = false;
        if (finished->isError()) {
            m_registered = false;
            qCWarning(lcTriskDesktop).noquote()
                << QStringLiteral("the status notifier watcher did not take the status item: %1")
                       .arg(finished->error().message());
            return;
        }
        m_registered = true;
        qCInfo(lcTriskDesktop).noquote() << QStringLiteral("status item registered as %1").arg(m_serviceName);
        Q_EMIT registered();
    });
}

QString TriskVXStatusNotifierItem::title() const
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    return bundle ? bundle->localizedStringForKey(QStringLiteral("TriskVXNotifyController.name"), QString()) : id();
}

QImage TriskVXStatusNotifierItem::shownImage(const QImage &image)
{
    if (!TriskVXIImageAssistant::isTemplate(image))
        return image;
    // The host draws our pixels as they are, and the panel's own colours are not told to items: a template
    // picture takes the desktop palette's text colour, ringed by a faint edge of its window colour, so
    // that it stands out on a panel darker or lighter than the palette says (Plasma's dark panel with a
    // light application palette).
    const QPalette palette = QApplication::palette();
    const QImage glyph = TriskVXIImageAssistant::tintedTemplateImage(image, palette.color(QPalette::WindowText));
    const QImage edge = TriskVXIImageAssistant::tintedTemplateImage(image, palette.color(QPalette::Window));
    QImage shown(glyph.size(), QImage::Format_ARGB32_Premultiplied);
    shown.setDevicePixelRatio(glyph.devicePixelRatio());
    shown.fill(Qt::transparent);
    QPainter painter(&shown);
    painter.setOpacity(kEdgeOpacity);
    for (const QPoint &offset : { QPoint(-1, 0), QPoint(1, 0), QPoint(0, -1), QPoint(0, 1) })
        painter.drawImage(QPointF(offset) / glyph.devicePixelRatio(), edge);
    painter.setOpacity(1.0);
    painter.drawImage(QPointF(0, 0), glyph);
    painter.end();
    return shown;
}

QString TriskVXStatusNotifierItem::uninstalledIconThemePath()
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    if (!bundle)
        return QString();
    const QFileInfo icons(bundle->resourcePath() + QStringLiteral("/../icons"));
    if (!icons.isDir())
        return QString();
    const QString path = icons.canonicalFilePath();
    const QStringList dataFolders = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    for (const QString &folder : dataFolders) {
        if (QFileInfo(folder + QStringLiteral("/icons")).canonicalFilePath() == path)
            return QString();
    }
    return path;
}

void TriskVXStatusNotifierItem::setDrawsCountDown(bool draws)
{
    if (draws == m_drawsCountDown)
        return;
    m_drawsCountDown = draws;
    itemChanged();
}

QString TriskVXStatusNotifierItem::drawnText() const
{
    return m_drawsCountDown && m_item ? m_item->imageText() : QString();
}

QString TriskVXStatusNotifierItem::iconName() const
{
    // A host takes the named icon over the pixels: while the count-down is drawn, there is none.
    if (!m_item || !drawnText().isEmpty())
        return QString();
    return m_item->iconName();
}

TriskVXDBusImageList TriskVXStatusNotifierItem::iconPixmap() const
{
    // Hosts read every property again at each change, the pictures too: they are encoded once per look.
    if (m_iconPixmapValid)
        return m_iconPixmap;
    m_iconPixmap.clear();
    const QString drawn = drawnText();
    if (!drawn.isEmpty()) {
        for (const QImage &image : m_painter.imagesForText(drawn))
            m_iconPixmap.append(TriskVXDBusImage::fromImage(image));
    } else if (m_item && !m_item->image().isNull()) {
        m_iconPixmap.append(TriskVXDBusImage::fromImage(shownImage(m_item->image())));
    }
    m_iconPixmapValid = true;
    return m_iconPixmap;
}

TriskVXDBusToolTip TriskVXStatusNotifierItem::toolTip() const
{
    // Some hosts show the title alone (LXQt's), so the title carries what is coming up; with nothing
    // to say, it names the program.
    TriskVXDBusToolTip toolTip;
    const QString text = m_item ? m_item->toolTip() : QString();
    toolTip.title = text.isEmpty() ? title() : text;
    return toolTip;
}

QString TriskVXStatusNotifierItem::label() const
{
    // Where the count-down is drawn the host shows no label: a label ticking each second would only
    // wake it for nothing.
    return m_item && !m_drawsCountDown ? m_item->title() : QString();
}

QString TriskVXStatusNotifierItem::labelGuide() const
{
    return kLabelGuide;
}

void TriskVXStatusNotifierItem::itemChanged()
{
    if (!m_item)
        return;
    if (m_item->menuNeedsUpdate())
        m_menuExporter->invalidateMenu();
    else if (m_item->builtMenu() != m_menuExporter->menu())
        m_menuExporter->setMenu(m_item->builtMenu());
    // Each rebuild draws the picture anew: compared by its pixels (a few hundred), not by its cache key,
    // so that the host reads it again only when it looks different. While the count-down is drawn, only
    // its text counts, which changes once a second in the last minute and once a minute before.
    const QString drawn = drawnText();
    const QString name = iconName();
    const bool imageChanged = drawn.isEmpty() && m_item->image() != m_image;
    if (imageChanged || drawn != m_drawnText || name != m_iconName) {
        m_image = m_item->image();
        m_drawnText = drawn;
        m_iconName = name;
        m_iconPixmapValid = false;
        Q_EMIT NewIcon();
    }
    if (m_item->toolTip() != m_toolTip) {
        m_toolTip = m_item->toolTip();
        Q_EMIT NewToolTip();
    }
    if (label() != m_label) {
        m_label = label();
        Q_EMIT XAyatanaNewLabel(m_label, kLabelGuide);
    }
}

void TriskVXStatusNotifierItem::popUpMenu(int x, int y)
{
    if (m_item && m_item->menu())
        m_item->menu()->popup(QPoint(x, y));
}

void TriskVXStatusNotifierItem::ContextMenu(int x, int y)
{
    popUpMenu(x, y);
}

void TriskVXStatusNotifierItem::Activate(int x, int y)
{
    // The item is its menu: a host that activates instead of showing the exported menu gets it here.
    popUpMenu(x, y);
}

void TriskVXStatusNotifierItem::SecondaryActivate(int x, int y)
{
    popUpMenu(x, y);
}

void TriskVXStatusNotifierItem::Scroll(int delta, const QString &orientation)
{
    // Scrolling over the item means nothing for a scheduler.
    Q_UNUSED(delta)
    Q_UNUSED(orientation)
}
