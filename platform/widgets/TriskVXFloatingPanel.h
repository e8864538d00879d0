#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>

class QWidget;

// Makes a top-level widget a floating panel the person cannot miss and that never gets in the way: it
// stays above normal windows, shows on every workspace, appears without taking the keyboard focus from
// what the person is typing, and is placed centred on the screen that has the pointer, clear of the
// other floating panels. On X11 the window manager is told through EWMH hints; what Wayland allows is in
// docs/desktop.md. The panel is a child of its window and lives as long as it.
class TriskVXFloatingPanel : public QObject
{
    Q_OBJECT

public:
    explicit TriskVXFloatingPanel(QWidget *window);

    // The floating panel a window was made into, or nullptr.
    static TriskVXFloatingPanel *of(const QWidget *window);

    QWidget *window() const { return m_window; }

    // Places the panel centred on the pointer's screen; when other floating panels are on screen there,
    // at the free place nearest the centre, so that panels shown together never cover each other.
    void center();
    // Shows the panel in front without activating it.
    void orderFrontRegardless();
    void orderOut();

    // Where a panel of this size goes in area: the centre when it is free, else the free place beside a
    // taken rectangle nearest the centre; cascaded from the centre when the area is full.
    static QRect placeClearOf(const QSize &size, const QRect &area, const QList<QRect> &taken);

private:
    void applyWindowManagerHints();

    QPointer<QWidget> m_window;
};
