#include "TriskVXStatusMenuController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXIDateTransformer.h"
#include "TriskVXIImageAssistant.h"
#include "TriskVXImageIconEngine.h"
#include "TriskVXMenuItem.h"
#include "TriskVXNil.h"
#include "TriskVXStatusItem.h"
#include "TriskVXUserDefaults.h"

#include <QApplication>
#include <QLocale>
#include <QPalette>
#include <QPixmap>
#include <QThreadPool>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {
const QString kEmphasizeIconDefault = QStringLiteral("emphasize icon");
const QString kSectionTitle = QStringLiteral("title");
const QString kSectionItems = QStringLiteral("items");
const QString kSectionPlaceholder = QStringLiteral("{{SectionName}}");
const int kPlaceholderTag = 1;
const int kSectionItemsTag = 1;
const int kSectionHeadingTag = 2;
const QString kQuickScheduleAction = QStringLiteral("quickSchedule:");
// The fixed items that reach the service (the Quick Schedule panel adds events through it).
const QStringList kServiceActions { kQuickScheduleAction };
// Entries of the pending and on-demand lists above which a rebuild hands freed memory back.
const qsizetype kLongListsForTrim = 1000;
const int kTrimAfterMSecs = 2000;

QVariantMap mapOf(const QVariant &value)
{
    return value.toMap();
}

// The assertion text for a parameter checked by its name alone ("anEvent"), not by a condition.
QString invalidParameter(const QString &name)
{
    return QStringLiteral("Invalid parameter not satisfying: %1").arg(name);
}

// Replacing a timer invalidates the old one; it may be the one whose tick is running, so it goes later.
template<typename Timer> void invalidate(Timer *timer)
{
    if (!timer)
        return;
    timer->stop();
    timer->deleteLater();
}
} // namespace

TriskVXStatusMenuController::TriskVXStatusMenuController(QObject *parent)
    : TriskVXStatusMenu(parent)
{
}

TriskVXStatusMenuController::~TriskVXStatusMenuController()
{
    m_onDemandEvents.clear();
    m_pendingEvents.clear();
    m_allEvents.clear();
    m_schedulerEnabled.clear();
    m_nextCurrentQueuedTrigger.clear();
    m_nextPendingQueuedTrigger.clear();
    setEmphasizeTimer(nullptr);
    setCountDownTimer(nullptr);
    m_dateTransformer.reset();
    delete m_statusMenu;
    delete m_quickMenu;
}

void TriskVXStatusMenuController::registerClass()
{
    TriskVXClassRegistry::registerClass(QStringLiteral("TriskVXStatusMenuController"), [] {
        return new TriskVXStatusMenuController;
    });
}

QSet<QString> TriskVXStatusMenuController::observes() const
{
    return { kVXObserveSchedulerEnabled, kVXObserveSchedulerPending, kVXObserveNotificationsCurrent,
             kVXObserveOnDemandAvailable, kVXObserveSchedulerActive };
}

bool TriskVXStatusMenuController::initWithObserverRequests(TriskVXObserver *observer,
                                                           TriskVXRequestsController *requests)
{
    // The superclass loads the interface; the outlets are read before its closing didShow rebuilds.
    if (!TriskVXStatusMenu::initWithObserverRequests(observer, requests))
        return false;
    TRISK_ASSERT(templateMenu() != nil, QStringLiteral("%1's templateMenu must be connected").arg(className()));
    TRISK_ASSERT(m_triggerTemplateMenu != nil,
                 QStringLiteral("%1's triggerTemplateMenu must be connected").arg(className()));
    // An invalid zone: dates follow the clock's zone, which moves with the system's.
    m_dateTransformer = std::make_unique<TriskVXIDateTransformer>(clock(), QLocale(), QTimeZone());
    const QVariant emphasize = TriskVXUserDefaults::standardUserDefaults()->objectForKey(kEmphasizeIconDefault);
    TRISK_ASSERT(emphasize != nil, QStringLiteral("%1 default is required").arg(kEmphasizeIconDefault));
    setEmphasizeInterval(emphasize.toDouble());
    m_quickMenu = makeQuickScheduleMenu();
    // The observer keeps the last values it read through an outage; the connection says when they stop
    // being true, and the observer's next full read when they are again.
    if (TriskVXConnection *connection = observer ? observer->connection() : nullptr) {
        m_serviceReachable = connection->isValid();
        connect(connection, &TriskVXConnection::validChanged, this, [this](bool valid) {
            if (!valid)
                setServiceReachable(false);
        });
        connect(observer, &TriskVXObserver::reloaded, this, [this, connection] {
            if (connection->isValid())
                setServiceReachable(true);
        });
    }
    // A template image's icon is flagged as a mask: it takes the colour of where it is drawn.
    const QList<QAction *> triggerItems = m_triggerTemplateMenu->actions();
    for (QAction *item : triggerItems) {
        QIcon icon = item->icon();
        if (icon.isNull())
            continue;
        icon.setIsMask(true);
        item->setIcon(icon);
    }
    outdateMenu();
    return true;
}

void TriskVXStatusMenuController::didShow()
{
    // The outlets are needed by every rebuild, also the one the superclass's initialiser runs.
    if (!m_triggerTemplateMenu) {
        m_triggerTemplateMenu = qobject_cast<QMenu *>(outlet(QStringLiteral("triggerTemplateMenu")));
        m_sectionTemplateMenu = qobject_cast<QMenu *>(outlet(QStringLiteral("sectionTemplateMenu")));
        m_performNowTemplateMenu = qobject_cast<QMenu *>(outlet(QStringLiteral("performNowTemplateMenu")));
        m_removeHalvaneTemplateItem = qobject_cast<QAction *>(outlet(QStringLiteral("removeHalvaneTemplateItem")));
    }
    TriskVXStatusMenu::didShow();
    if (TriskVXStatusItem *item = statusItem()) {
        item->setMenuBuilder([this] {
            buildMenu(m_pendingEvents);
        });
    }
    outdateMenu();
}

void TriskVXStatusMenuController::observedVariableDidBecome(const QString &observed, const QVariant &value)
{
    if (observed == kVXObserveSchedulerPending) {
        m_pendingEvents = value;
        scheduleUpdate(true);
    }
    if (observed == kVXObserveNotificationsCurrent) {
        const QVariantList list = value.toList();
        m_nextCurrentQueuedTrigger = list.isEmpty() ? QVariant() : list.first();
        scheduleUpdate(false);
    }
    if (observed == kVXObserveOnDemandAvailable) {
        m_onDemandEvents = value;
        scheduleUpdate(true);
    }
    if (observed == kVXObserveSchedulerActive) {
        m_activeEvents = value;
        scheduleUpdate(true);
    }
    if (observed == kVXObserveSchedulerEnabled) {
        m_schedulerEnabled = value;
        scheduleUpdate(true);
    }
}

void TriskVXStatusMenuController::setServiceReachable(bool reachable)
{
    if (reachable == m_serviceReachable)
        return;
    m_serviceReachable = reachable;
    scheduleUpdate(true);
}

bool TriskVXStatusMenuController::isRebuildScheduled() const
{
    return m_updateTimer && m_updateTimer->isActive();
}

void TriskVXStatusMenuController::scheduleUpdate(bool menu)
{
    // With 10,000 triggers a burst of firings brings a report per firing; rebuilding at each one blocked
    // the notifier for seconds and left the panel re-reading the menu (docs/decisions.md).
    m_menuOutdated = m_menuOutdated || menu;
    m_titleOutdated = true;
    if (!m_updateTimer) {
        m_updateTimer = new QTimer(this);
        m_updateTimer->setSingleShot(true);
        connect(m_updateTimer, &QTimer::timeout, this, &TriskVXStatusMenuController::runScheduledUpdate);
    }
    if (m_updateTimer->isActive())
        return;
    const qint64 since = m_sinceRebuild.isValid() ? m_sinceRebuild.elapsed() : kRebuildSpacingMSecs;
    m_updateTimer->start(static_cast<int>(std::max<qint64>(0, kRebuildSpacingMSecs - since)));
}

void TriskVXStatusMenuController::runScheduledUpdate()
{
    // A rebuild sets the title too.
    const bool rebuilt = m_menuOutdated;
    if (m_menuOutdated)
        outdateMenu();
    else if (m_titleOutdated)
        updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
    m_titleOutdated = false;
    if (rebuilt && m_pendingEvents.toList().size() + m_onDemandEvents.toList().size() > kLongListsForTrim)
        scheduleTrim();
}

void TriskVXStatusMenuController::scheduleTrim()
{
#ifdef __GLIBC__
    // The lists just replaced were freed, but the heap keeps their pages: after a burst of reports on
    // 10,000 triggers that was ~75 MB the notifier held on to (docs/decisions.md). Handing them back
    // takes 6-150 ms for 40-50 MB, so it waits until the reports have stopped coming for a while, once
    // per burst, and runs on a pool thread, off the event loop.
    if (!m_trimTimer) {
        m_trimTimer = new QTimer(this);
        m_trimTimer->setSingleShot(true);
        m_trimTimer->setInterval(kTrimAfterMSecs);
        connect(m_trimTimer, &QTimer::timeout, this, [] {
            QThreadPool::globalInstance()->start([] {
                malloc_trim(0);
            });
        });
    }
    m_trimTimer->start();
#endif
}

bool TriskVXStatusMenuController::isSchedulerEnabled() const
{
    return m_schedulerEnabled == nil || m_schedulerEnabled.toBool();
}

void TriskVXStatusMenuController::setEmphasizeInterval(double interval)
{
    if (interval != m_emphasizeInterval)
        m_emphasizeInterval = interval;
}

void TriskVXStatusMenuController::setEmphasizeTimer(QTimer *timer)
{
    if (timer == m_emphasizeTimer)
        return;
    invalidate(m_emphasizeTimer);
    m_emphasizeTimer = timer;
}

void TriskVXStatusMenuController::setCountDownTimer(TriskVXSecondTimer *timer)
{
    if (timer == m_countDownTimer)
        return;
    invalidate(m_countDownTimer);
    m_countDownTimer = timer;
}

void TriskVXStatusMenuController::updateWithCurrent(const QVariant &current)
{
    const QVariantList list = current.toList();
    m_nextCurrentQueuedTrigger = list.isEmpty() ? QVariant() : list.first();
    updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
}

QString TriskVXStatusMenuController::localized(const QString &key) const
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    return bundle ? bundle->localizedStringForKey(key, QString()) : key;
}

QIcon TriskVXStatusMenuController::iconForImage(const QImage &image) const
{
    if (image.isNull())
        return QIcon();
    const bool isTemplate = TriskVXIImageAssistant::isTemplate(image);
    const qint64 key = image.cacheKey();
    const auto cached = m_iconCache.constFind(key);
    if (cached != m_iconCache.constEnd())
        return *cached;
    // A template image takes the colour of the menu's text, so that it shows on light and dark menus.
    const QImage shown = isTemplate
        ? TriskVXIImageAssistant::tintedTemplateImage(image, QApplication::palette("QMenu").color(QPalette::WindowText))
        : image;
    // Its pixels are read without Qt's shared pixmap cache, which would wake the idle program later.
    QIcon icon = TriskVXImageIconEngine::iconWithImage(shown);
    icon.setIsMask(isTemplate);
    if (m_iconCache.size() > 256)
        m_iconCache.clear();
    m_iconCache.insert(key, icon);
    return icon;
}

QImage TriskVXStatusMenuController::imageForMenuItemForUIIdentifier(const QUrl &identifier) const
{
    // Built-in pictures are the same at every rebuild: one marked image each keeps its icon cached too.
    const bool builtIn = identifier.scheme() == TriskVXIImageAssistantSchemeBuiltIn;
    const QString cacheKey
        = builtIn ? identifier.toString() + QLatin1Char('@') + QString::number(imageSizeForMenuItem()) : QString();
    if (builtIn) {
        const auto cached = m_menuImageCache.constFind(cacheKey);
        if (cached != m_menuImageCache.constEnd())
            return *cached;
    }
    QImage image = imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        identifier, QSizeF(imageSizeForMenuItem(), imageSizeForMenuItem()), TriskVXIImageAssistantVariationNone);
    if (builtIn) {
        TriskVXIImageAssistant::setTemplate(image, true);
        m_menuImageCache.insert(cacheKey, image);
    }
    return image;
}

QAction *TriskVXStatusMenuController::newItemForEvent(const QVariant &event, const QString &title,
                                                      QObject *parent) const
{
    auto *item = new QAction(parent);
    TriskVXMenuItem::setTitle(item, title);
    const QImage image = imageForMenuItemForUIIdentifier(imageAssistant()->UIIdentifierForEvent(event));
    item->setIcon(iconForImage(image));
    return item;
}

QMenu *TriskVXStatusMenuController::statusMenu()
{
    if (m_menuUnbuilt)
        buildMenu(m_pendingEvents);
    return m_statusMenu;
}

QVariant TriskVXStatusMenuController::nextPendingOf(const QVariant &pending) const
{
    // Unreachable, the last lists read are no longer the schedule.
    const QVariantList queued = m_serviceReachable ? pending.toList() : QVariantList();
    return queued.isEmpty() ? QVariant() : queued.first();
}

void TriskVXStatusMenuController::outdateMenu()
{
    // The title shows at once; the menu's content waits until something reads it (the host, as it lays
    // the menu out or opens it), so that reports nobody looks at build nothing.
    m_menuOutdated = false;
    m_titleOutdated = false;
    if (m_updateTimer)
        m_updateTimer->stop();
    m_sinceRebuild.start();
    m_menuUnbuilt = true;
    m_nextPendingQueuedTrigger = nextPendingOf(m_pendingEvents);
    if (TriskVXStatusItem *item = statusItem())
        item->setMenuNeedsUpdate();
    updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
}

void TriskVXStatusMenuController::updateWithPending(const QVariant &pending)
{
    buildMenu(pending);
    updateTitleWithQueuedTrigger(m_nextPendingQueuedTrigger);
}

void TriskVXStatusMenuController::buildMenu(const QVariant &pending)
{
    QMenu *templ = templateMenu();
    if (!templ)
        return;
    // The copy first, so that every new item is born owned by the menu it goes into.
    QMenu *menu = TriskVXMenuItem::copyMenu(templ);
    const QList<QAction *> templateItems = menu->actions();
    qsizetype placeholderIndex = -1;
    for (qsizetype i = 0; i < templateItems.size(); ++i) {
        if (TriskVXMenuItem::tag(templateItems.at(i)) == kPlaceholderTag) {
            placeholderIndex = i;
            break;
        }
    }
    if (placeholderIndex < 0) {
        delete menu;
        TRISK_ASSERT(false,
                     QStringLiteral("%1's templateMenu must have a tagged placeholder menu item.").arg(className()));
        return;
    }

    // Unreachable, the last lists read are no longer the schedule: none of it is shown.
    const bool reachable = m_serviceReachable;
    const QVariantList queued = reachable ? pending.toList() : QVariantList();
    const QList<QAction *> activeItems = reachable ? activeSectionItems(menu) : QList<QAction *>();
    const QList<QAction *> onDemandItems = reachable ? onDemandSectionItems(menu) : QList<QAction *>();
    const QList<QAction *> pendingItems = pendingSectionItems(queued, menu);

    // The sections, each in its frame.
    const QList<std::pair<QString, QList<QAction *>>> sections = {
        { QStringLiteral("TriskVXStatusMenuController.section.active"), activeItems },
        { QStringLiteral("TriskVXStatusMenuController.section.ondemand"), onDemandItems },
        { QStringLiteral("TriskVXStatusMenuController.section.pending"), pendingItems },
    };
    QList<QAction *> collected;
    for (const auto &[key, items] : sections) {
        if (items.isEmpty())
            continue;
        if (!collected.isEmpty())
            collected.append(TriskVXMenuItem::separatorItem(menu));
        // The key itself is the fallback, as localized() answers for any key without text.
        collected.append(encloseMenuItemsAsSection(items, localized(key), menu));
    }

    // The sections take the placeholder's place.
    QAction *placeholder = templateItems.at(placeholderIndex);
    menu->insertActions(placeholder, collected);
    menu->removeAction(placeholder);
    delete placeholder;

    // The one Quick Schedule submenu moves into the new menu.
    if (m_quickMenu && m_statusMenu) {
        const QList<QAction *> previous = m_statusMenu->actions();
        for (QAction *holder : previous) {
            if (holder->menu() == m_quickMenu)
                TriskVXMenuItem::setSubmenu(holder, nullptr);
        }
    }
    if (!reachable) {
        removeServiceCommands(menu);
    } else if (m_quickMenu && !m_quickMenu->actions().isEmpty()) {
        const QList<QAction *> items = menu->actions();
        for (QAction *item : items) {
            if (TriskVXMenuItem::action(item) == kQuickScheduleAction) {
                TriskVXMenuItem::setSubmenu(item, m_quickMenu);
                break;
            }
        }
    }

    appendRemoveItem(menu);

    // The information line goes in before the item shows the menu.
    m_nextPendingQueuedTrigger = nextPendingOf(pending);
    if (queued.isEmpty()) {
        if (collected.isEmpty()) {
            QString title;
            QString toolTip;
            if (!reachable) {
                title = localized(QStringLiteral("STATUSMENU_UNAVAILABLE"));
                toolTip = localized(QStringLiteral("STATUSMENU_DISCONNECTED_TOOLTIP"));
            } else if (!isSchedulerEnabled()) {
                title = localized(QStringLiteral("STATUSMENU_STOPPED"));
                toolTip = localized(QStringLiteral("STATUSMENU_STOPPED_TOOLTIP"));
            } else if (pending.typeId() == QMetaType::QVariantList) {
                title = localized(QStringLiteral("STATUSMENU_EMPTY"));
                toolTip = localized(QStringLiteral("STATUSMENU_EMPTY_TOOLTIP"));
            } else {
                title = localized(QStringLiteral("STATUSMENU_UNAVAILABLE"));
                toolTip = localized(QStringLiteral("STATUSMENU_UNAVAILABLE_TOOLTIP"));
            }
            QAction *information = TriskVXMenuItem::itemWithTitleActionTarget(title, QString(), nullptr, menu);
            information->setToolTip(toolTip);
            const QList<QAction *> items = menu->actions();
            menu->insertAction(placeholderIndex < items.size() ? items.at(placeholderIndex) : nullptr, information);
        }
    }
    TriskVXMenuItem::validateMenu(menu);
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        attachTriggerSubmenus(menu);
    });

    // A title update still waiting runs all the same: a menu built because the host read it (as it does
    // when the item registers) sets no title, and the title would keep showing what came before, such
    // as the disconnected picture from before the first read.
    m_menuOutdated = false;
    m_menuUnbuilt = false;
    if (m_updateTimer && !m_titleOutdated)
        m_updateTimer->stop();
    // The item shows the new menu; the previous one goes once control is back in the event loop, as a
    // report may arrive while it is open.
    m_sinceRebuild.start();
    QMenu *previous = m_statusMenu;
    m_statusMenu = menu;
    if (statusItem())
        statusItem()->setMenu(menu);
    if (previous)
        previous->deleteLater();
}

void TriskVXStatusMenuController::removeServiceCommands(QMenu *menu) const
{
    const QList<QAction *> items = menu->actions();
    QList<QAction *> removed;
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (!kServiceActions.contains(TriskVXMenuItem::action(items.at(i))))
            continue;
        removed.append(items.at(i));
        if (i + 1 < items.size() && items.at(i + 1)->isSeparator())
            removed.append(items.at(++i));
    }
    qDeleteAll(removed);
}

QList<QAction *> TriskVXStatusMenuController::activeSectionItems(QMenu *menu) const
{
    // Shown, not actionable; as many as are being performed, which the performer keeps to a few.
    QList<QAction *> items;
    const QVariantList active = m_activeEvents.toList();
    for (const QVariant &activeEvent : active) {
        const QVariant event = mapOf(activeEvent).value(kVXActiveEventEvent);
        QAction *item = newItemForEvent(event, mapOf(event).value(kVXEventName).toString(), menu);
        item->setData(event);
        items.append(item);
    }
    return items;
}

QList<QAction *> TriskVXStatusMenuController::onDemandSectionItems(QMenu *menu)
{
    QList<QAction *> items;
    const QVariantList onDemand = m_onDemandEvents.toList();
    for (const QVariant &event : onDemand.mid(0, kSectionLimit)) {
        QAction *item = newItemForEvent(event, mapOf(event).value(kVXEventName).toString(), menu);
        item->setData(event);
        TriskVXMenuItem::setTargetAction(item, this, QStringLiteral("triggerOnDemandNow:"));
        items.append(item);
    }
    if (QAction *more = moreItem(onDemand.size() - items.size(), QStringLiteral("STATUSMENU_MORE_ONDEMAND"), menu))
        items.append(more);
    return items;
}

QList<QAction *> TriskVXStatusMenuController::pendingSectionItems(const QVariantList &queued, QMenu *menu) const
{
    // A separator at each change of day.
    QList<QAction *> items;
    qint32 previousDay = 0;
    qsizetype listed = 0;
    for (const QVariant &queuedTrigger : queued.mid(0, kSectionLimit)) {
        const qint32 day = relativeDaysAwayWithQueuedTrigger(queuedTrigger);
        if (day != previousDay && !items.isEmpty())
            items.append(TriskVXMenuItem::separatorItem(menu));
        previousDay = day;
        const QString title = QStringLiteral("%1\n%2").arg(eventNameWithQueuedTrigger(queuedTrigger),
                                                           triggerDateWithQueuedTrigger(queuedTrigger).toString());
        QAction *item = newItemForEvent(mapOf(queuedTrigger).value(kVXQueuedTriggerEvent), title, menu);
        item->setData(queuedTrigger);
        // Its submenu comes when the status menu opens, and the submenu's items when it opens: with a
        // thousand triggers, making them all at each report would cost more than the whole rebuild may
        // (docs/decisions.md).
        TriskVXMenuItem::setSubmenuToCome(item, true);
        items.append(item);
        ++listed;
    }
    if (QAction *more = moreItem(queued.size() - listed, QStringLiteral("STATUSMENU_MORE_PENDING"), menu))
        items.append(more);
    return items;
}

QAction *TriskVXStatusMenuController::moreItem(qsizetype leftOut, const QString &key, QMenu *menu) const
{
    if (leftOut <= 0)
        return nullptr;
    // The count in the person's own digits ("9.950" in German); one has a sentence of its own.
    const QString title
        = leftOut == 1 ? localized(key + QStringLiteral("_ONE")) : localized(key).arg(QLocale().toString(leftOut));
    QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(title, QString(), nullptr, menu);
    item->setToolTip(localized(QStringLiteral("STATUSMENU_MORE_TOOLTIP")).arg(kSectionLimit));
    return item;
}

void TriskVXStatusMenuController::attachTriggerSubmenus(QMenu *menu)
{
    const QList<QAction *> items = menu->actions();
    for (QAction *item : items) {
        if (item->menu() || !TriskVXMenuItem::hasSubmenu(item))
            continue;
        auto *submenu = new QMenu(menu);
        const QVariant queuedTrigger = item->data();
        connect(submenu, &QMenu::aboutToShow, this, [this, submenu, queuedTrigger] {
            fillTriggerSubmenu(submenu, queuedTrigger);
        });
        TriskVXMenuItem::setSubmenu(item, submenu);
    }
}

void TriskVXStatusMenuController::fillTriggerSubmenu(QMenu *submenu, const QVariant &queuedTrigger)
{
    if (!submenu->actions().isEmpty() || !m_triggerTemplateMenu)
        return;
    TriskVXMenuItem::copyItemsInto(m_triggerTemplateMenu, submenu);
    if (m_performNowTemplateMenu
        && supportsBehaviourWithQueuedTriggerBehaviour(queuedTrigger, kVXElementBehaviour_CanPerformOnDemand)) {
        // Inserted at the top from last to first, so that they stand in the template's order.
        const QList<QAction *> performNowItems = m_performNowTemplateMenu->actions();
        for (qsizetype i = performNowItems.size() - 1; i >= 0; --i) {
            QAction *copy = TriskVXMenuItem::copyItem(performNowItems.at(i), submenu);
            submenu->insertAction(submenu->actions().value(0), copy);
        }
    }
    const QList<QAction *> submenuItems = submenu->actions();
    for (QAction *submenuItem : submenuItems)
        submenuItem->setData(queuedTrigger);
    TriskVXMenuItem::validateMenu(submenu);
}

QList<QAction *> TriskVXStatusMenuController::encloseMenuItemsAsSection(const QList<QAction *> &menuItems,
                                                                        const QString &sectionTitle, QObject *parent)
{
    // A list cannot be nil here, so only the title is checked.
    TRISK_ASSERT(sectionTitle != nil, invalidParameter(QStringLiteral("sectionTitle")));
    if (menuItems.isEmpty())
        return {};
    if (!m_sectionTemplateMenu)
        return menuItems;
    QList<QAction *> enclosed;
    const QList<QAction *> frame = m_sectionTemplateMenu->actions();
    for (const QAction *frameItem : frame) {
        if (TriskVXMenuItem::tag(frameItem) == kSectionItemsTag) {
            enclosed.append(menuItems);
            continue;
        }
        QAction *copy = TriskVXMenuItem::copyItem(frameItem, parent);
        // The heading's one placeholder is replaced as plain text: the general placeholder pattern would
        // map and compile the regular expression engine for this alone (half a megabyte resident).
        if (TriskVXMenuItem::tag(copy) == kSectionHeadingTag)
            TriskVXMenuItem::setTitle(copy, TriskVXMenuItem::title(copy).replace(kSectionPlaceholder, sectionTitle));
        enclosed.append(copy);
    }
    return enclosed;
}

void TriskVXStatusMenuController::appendRemoveItem(QMenu *inMenu)
{
    TRISK_ASSERT(inMenu != nil, invalidParameter(QStringLiteral("inMenu")));
    TRISK_ASSERT(m_removeHalvaneTemplateItem != nil,
                 invalidParameter(QStringLiteral("removeHalvaneTemplateItem != NULL")));
    // The scheduler application is its editor; where that is installed, it offers the removal itself.
    if (workspace() && !workspace()->pathOfTool(TriskVXWorkspaceToolEditor).isEmpty())
        return;
    inMenu->addAction(TriskVXMenuItem::separatorItem(inMenu));
    QAction *item = TriskVXMenuItem::copyItem(m_removeHalvaneTemplateItem, inMenu);
    TriskVXMenuItem::setAlternate(item, false);
    TriskVXMenuItem::setKeyEquivalentModifierMask(item, 0);
    inMenu->addAction(item);
}

QString TriskVXStatusMenuController::eventNameWithQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    const QVariant event = mapOf(aQueuedTrigger).value(kVXQueuedTriggerEvent);
    return menuItemSuitableEventName(mapOf(event).value(kVXEventName).toString());
}

bool TriskVXStatusMenuController::supportsBehaviourWithQueuedTriggerBehaviour(const QVariant &aQueuedTrigger,
                                                                              const QString &behaviour) const
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    const QVariant event = mapOf(aQueuedTrigger).value(kVXQueuedTriggerEvent);
    if (event.typeId() != QMetaType::QVariantMap)
        return false;
    const QVariant behaviours = mapOf(event).value(kVXEventBehaviours);
    if (behaviours.typeId() == QMetaType::QVariantList)
        return behaviours.toList().contains(QVariant(behaviour));
    if (behaviours.typeId() == QMetaType::QStringList)
        return behaviours.toStringList().contains(behaviour);
    return false;
}

QVariant TriskVXStatusMenuController::triggerDateWithQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    const QVariant trigger = mapOf(aQueuedTrigger).value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Trigger is missing"));
    // Before the initialiser made the transformer (the superclass's first rebuild) there is no text.
    if (!m_dateTransformer)
        return QVariant();
    return m_dateTransformer->transformedValue(mapOf(trigger).value(kVXTriggerDate));
}

qint32 TriskVXStatusMenuController::relativeDaysAwayWithQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    const QVariant trigger = mapOf(aQueuedTrigger).value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Trigger is missing"));
    return static_cast<qint32>(TriskVXIDateTransformer::relativeDaysAway(
        mapOf(trigger).value(kVXTriggerDate).toDateTime(), clock(), clock()->timeZone()));
}

double TriskVXStatusMenuController::secondsUntilQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    const QVariant trigger = mapOf(aQueuedTrigger).value(kVXQueuedTriggerTrigger);
    TRISK_ASSERT(trigger != nil, QStringLiteral("Trigger is missing"));
    const QDateTime date = mapOf(trigger).value(kVXTriggerDate).toDateTime();
    // Whole seconds, cut toward zero, as a calendar difference in the seconds unit gives them.
    return static_cast<double>(clock()->now().secsTo(date));
}

QUrl TriskVXStatusMenuController::imageURLForQueuedTrigger(const QVariant &aQueuedTrigger) const
{
    TRISK_PARAMETER_ASSERT(aQueuedTrigger != nil);
    return imageAssistant()->UIIdentifierForEvent(mapOf(aQueuedTrigger).value(kVXQueuedTriggerEvent));
}

QVariant TriskVXStatusMenuController::triggerIDForIBAction(QObject *sender) const
{
    const auto *item = qobject_cast<QAction *>(sender);
    if (!item)
        return QVariant();
    return mapOf(item->data()).value(kVXQueuedTriggerTriggerID);
}

bool TriskVXStatusMenuController::onDemandEvent(const QVariant &anEvent) const
{
    TRISK_ASSERT(anEvent != nil, invalidParameter(QStringLiteral("anEvent")));
    const QVariantMap event = mapOf(anEvent);
    if (!event.value(kVXEventEnabled).toBool())
        return false;
    return event.value(kVXEventBehaviours).toList().contains(QVariant(kVXElementBehaviour_CanPerformOnDemand));
}

// The menu's actions.

QString TriskVXStatusMenuController::uniqueIDOfRepresentedEvent(QObject *sender, bool ofQueuedTrigger)
{
    // Unchecked on purpose: a missing id goes on as nil and the requests controller decides.
    const auto *item = qobject_cast<QAction *>(sender);
    const QVariant represented = item ? item->data() : QVariant();
    const QVariant event = ofQueuedTrigger ? mapOf(represented).value(kVXQueuedTriggerEvent) : represented;
    return mapOf(event).value(kVXEventUniqueID).toString();
}

void TriskVXStatusMenuController::cancel(QObject *sender)
{
    const QVariant triggerID = triggerIDForIBAction(sender);
    TRISK_ASSERT(triggerID != nil, QStringLiteral("%1's cancel: trigger ID missing").arg(className()));
    if (requests())
        requests()->cancelTrigger(triggerID.toString());
}

void TriskVXStatusMenuController::delay(QObject *sender)
{
    const QVariant triggerID = triggerIDForIBAction(sender);
    // The same text as cancel:'s: both check the same trigger id.
    TRISK_ASSERT(triggerID != nil, QStringLiteral("%1's cancel: trigger ID missing").arg(className()));
    const auto *item = qobject_cast<QAction *>(sender);
    const qint64 seconds = TriskVXMenuItem::tag(item);
    const QVariant trigger = mapOf(item->data()).value(kVXQueuedTriggerTrigger);
    const QDateTime date = mapOf(trigger).value(kVXTriggerDate).toDateTime();
    // Added to the trigger's own date, not to the present time.
    const QDateTime newDate = date.addSecs(seconds);
    if (requests())
        requests()->adjustTriggerTo(triggerID.toString(), newDate);
}

void TriskVXStatusMenuController::reset(QObject *sender)
{
    const QVariant triggerID = triggerIDForIBAction(sender);
    TRISK_ASSERT(triggerID != nil, QStringLiteral("%1's reset: trigger ID missing").arg(className()));
    if (requests())
        requests()->resetTrigger(triggerID.toString());
}

void TriskVXStatusMenuController::triggerNow(QObject *sender)
{
    if (requests())
        requests()->triggerNow(uniqueIDOfRepresentedEvent(sender, true));
}

void TriskVXStatusMenuController::performNow(QObject *sender)
{
    if (requests())
        requests()->performNow(uniqueIDOfRepresentedEvent(sender, true));
}

void TriskVXStatusMenuController::triggerOnDemandNow(QObject *sender)
{
    if (requests())
        requests()->triggerNow(uniqueIDOfRepresentedEvent(sender, false));
}

void TriskVXStatusMenuController::adjust(QObject *sender)
{
    if (workspace())
        workspace()->adjustQueuedTriggerWithConnection(triggerIDForIBAction(sender),
                                                       observer() ? observer()->connection() : nullptr);
}

void TriskVXStatusMenuController::quickSchedule(QObject *sender)
{
    Q_UNUSED(sender)
    if (workspace())
        workspace()->quickScheduleWithConnection(observer() ? observer()->connection() : nullptr);
}

void TriskVXStatusMenuController::checkForUpdates(QObject *sender)
{
    Q_UNUSED(sender)
    if (workspace())
        workspace()->checkForSoftwareUpdates();
}

bool TriskVXStatusMenuController::validateMenuItem(QAction *menuItem) const
{
    TRISK_ASSERT(menuItem != nil, invalidParameter(QStringLiteral("menuItem")));
    const QString selector = TriskVXMenuItem::action(menuItem);
    // An item that would start nothing is not offered as if it did.
    if (selector == QLatin1String("checkForUpdates:"))
        return canCheckForUpdates() && hasUpdateChecker();
    if (selector == QLatin1String("openHalvane:"))
        return canOpenHalvane();
    if (selector == QLatin1String("removeHalvane:"))
        return canRemoveHalvane();
    return TriskVXMenuItem::respondsToAction(this, selector);
}

bool TriskVXStatusMenuController::canCheckForUpdates() const
{
    if (!workspace())
        return true;
    const QVariant preference = workspace()->preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck);
    return preference == nil || preference.toBool();
}

bool TriskVXStatusMenuController::hasUpdateChecker() const
{
    return workspace() && workspace()->hasSoftwareUpdateChecker();
}
