#include "TriskVXStatusBar.h"

#include "TriskVXStatusItem.h"

#include <QGuiApplication>
#include <QMenu>

TriskVXStatusBar::TriskVXStatusBar(QObject *parent)
    : QObject(parent)
{
}

TriskVXStatusBar *TriskVXStatusBar::systemStatusBar()
{
    static TriskVXStatusBar bar;
    return &bar;
}

QFont TriskVXStatusBar::menuBarFontOfSize(double size) const
{
    QFont font = QGuiApplication::instance() ? QGuiApplication::font() : QFont();
    if (size > 0)
        font.setPointSizeF(size);
    return font;
}

TriskVXStatusItem *TriskVXStatusBar::statusItemWithLength(double length)
{
    auto *item = new TriskVXStatusItem(length, this);
    m_items.append(item);
    Q_EMIT itemAdded(item);
    return item;
}

void TriskVXStatusBar::removeStatusItem(TriskVXStatusItem *item)
{
    if (!item || !m_items.removeOne(item))
        return;
    Q_EMIT itemRemoved(item);
    item->deleteLater();
}
