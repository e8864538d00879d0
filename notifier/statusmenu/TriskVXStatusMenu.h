#pragma once

#include "TriskVXNotifyObject.h"
#include "TriskVXStatusMenuResize.h"
#include "TriskVXWorkspace.h"

#include <QMenu>
#include <QPointer>

class TriskVXStatusBar;
class TriskVXStatusItem;

// The base of the notifier that lives in the panel: owns the status item, its width
// animation, the workspace and the two image sizes menu and title images are scaled to.
class TriskVXStatusMenu : public TriskVXNotifyObject
{
    Q_OBJECT
    Q_PROPERTY(bool canOpenHalvane READ canOpenHalvane)
    Q_PROPERTY(bool canRemoveHalvane READ canRemoveHalvane)

public:
    explicit TriskVXStatusMenu(QObject *parent = nullptr);
    ~TriskVXStatusMenu() override;

    bool initWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests) override;
    void didShow() override;
    void didHide() override;

    QMenu *templateMenu() const { return m_templateMenu; }
    TriskVXStatusItem *statusItem() const { return m_statusItem; }
    void setStatusItem(TriskVXStatusItem *item);
    TriskVXStatusMenuResize *resize() const { return m_resize; }
    void setResize(TriskVXStatusMenuResize *resize);
    TriskVXWorkspace *workspace() const { return m_workspace; }
    void setWorkspace(TriskVXWorkspace *workspace);
    double imageSizeForMenuItem() const { return m_imageSizeForMenuItem; }
    void setImageSizeForMenuItem(double size);
    double imageSizeForMenuStatus() const { return m_imageSizeForMenuStatus; }
    void setImageSizeForMenuStatus(double size);

    bool canOpenHalvane() const;
    bool canRemoveHalvane() const;
    double systemFontHeight() const;
    // Names of 65 UTF-16 units or more: the first 64 and U+2026; shorter ones unchanged.
    static QString menuItemSuitableEventName(const QString &name);

    // The bar the item goes into; the system's unless a test gives another before initialisation.
    void setStatusBar(TriskVXStatusBar *bar) { m_bar = bar; }
    TriskVXStatusBar *statusBar() const { return m_bar; }
    void setClock(const TriskVXClock *clock) { m_clock = clock; }
    // The injected clock, else the system's.
    const TriskVXClock *clock() const;

public Q_SLOTS:
    void openHalvane(QObject *sender);
    void removeHalvane(QObject *sender);

private:
    TriskVXStatusBar *m_bar;
    const TriskVXClock *m_clock = nullptr;
    QPointer<QMenu> m_templateMenu;
    QPointer<TriskVXStatusItem> m_statusItem;
    TriskVXStatusMenuResize *m_resize = nullptr;
    TriskVXWorkspace *m_workspace = nullptr;
    double m_imageSizeForMenuItem = 0.0;
    double m_imageSizeForMenuStatus = 0.0;
};
