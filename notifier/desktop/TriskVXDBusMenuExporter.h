#pragma once

#include "TriskVXDBusMenuTypes.h"

#include <QAction>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QHash>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSet>

// Exports a QMenu over com.canonical.dbusmenu so that a panel draws it: items get ids as they are first
// laid out, clicks arrive as Event and run the item's action as a local click would, and a menu that
// changes tells the host (one LayoutUpdated for the menus replaced in one turn of the event loop). A menu
// may be built only when the host reads it (invalidateMenu).
class TriskVXDBusMenuExporter : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)

public:
    static constexpr int kRootId = 0;

    TriskVXDBusMenuExporter(const QDBusConnection &connection, const QString &objectPath, QObject *parent = nullptr);
    ~TriskVXDBusMenuExporter() override;

    bool isRegistered() const { return m_registered; }
    QString objectPath() const { return m_objectPath; }
    QMenu *menu() const { return m_menu; }
    // A new menu replaces the old whole: the host is told once.
    void setMenu(QMenu *menu);
    uint revision() const { return m_revision; }
    // The menu's content changed and is built when the host reads it: the host is told now, and its
    // first call that reads the whole menu asks for it (menuNeeded, to be answered with setMenu at once).
    void invalidateMenu();
    bool isMenuOutdated() const { return m_menuOutdated; }

    uint version() const { return 3; }
    QString textDirection() const;
    QString status() const { return QStringLiteral("normal"); }
    QStringList iconThemePath() const { return {}; }

    // The item's id (given now when it has none) and the item of an id (nullptr when unknown).
    int idOfAction(QAction *action);
    QAction *actionOfId(int id) const;
    // An item's properties as the protocol names them; all when names is empty.
    QVariantMap propertiesOf(QAction *action, const QStringList &names = {}) const;
    // Qt's "&File" and "&&" in dbusmenu's "_File" and "&"; a "_" of the text is doubled.
    static QString labelOf(const QString &text);

public Q_SLOTS:
    // com.canonical.dbusmenu, called through the generated adaptor.
    uint GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                   TriskVXDBusMenuLayoutItem &layout);
    TriskVXDBusMenuItemList GetGroupProperties(const QList<int> &ids, const QStringList &propertyNames);
    QDBusVariant GetProperty(int id, const QString &name);
    void Event(int id, const QString &eventId, const QDBusVariant &data, uint timestamp);
    QList<int> EventGroup(const TriskVXDBusMenuEventList &events);
    bool AboutToShow(int id);
    QList<int> AboutToShowGroup(const QList<int> &ids, QList<int> &idErrors);

Q_SIGNALS:
    void ItemsPropertiesUpdated(const TriskVXDBusMenuItemList &updatedProps,
                                const TriskVXDBusMenuItemKeysList &removedProps);
    void LayoutUpdated(uint revision, int parent);
    void ItemActivationRequested(int id, uint timestamp);
    void menuNeeded();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // Has an outdated menu built before the host reads it.
    void updateMenu();
    bool isKnownId(int id) const;
    QMenu *menuOfId(int id) const;
    QVariantMap propertiesOfId(int id, const QStringList &names) const;
    // Emits the menu's aboutToShow as a local opening would; whether its items changed meanwhile.
    bool showMenu(QMenu *menu);
    TriskVXDBusMenuLayoutItem layoutOf(int id, QMenu *menu, int depth, const QStringList &names);
    QByteArray iconDataOf(const QIcon &icon) const;
    void watch(QMenu *menu);
    // Unknown ids are the host's mistake: answered with an error, never a crash.
    void refuseUnknownId(int id);
    bool runEvent(int id, const QString &eventId);
    void scheduleLayoutUpdate(int parentId);
    void flushUpdates();

    QDBusConnection m_connection;
    QString m_objectPath;
    bool m_registered = false;
    QPointer<QMenu> m_menu;
    uint m_revision = 1;
    int m_nextId = 1;
    QHash<QAction *, int> m_ids;
    QHash<int, QPointer<QAction>> m_actions;
    QSet<QMenu *> m_watched;
    QSet<int> m_changedLayouts;
    QSet<QAction *> m_changedItems;
    bool m_updateScheduled = false;
    bool m_changedDuringShow = false;
    bool m_menuOutdated = false;
    // A menu set while the host reads it needs no LayoutUpdated: the host gets it in that answer.
    bool m_updatingMenu = false;
    // PNG data by QIcon::cacheKey.
    mutable QHash<qint64, QByteArray> m_iconData;
};
