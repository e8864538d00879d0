#include "TriskVXStatusMenu.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXNil.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"

#include <QFontMetricsF>

#include <cmath>

namespace {
const qsizetype kLongestEventName = 64;
}

TriskVXStatusMenu::TriskVXStatusMenu(QObject *parent)
    : TriskVXNotifyObject(parent)
    , m_bar(TriskVXStatusBar::systemStatusBar())
{
}

TriskVXStatusMenu::~TriskVXStatusMenu()
{
    // The item leaves the bar with its owner.
    setStatusItem(nullptr);
    setResize(nullptr);
    setWorkspace(nullptr);
}

bool TriskVXStatusMenu::initWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests)
{
    if (!TriskVXNotifyObject::initWithObserverRequests(observer, requests))
        return false;
    registerClassDefaults();
    loadClassNib();
    m_templateMenu = qobject_cast<QMenu *>(outlet(QStringLiteral("templateMenu")));
    TRISK_ASSERT(m_templateMenu != nil, QStringLiteral("%1's templateMenu must be connected").arg(className()));
    setWorkspace(TriskVXWorkspace::workspace());
    setImageSizeForMenuStatus(std::floor(m_bar->thickness() * 0.8));
    setImageSizeForMenuItem(systemFontHeight());
    didShow();
    return true;
}

void TriskVXStatusMenu::didShow()
{
    if (!m_statusItem) {
        TriskVXStatusItem *item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
        setStatusItem(item);
        item->setHighlightMode(true);
    }
    if (!m_resize) {
        setResize(TriskVXStatusMenuResize::statusResizeWithStatusItem(m_statusItem, m_clock, m_bar, this));
        m_resize->setTitle(QStringLiteral(""));
    }
}

void TriskVXStatusMenu::didHide()
{
    setStatusItem(nullptr);
    setResize(nullptr);
}

void TriskVXStatusMenu::setStatusItem(TriskVXStatusItem *item)
{
    if (item == m_statusItem)
        return;
    if (m_statusItem)
        m_bar->removeStatusItem(m_statusItem);
    m_statusItem = item;
}

void TriskVXStatusMenu::setResize(TriskVXStatusMenuResize *resize)
{
    if (resize == m_resize)
        return;
    delete m_resize;
    m_resize = resize;
}

void TriskVXStatusMenu::setWorkspace(TriskVXWorkspace *workspace)
{
    if (workspace != m_workspace)
        m_workspace = workspace;
}

void TriskVXStatusMenu::setImageSizeForMenuItem(double size)
{
    if (size != m_imageSizeForMenuItem)
        m_imageSizeForMenuItem = size;
}

void TriskVXStatusMenu::setImageSizeForMenuStatus(double size)
{
    if (size != m_imageSizeForMenuStatus)
        m_imageSizeForMenuStatus = size;
}

bool TriskVXStatusMenu::canOpenHalvane() const
{
    return m_workspace && m_workspace->canOpen(TriskVXWorkspaceToolEditor);
}

bool TriskVXStatusMenu::canRemoveHalvane() const
{
    return m_workspace && m_workspace->canOpen(TriskVXWorkspaceToolRemove);
}

void TriskVXStatusMenu::openHalvane(QObject *sender)
{
    Q_UNUSED(sender)
    if (m_workspace)
        m_workspace->open(TriskVXWorkspaceToolEditor);
}

void TriskVXStatusMenu::removeHalvane(QObject *sender)
{
    Q_UNUSED(sender)
    if (m_workspace)
        m_workspace->open(TriskVXWorkspaceToolRemove);
}

const TriskVXClock *TriskVXStatusMenu::clock() const
{
    return m_clock ? m_clock : TriskVXClock::systemClock();
}

double TriskVXStatusMenu::systemFontHeight() const
{
    return QFontMetricsF(m_bar->menuBarFontOfSize(0.0)).size(0, QStringLiteral("A")).height();
}

QString TriskVXStatusMenu::menuItemSuitableEventName(const QString &name)
{
    if (name.size() <= kLongestEventName)
        return name;
    return name.left(kLongestEventName) + QChar(0x2026);
}
