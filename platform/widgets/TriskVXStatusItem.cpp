#include "TriskVXStatusItem.h"

#include <QMenu>

TriskVXStatusItem::TriskVXStatusItem(double length, QObject *parent)
    : QObject(parent)
    , m_length(length)
{
}

void TriskVXStatusItem::setLength(double length)
{
    if (m_length == length)
        return;
    m_length = length;
    Q_EMIT changed();
}

void TriskVXStatusItem::setAttributedTitle(const QString &title, const QFont &font)
{
    // The count-down sets its title every second; an unchanged one tells nobody.
    if (title == m_title && font == m_titleFont)
        return;
    m_title = title;
    m_titleFont = font;
    Q_EMIT changed();
}

void TriskVXStatusItem::setImage(const QImage &image)
{
    if (image == m_image)
        return;
    m_image = image;
    Q_EMIT changed();
}

void TriskVXStatusItem::setAlternateImage(const QImage &image)
{
    if (image == m_alternateImage)
        return;
    m_alternateImage = image;
    Q_EMIT changed();
}

void TriskVXStatusItem::setIconName(const QString &iconName)
{
    if (m_iconName == iconName)
        return;
    m_iconName = iconName;
    Q_EMIT changed();
}

void TriskVXStatusItem::setImageText(const QString &imageText)
{
    if (m_imageText == imageText)
        return;
    m_imageText = imageText;
    Q_EMIT changed();
}

QMenu *TriskVXStatusItem::menu()
{
    if (m_menuNeedsUpdate && m_menuBuilder) {
        // Cleared first: a builder that reads the menu itself must not run again.
        m_menuNeedsUpdate = false;
        m_menuBuilder();
    }
    return m_menu;
}

void TriskVXStatusItem::setMenu(QMenu *menu)
{
    m_menuNeedsUpdate = false;
    if (menu == m_menu)
        return;
    m_menu = menu;
    Q_EMIT changed();
}

void TriskVXStatusItem::setMenuBuilder(std::function<void()> builder)
{
    m_menuBuilder = std::move(builder);
}

void TriskVXStatusItem::setMenuNeedsUpdate()
{
    if (m_menuNeedsUpdate)
        return;
    m_menuNeedsUpdate = true;
    Q_EMIT changed();
}

void TriskVXStatusItem::setToolTip(const QString &toolTip)
{
    if (toolTip == m_toolTip)
        return;
    m_toolTip = toolTip;
    Q_EMIT changed();
}

void TriskVXStatusItem::setHighlightMode(bool highlightMode)
{
    if (highlightMode == m_highlightMode)
        return;
    m_highlightMode = highlightMode;
    Q_EMIT changed();
}

double TriskVXStatusItem::viewWidth() const
{
    if (m_viewWidth >= 0)
        return m_viewWidth;
    return m_length >= 0 ? m_length : 0.0;
}

void TriskVXStatusItem::setViewWidth(double width)
{
    m_viewWidth = width;
}
