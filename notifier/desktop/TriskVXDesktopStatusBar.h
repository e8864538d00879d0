#pragma once

#include "TriskVXStatusBar.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QPointer>

#include <functional>

class QDBusServiceWatcher;
class QSystemTrayIcon;
class TriskVXStatusItem;
class TriskVXStatusNotifierItem;

// Puts a status bar's items on the desktop: as StatusNotifierItems while a watcher is on the session bus
// (re-registered whenever the watcher comes back), through a QSystemTrayIcon while there is none, and
// says once when neither can show them — the notifier runs on either way.
class TriskVXDesktopStatusBar : public QObject
{
    Q_OBJECT

public:
    enum Presentation {
        Hidden,
        StatusNotifier,
        SystemTray,
    };
    Q_ENUM(Presentation)

    TriskVXDesktopStatusBar(TriskVXStatusBar *bar, const QDBusConnection &connection, QObject *parent = nullptr);
    ~TriskVXDesktopStatusBar() override;

    Presentation presentation() const { return m_presentation; }
    TriskVXStatusNotifierItem *statusNotifierItem(TriskVXStatusItem *item) const;
    QSystemTrayIcon *trayIcon(TriskVXStatusItem *item) const;
    // Whether a system tray can show icons; QSystemTrayIcon's answer unless a test gives another.
    void setTrayAvailability(std::function<bool()> available);

Q_SIGNALS:
    void presentationChanged(Presentation presentation);

private:
    void present();
    void showItem(TriskVXStatusItem *item);
    void forgetItem(TriskVXStatusItem *item);
    void updateTray(TriskVXStatusItem *item);
    void setPresentation(Presentation presentation);

    QPointer<TriskVXStatusBar> m_bar;
    QDBusConnection m_connection;
    QDBusServiceWatcher *m_watcherWatcher = nullptr;
    bool m_watcherPresent = false;
    std::function<bool()> m_trayAvailable;
    Presentation m_presentation = Hidden;
    bool m_saidHidden = false;
    QHash<TriskVXStatusItem *, TriskVXStatusNotifierItem *> m_statusNotifierItems;
    QHash<TriskVXStatusItem *, QSystemTrayIcon *> m_trayIcons;
};
