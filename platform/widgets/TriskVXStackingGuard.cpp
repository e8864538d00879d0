#include "TriskVXStackingGuard.h"

#include "TriskVXFloatingPanel.h"
#include "TriskVXPlatformLogging.h"

#include <QApplication>
#include <QGuiApplication>
#include <QWidget>

#include <xcb/xcb.h>

#include <cstdlib>

namespace {
xcb_window_t rootOf(xcb_connection_t *connection)
{
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
}

// Whether an EWMH window manager announces itself on the root window.
bool hasWindowManager(xcb_connection_t *connection, xcb_window_t root)
{
    static const char name[] = "_NET_SUPPORTING_WM_CHECK";
    xcb_intern_atom_reply_t *atom
        = xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 1, sizeof name - 1, name), nullptr);
    bool found = false;
    if (atom && atom->atom != XCB_ATOM_NONE) {
        xcb_get_property_reply_t *property = xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr);
        found = property && xcb_get_property_value_length(property) > 0;
        free(property);
    }
    free(atom);
    return found;
}
} // namespace

bool TriskVXStackingGuard::ensureWatching()
{
    static bool watching = false;
    static bool decided = false;
    if (decided)
        return watching;
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return false;
    decided = true;
    const xcb_window_t root = rootOf(connection);
    if (hasWindowManager(connection, root))
        return false;
    // Added to what the toolkit already listens for on the root window, never in its place.
    xcb_get_window_attributes_reply_t *attributes
        = xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root), nullptr);
    const uint32_t mask = (attributes ? attributes->your_event_mask : 0) | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    free(attributes);
    xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(connection);
    // Lives as long as the application, which holds it among its filters.
    QCoreApplication::instance()->installNativeEventFilter(new TriskVXStackingGuard);
    watching = true;
    qCInfo(lcTriskPlatform) << "no window manager on this display: floating panels keep themselves on top";
    return true;
}

bool TriskVXStackingGuard::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    // Only a window appearing: raising on every restack would start a contest with a window that
    // raises itself in turn.
    if ((event->response_type & 0x7f) != XCB_MAP_NOTIFY)
        return false;
    const auto *map = reinterpret_cast<const xcb_map_notify_event_t *>(event);
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *window : windows) {
        if (window->internalWinId() == map->window)
            return false;
    }
    for (QWidget *window : windows) {
        if (window->isVisible() && TriskVXFloatingPanel::of(window))
            window->raise();
    }
    return false;
}
