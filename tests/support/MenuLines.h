#pragma once

#include "TriskVXMenuItem.h"

#include <QAction>
#include <QMenu>

// A menu as a person reads it: "-" for a separator, the first line of each title, only the lines shown.
inline QStringList linesOf(const QMenu *menu)
{
    QStringList lines;
    const QList<QAction *> items = menu ? menu->actions() : QList<QAction *>();
    for (const QAction *item : items) {
        if (item->isVisible())
            lines.append(item->isSeparator() ? QStringLiteral("-")
                                             : TriskVXMenuItem::title(item).section(QLatin1Char('\n'), 0, 0));
    }
    return lines;
}

// The first item whose title's first line is title, or nullptr.
inline QAction *itemTitled(const QMenu *menu, const QString &title)
{
    const QList<QAction *> items = menu ? menu->actions() : QList<QAction *>();
    for (QAction *item : items) {
        if (TriskVXMenuItem::title(item).section(QLatin1Char('\n'), 0, 0) == title)
            return item;
    }
    return nullptr;
}

// An item's submenu as it opens on screen: its holder's aboutToShow first (the trigger's item gets its
// submenu then), then its own (the submenu is filled then).
inline QMenu *opened(const QAction *item)
{
    if (item && !item->menu()) {
        const QList<QObject *> holders = item->associatedObjects();
        for (QObject *holder : holders) {
            if (auto *menu = qobject_cast<QMenu *>(holder)) {
                Q_EMIT menu->aboutToShow();
                break;
            }
        }
    }
    QMenu *submenu = item ? item->menu() : nullptr;
    if (submenu)
        Q_EMIT submenu->aboutToShow();
    return submenu;
}
