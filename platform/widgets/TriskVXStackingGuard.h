#pragma once

#include <QAbstractNativeEventFilter>

// Keeps the floating panels above windows that appear after them on an X server without a window
// manager, where nothing else stacks them: at a login screen the greeter maps its full-screen window
// after the count-down has shown and would cover it. With a window manager the panels' "above" state
// does this, and the guard stays out of the way; elsewhere than X11 it does nothing.
class TriskVXStackingGuard : public QAbstractNativeEventFilter
{
public:
    // Starts watching the root window for new windows, once per application, when the display has no
    // window manager. Returns whether the guard watches.
    static bool ensureWatching();

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    TriskVXStackingGuard() = default;
};
