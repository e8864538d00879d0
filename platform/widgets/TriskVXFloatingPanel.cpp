#include "TriskVXFloatingPanel.h"

#include "TriskVXPlatformLogging.h"
#include "TriskVXStackingGuard.h"

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {
// Room between panels, and what a window manager's frame usually adds around a panel.
const int kGap = 12;
const QMargins kFrameAllowance(4, 28, 4, 4);

xcb_atom_t atomNamed(xcb_connection_t *connection, const char *name)
{
    const xcb_intern_atom_cookie_t cookie = xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return atom;
}

// The rectangle a window takes on screen: its frame once the window manager has told it, else an estimate
// from where it was moved to (a move places the frame's corner).
QRect frameOf(const QWidget *window)
{
    const QRect frame = window->frameGeometry();
    return frame != window->geometry() ? frame : QRect(frame.topLeft(), frame.size().grownBy(kFrameAllowance));
}
} // namespace

TriskVXFloatingPanel::TriskVXFloatingPanel(QWidget *window)
    : QObject(window)
    , m_window(window)
{
    setObjectName(QStringLiteral("TriskVXFloatingPanel"));
    // A tool window stays with the application and gets no task-bar entry. No close button: the panel
    // is dismissed through its own buttons.
    window->setWindowFlags(Qt::Tool | Qt::WindowStaysOnTopHint | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    window->setAttribute(Qt::WA_ShowWithoutActivating);
    window->setAttribute(Qt::WA_DeleteOnClose, false);
}

TriskVXFloatingPanel *TriskVXFloatingPanel::of(const QWidget *window)
{
    return window
        ? window->findChild<TriskVXFloatingPanel *>(QStringLiteral("TriskVXFloatingPanel"), Qt::FindDirectChildrenOnly)
        : nullptr;
}

QRect TriskVXFloatingPanel::placeClearOf(const QSize &size, const QRect &area, const QList<QRect> &taken)
{
    const QRect centred(area.center() - QPoint(size.width() / 2, size.height() / 2), size);
    // The centre, and the places right beside each panel on screen: panels shown together stack
    // tightly around the centre instead of scattering.
    QList<QRect> places { centred };
    for (const QRect &other : taken) {
        places.append(centred.translated(0, other.bottom() + 1 + kGap - centred.top()));
        places.append(centred.translated(0, other.top() - kGap - size.height() - centred.top()));
        places.append(QRect(QPoint(other.right() + 1 + kGap, other.top()), size));
        places.append(QRect(QPoint(other.left() - kGap - size.width(), other.top()), size));
    }
    const auto isFree = [&area, &taken](const QRect &place) {
        return area.contains(place) && std::none_of(taken.cbegin(), taken.cend(), [&place](const QRect &other) {
                   return other.intersects(place);
               });
    };
    const auto distance = [&area](const QRect &place) {
        const QPoint offset = place.center() - area.center();
        return qint64(offset.x()) * offset.x() + qint64(offset.y()) * offset.y();
    };
    std::optional<QRect> best;
    for (const QRect &place : std::as_const(places)) {
        if (isFree(place) && (!best || distance(place) < distance(*best)))
            best = place;
    }
    if (best)
        return *best;
    // A full screen: cascade from the centre, so that each panel's title stays in sight.
    const int offset = 28 * int(1 + taken.size() % 8);
    return centred.translated(offset, offset);
}

void TriskVXFloatingPanel::center()
{
    if (!m_window)
        return;
    QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    m_window->adjustSize();
    QList<QRect> taken;
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *window : windows) {
        const TriskVXFloatingPanel *other = of(window);
        if (other && other != this && window->isVisible() && window->screen() == screen)
            taken.append(frameOf(window));
    }
    const QSize frameSize = m_window->size().grownBy(kFrameAllowance);
    if (m_window->screen() != screen)
        m_window->setScreen(screen);
    const QRect place = placeClearOf(frameSize, screen->availableGeometry(), taken);
    qCDebug(lcTriskPlatform) << "floating panel" << m_window->windowTitle() << "of" << frameSize << "placed at" << place
                             << "clear of" << taken;
    m_window->move(place.topLeft());
}

void TriskVXFloatingPanel::orderFrontRegardless()
{
    if (!m_window)
        return;
    if (!m_window->isVisible()) {
        // The window manager reads these hints when the window is mapped.
        m_window->winId();
        applyWindowManagerHints();
        TriskVXStackingGuard::ensureWatching();
        m_window->show();
        return;
    }
    m_window->raise();
}

void TriskVXFloatingPanel::orderOut()
{
    if (m_window)
        m_window->hide();
}

void TriskVXFloatingPanel::applyWindowManagerHints()
{
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->connection())
        return;
    xcb_connection_t *connection = x11->connection();
    const auto window = xcb_window_t(m_window->winId());
    // Qt already asks for "above" (WindowStaysOnTopHint) and merges its states with what is set here.
    QList<xcb_atom_t> states;
    states.append(atomNamed(connection, "_NET_WM_STATE_STICKY"));
    const uint32_t allDesktops = 0xFFFFFFFF;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atomNamed(connection, "_NET_WM_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &allDesktops);
    // Out of task bars and pagers: the panel is reached on screen, not through a window list. The window
    // type stays Qt's "utility" for a tool window, which keeps the title bar that names the event.
    states.append(atomNamed(connection, "_NET_WM_STATE_ABOVE"));
    states.append(atomNamed(connection, "_NET_WM_STATE_SKIP_TASKBAR"));
    states.append(atomNamed(connection, "_NET_WM_STATE_SKIP_PAGER"));
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atomNamed(connection, "_NET_WM_STATE"),
                        XCB_ATOM_ATOM, 32, uint32_t(states.size()), states.constData());
    xcb_flush(connection);
    qCDebug(lcTriskPlatform) << "floating panel hints set on window" << window;
}
