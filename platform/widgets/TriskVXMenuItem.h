#pragma once

#include <QKeySequence>
#include <QString>
#include <Qt>

class QAction;
class QMenu;
class QObject;
class QWidget;

// A menu item's state kept on a QAction: target and action (a selector such as "cancel:" sent to the
// target's slot cancel(QObject *sender)), tag, alternate and key-equivalent modifier mask; the
// represented object is QAction::data(). Also deep copies of items and menus, and automatic enabling.
class TriskVXMenuItem
{
public:
    // The bits of keyEquivalentModifierMask; Option is read as Alt and Command as Meta.
    static constexpr quint64 kOptionKeyMask = 0x80000;
    static constexpr quint64 kCommandKeyMask = 0x100000;
    static constexpr quint64 kShiftKeyMask = 0x10000;
    static constexpr quint64 kControlKeyMask = 0x40000;

    // A new item: the title is shown as it is (an "&" is not a mnemonic), the action is sent to the
    // target when the item is chosen.
    static QAction *itemWithTitleActionTarget(const QString &title, const QString &selector, QObject *target,
                                              QObject *parent = nullptr);
    static QAction *separatorItem(QObject *parent = nullptr);

    // Sets target and action together and connects the item so that choosing it sends the action.
    static void setTargetAction(QAction *item, QObject *target, const QString &selector);
    static QObject *target(const QAction *item);
    static QString action(const QAction *item);
    // Whether the target has the slot the action names.
    static bool respondsToAction(const QObject *target, const QString &selector);

    static int tag(const QAction *item);
    static void setTag(QAction *item, int tag);
    static bool isAlternate(const QAction *item);
    static void setAlternate(QAction *item, bool alternate);
    static quint64 keyEquivalentModifierMask(const QAction *item);
    static void setKeyEquivalentModifierMask(QAction *item, quint64 mask);
    static Qt::KeyboardModifiers modifiersOfMask(quint64 mask);

    // The title as data: escapes "&" so that Qt shows it instead of taking it as a mnemonic marker.
    static void setTitle(QAction *item, const QString &title);
    static QString title(const QAction *item);

    // A copy of the item and, deeply, of its submenu: texts, font, icon, tool tip, states, data, every
    // dynamic property, target and action (connected again).
    static QAction *copyItem(const QAction *item, QObject *parent = nullptr);
    // A copy of the menu: title, automatic enabling, and a copy of each item.
    static QMenu *copyMenu(const QMenu *menu, QWidget *parent = nullptr);
    // An item whose submenu is made when its menu opens: it shows and validates as one that has it.
    static void setSubmenuToCome(QAction *item, bool toCome);
    static bool hasSubmenu(const QAction *item);
    // Appends a copy of each item of one menu to another.
    static void copyItemsInto(const QMenu *from, QMenu *into);
    // Gives the item a submenu (or takes it away with nullptr) without the item owning it.
    static void setSubmenu(QAction *item, QMenu *submenu);

    // A menu's automatic enabling, on by default; while on, validateMenu decides each item's state.
    static bool autoenablesItems(const QMenu *menu);
    static void setAutoenablesItems(QMenu *menu, bool autoenables);
    // Automatic enabling: an item without an action or target is disabled; a target with
    // validateMenuItem(QAction *) decides; otherwise whether the target has the action. An item holding a
    // submenu stays enabled; copied submenus validate their own items as they open (aboutToShow).
    static void validateMenu(QMenu *menu);
};
