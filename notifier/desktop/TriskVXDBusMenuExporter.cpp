#include "TriskVXDBusMenuExporter.h"

#include "TriskVXDesktopLogging.h"
#include "TriskVXMenuAlternates.h"
#include "TriskVXMenuItem.h"
#include "TriskVXPngEncoder.h"
#include "dbusmenu_adaptor.h"

#include <QAction>
#include <QActionEvent>
#include <QDBusError>
#include <QEvent>
#include <QGuiApplication>
#include <QMenu>
#include <QTimer>

namespace {
const QString kType = QStringLiteral("type");
const QString kLabel = QStringLiteral("label");
const QString kEnabled = QStringLiteral("enabled");
const QString kVisible = QStringLiteral("visible");
const QString kIconData = QStringLiteral("icon-data");
const QString kChildrenDisplay = QStringLiteral("children-display");
const QString kToggleType = QStringLiteral("toggle-type");
const QString kToggleState = QStringLiteral("toggle-state");
const int kIconSize = 16;
// More pictures than a menu shows at once; the cache starts again when it is full.
const qsizetype kIconDataCacheSize = 256;

QByteArray pngOf(const QIcon &icon)
{
    return TriskVXPngEncoder::encode(icon.pixmap(QSize(kIconSize, kIconSize)).toImage());
}
} // namespace

TriskVXDBusMenuExporter::TriskVXDBusMenuExporter(const QDBusConnection &connection, const QString &objectPath,
                                                 QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_objectPath(objectPath)
{
    registerTriskVXDBusMenuTypes();
    new DbusmenuAdaptor(this);
    m_registered = m_connection.registerObject(m_objectPath, this);
    if (!m_registered)
        qCWarning(lcTriskDesktop).noquote()
            << QStringLiteral("cannot export the menu at %1: %2").arg(m_objectPath, m_connection.lastError().message());
}

TriskVXDBusMenuExporter::~TriskVXDBusMenuExporter()
{
    if (m_registered)
        m_connection.unregisterObject(m_objectPath);
}

QString TriskVXDBusMenuExporter::textDirection() const
{
    return QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

void TriskVXDBusMenuExporter::setMenu(QMenu *menu)
{
    m_menuOutdated = false;
    if (menu == m_menu)
        return;
    for (QMenu *watched : std::as_const(m_watched))
        watched->removeEventFilter(this);
    m_watched.clear();
    m_ids.clear();
    m_actions.clear();
    m_changedLayouts.clear();
    m_changedItems.clear();
    m_menu = menu;
    // Menus replaced in one turn of the event loop are one LayoutUpdated: each makes the host read the
    // whole layout again.
    if (!m_updatingMenu)
        scheduleLayoutUpdate(kRootId);
}

void TriskVXDBusMenuExporter::invalidateMenu()
{
    if (m_menuOutdated)
        return;
    m_menuOutdated = true;
    scheduleLayoutUpdate(kRootId);
}

void TriskVXDBusMenuExporter::updateMenu()
{
    if (!m_menuOutdated)
        return;
    m_updatingMenu = true;
    Q_EMIT menuNeeded();
    m_updatingMenu = false;
    m_menuOutdated = false;
}

int TriskVXDBusMenuExporter::idOfAction(QAction *action)
{
    const auto known = m_ids.constFind(action);
    if (known != m_ids.constEnd())
        return *known;
    const int id = m_nextId++;
    m_ids.insert(action, id);
    m_actions.insert(id, action);
    connect(action, &QObject::destroyed, this, [this, action, id] {
        m_ids.remove(action);
        m_actions.remove(id);
    });
    return id;
}

QAction *TriskVXDBusMenuExporter::actionOfId(int id) const
{
    return m_actions.value(id);
}

bool TriskVXDBusMenuExporter::isKnownId(int id) const
{
    return id == kRootId || actionOfId(id);
}

QMenu *TriskVXDBusMenuExporter::menuOfId(int id) const
{
    if (id == kRootId)
        return m_menu;
    QAction *action = actionOfId(id);
    return action ? action->menu() : nullptr;
}

QString TriskVXDBusMenuExporter::labelOf(const QString &text)
{
    QString label;
    label.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('&')) {
            if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('&')) {
                label += QLatin1Char('&');
                ++i;
            } else if (i + 1 < text.size()) {
                label += QLatin1Char('_');
            }
        } else if (c == QLatin1Char('_')) {
            label += QStringLiteral("__");
        } else {
            label += c;
        }
    }
    return label;
}

QVariantMap TriskVXDBusMenuExporter::propertiesOf(QAction *action, const QStringList &names) const
{
    QVariantMap properties;
    auto wanted = [&names](const QString &name) {
        return names.isEmpty() || names.contains(name);
    };
    // Defaults (enabled, visible, standard type) are left out, as the protocol allows.
    if (!action->isVisible() && wanted(kVisible))
        properties.insert(kVisible, false);
    if (action->isSeparator()) {
        if (wanted(kType))
            properties.insert(kType, QStringLiteral("separator"));
        return properties;
    }
    if (wanted(kLabel))
        properties.insert(kLabel, labelOf(action->text()));
    if (!action->isEnabled() && wanted(kEnabled))
        properties.insert(kEnabled, false);
    if (TriskVXMenuItem::hasSubmenu(action) && wanted(kChildrenDisplay))
        properties.insert(kChildrenDisplay, QStringLiteral("submenu"));
    if (!action->icon().isNull() && wanted(kIconData))
        properties.insert(kIconData, iconDataOf(action->icon()));
    if (action->isCheckable()) {
        if (wanted(kToggleType))
            properties.insert(kToggleType, QStringLiteral("checkmark"));
        if (wanted(kToggleState))
            properties.insert(kToggleState, action->isChecked() ? 1 : 0);
    }
    return properties;
}

QByteArray TriskVXDBusMenuExporter::iconDataOf(const QIcon &icon) const
{
    // A menu shows the same few pictures on many lines and again after each rebuild; encoding each line's
    // PNG anew took most of a layout's time.
    const qint64 key = icon.cacheKey();
    const auto cached = m_iconData.constFind(key);
    if (cached != m_iconData.constEnd())
        return *cached;
    if (m_iconData.size() >= kIconDataCacheSize)
        m_iconData.clear();
    const QByteArray png = pngOf(icon);
    m_iconData.insert(key, png);
    return png;
}

void TriskVXDBusMenuExporter::watch(QMenu *menu)
{
    if (m_watched.contains(menu))
        return;
    m_watched.insert(menu);
    menu->installEventFilter(this);
    connect(menu, &QObject::destroyed, this, [this, menu] {
        m_watched.remove(menu);
    });
    // The host cannot follow modifier keys: every alternate that does something is a line of its own.
    if (TriskVXMenuAlternates *alternates = TriskVXMenuAlternates::of(menu))
        alternates->setPresentation(TriskVXMenuAlternates::ShowAll);
}

QVariantMap TriskVXDBusMenuExporter::propertiesOfId(int id, const QStringList &names) const
{
    // The root is the menu itself: it has children and nothing else to say.
    if (id == kRootId)
        return { { kChildrenDisplay, QStringLiteral("submenu") } };
    QAction *action = actionOfId(id);
    return action ? propertiesOf(action, names) : QVariantMap();
}

TriskVXDBusMenuLayoutItem TriskVXDBusMenuExporter::layoutOf(int id, QMenu *menu, int depth, const QStringList &names)
{
    TriskVXDBusMenuLayoutItem item;
    item.id = id;
    item.properties = propertiesOfId(id, names);
    if (!menu || depth == 0)
        return item;
    watch(menu);
    const QList<QAction *> actions = menu->actions();
    for (QAction *action : actions) {
        const int childId = idOfAction(action);
        item.children.append(layoutOf(childId, action->menu(), depth < 0 ? -1 : depth - 1, names));
    }
    return item;
}

void TriskVXDBusMenuExporter::refuseUnknownId(int id)
{
    if (calledFromDBus())
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("no menu item has the id %1").arg(id));
}

uint TriskVXDBusMenuExporter::GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                                        TriskVXDBusMenuLayoutItem &layout)
{
    if (parentId == kRootId)
        updateMenu();
    if (!isKnownId(parentId)) {
        refuseUnknownId(parentId);
        return m_revision;
    }
    layout = layoutOf(parentId, menuOfId(parentId), recursionDepth, propertyNames);
    return m_revision;
}

TriskVXDBusMenuItemList TriskVXDBusMenuExporter::GetGroupProperties(const QList<int> &ids,
                                                                    const QStringList &propertyNames)
{
    // Ids the host no longer has right are left out, as the protocol has it for a group.
    TriskVXDBusMenuItemList items;
    for (int id : ids) {
        if (isKnownId(id))
            items.append({ id, propertiesOfId(id, propertyNames) });
    }
    return items;
}

QDBusVariant TriskVXDBusMenuExporter::GetProperty(int id, const QString &name)
{
    QAction *action = actionOfId(id);
    if (!action) {
        refuseUnknownId(id);
        return QDBusVariant(QString());
    }
    const QVariant value = propertiesOf(action, { name }).value(name);
    if (!value.isValid()) {
        if (calledFromDBus())
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("menu item %1 has no property %2").arg(id).arg(name));
        return QDBusVariant(QString());
    }
    return QDBusVariant(value);
}

bool TriskVXDBusMenuExporter::runEvent(int id, const QString &eventId)
{
    if (!isKnownId(id))
        return false;
    QMenu *menu = menuOfId(id);
    QAction *action = actionOfId(id);
    if (eventId == QLatin1String("clicked")) {
        // As a local click: the item as its menu's opening left it; a disabled one does nothing.
        if (action && !action->menu() && action->isEnabled())
            action->trigger();
    } else if (eventId == QLatin1String("opened")) {
        if (menu)
            Q_EMIT menu->aboutToShow();
    } else if (eventId == QLatin1String("closed")) {
        if (menu)
            Q_EMIT menu->aboutToHide();
    }
    // "hovered" and events the protocol may add mean nothing here.
    return true;
}

void TriskVXDBusMenuExporter::Event(int id, const QString &eventId, const QDBusVariant &data, uint timestamp)
{
    Q_UNUSED(data)
    Q_UNUSED(timestamp)
    if (!runEvent(id, eventId))
        refuseUnknownId(id);
}

QList<int> TriskVXDBusMenuExporter::EventGroup(const TriskVXDBusMenuEventList &events)
{
    QList<int> idErrors;
    for (const TriskVXDBusMenuEvent &event : events) {
        if (!runEvent(event.id, event.eventId))
            idErrors.append(event.id);
    }
    if (!events.isEmpty() && idErrors.size() == events.size() && calledFromDBus())
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("no menu item has any of the ids given"));
    return idErrors;
}

bool TriskVXDBusMenuExporter::showMenu(QMenu *menu)
{
    if (!menu)
        return false;
    // Opening fills what the menu makes lazily (a trigger's submenu) and validates its items.
    m_changedDuringShow = false;
    watch(menu);
    Q_EMIT menu->aboutToShow();
    return m_changedDuringShow;
}

bool TriskVXDBusMenuExporter::AboutToShow(int id)
{
    if (id == kRootId)
        updateMenu();
    if (!isKnownId(id)) {
        refuseUnknownId(id);
        return false;
    }
    const bool changed = showMenu(menuOfId(id));
    flushUpdates();
    return changed;
}

QList<int> TriskVXDBusMenuExporter::AboutToShowGroup(const QList<int> &ids, QList<int> &idErrors)
{
    QList<int> updatesNeeded;
    if (ids.contains(kRootId))
        updateMenu();
    for (int id : ids) {
        if (!isKnownId(id))
            idErrors.append(id);
        else if (showMenu(menuOfId(id)))
            updatesNeeded.append(id);
    }
    flushUpdates();
    return updatesNeeded;
}

bool TriskVXDBusMenuExporter::eventFilter(QObject *watched, QEvent *event)
{
    auto *menu = qobject_cast<QMenu *>(watched);
    if (menu && m_watched.contains(menu)) {
        switch (event->type()) {
        case QEvent::ActionAdded:
        case QEvent::ActionRemoved:
            m_changedDuringShow = true;
            scheduleLayoutUpdate(menu == m_menu ? kRootId : m_ids.value(menu->menuAction(), -1));
            break;
        case QEvent::ActionChanged: {
            auto *action = static_cast<QActionEvent *>(event)->action();
            m_changedDuringShow = true;
            if (m_ids.contains(action)) {
                m_changedItems.insert(action);
                scheduleLayoutUpdate(-1);
            }
            break;
        }
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void TriskVXDBusMenuExporter::scheduleLayoutUpdate(int parentId)
{
    if (parentId >= 0)
        m_changedLayouts.insert(parentId);
    if (m_updateScheduled)
        return;
    m_updateScheduled = true;
    // Changes made together go out together.
    QTimer::singleShot(0, this, &TriskVXDBusMenuExporter::flushUpdates);
}

void TriskVXDBusMenuExporter::flushUpdates()
{
    m_updateScheduled = false;
    if (!m_changedItems.isEmpty()) {
        TriskVXDBusMenuItemList updated;
        for (QAction *action : std::as_const(m_changedItems)) {
            const int id = m_ids.value(action, -1);
            if (id >= 0)
                updated.append({ id, propertiesOf(action) });
        }
        m_changedItems.clear();
        if (!updated.isEmpty())
            Q_EMIT ItemsPropertiesUpdated(updated, {});
    }
    if (!m_changedLayouts.isEmpty()) {
        ++m_revision;
        // One signal: from the root when it changed, else from the one menu that did.
        const int parent = m_changedLayouts.size() == 1 ? *m_changedLayouts.constBegin() : kRootId;
        m_changedLayouts.clear();
        Q_EMIT LayoutUpdated(m_revision, parent);
    }
}
