#pragma once

#include <QFont>
#include <QList>
#include <QObject>

class TriskVXStatusItem;

// The status bar's contract: the bar's thickness, its font, and the status items in it. What shows them
// on the desktop (a StatusNotifierItem host, a tray) follows the items it is given.
class TriskVXStatusBar : public QObject
{
    Q_OBJECT

public:
    // The default thickness where the host's cannot be known, in points.
    static constexpr double kDefaultThickness = 22.0;

    explicit TriskVXStatusBar(QObject *parent = nullptr);

    static TriskVXStatusBar *systemStatusBar();

    double thickness() const { return m_thickness; }
    void setThickness(double thickness) { m_thickness = thickness; }
    // menuBarFontOfSize: with 0.0, the default menu-bar size: the application's menu font.
    QFont menuBarFontOfSize(double size) const;

    // Whether what shows the items draws them at their lengths. Panels of the desktop size their items
    // themselves; with false, nobody measures titles for a length that would go unused.
    bool drawsItemLengths() const { return m_drawsItemLengths; }
    void setDrawsItemLengths(bool draws) { m_drawsItemLengths = draws; }

    TriskVXStatusItem *statusItemWithLength(double length);
    void removeStatusItem(TriskVXStatusItem *item);
    QList<TriskVXStatusItem *> items() const { return m_items; }

Q_SIGNALS:
    void itemAdded(TriskVXStatusItem *item);
    void itemRemoved(TriskVXStatusItem *item);

private:
    double m_thickness = kDefaultThickness;
    bool m_drawsItemLengths = true;
    QList<TriskVXStatusItem *> m_items;
};
