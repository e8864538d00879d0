#pragma once

#include "TriskVXCountDownIconPainter.h"
#include "TriskVXStatusBar.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>

class QDBusServiceWatcher;
class QSystemTrayIcon;
class TriskVXStatusItem;
class TriskVXStatusNotifierItem;

// Puts a status bar's items on the desktop: as StatusNotifierItems while a watcher is on the session bus
// (re-registered whenever the watcher comes back), through a QSystemTrayIcon while there is none, and
// says once when neither can show them — the notifier runs on either way. It finds out which program
// hosts the items, so that the count-down is drawn into the picture where the host shows no label.
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

    // Where the count-down goes: as the host suits (label where it shows labels, else drawn as the
    // picture), or forced one way by the user default kCountDownInIconKey (YES or NO).
    enum CountDownPlacement {
        CountDownAutomatic,
        CountDownInLabel,
        CountDownInIcon,
    };
    Q_ENUM(CountDownPlacement)
    static const QString kCountDownInIconKey;

    TriskVXDesktopStatusBar(TriskVXStatusBar *bar, const QDBusConnection &connection, QObject *parent = nullptr);
    ~TriskVXDesktopStatusBar() override;

    Presentation presentation() const { return m_presentation; }
    TriskVXStatusNotifierItem *statusNotifierItem(TriskVXStatusItem *item) const;
    QSystemTrayIcon *trayIcon(TriskVXStatusItem *item) const;
    // Whether a system tray can show icons; QSystemTrayIcon's answer unless a test gives another.
    void setTrayAvailability(std::function<bool()> available);

    CountDownPlacement countDownPlacement() const { return m_placement; }
    // The program owning the watcher (its /proc comm and executable's name), once the bus has told;
    // empty without a watcher or when the bus could not say.
    QStringList hostProcessNames() const { return m_hostProcessNames; }
    bool drawsCountDown() const;
    // Whether a host program shows the items' labels beside their pictures (see docs/desktop.md).
    static bool hostShowsLabels(const QStringList &processNames);

Q_SIGNALS:
    void presentationChanged(Presentation presentation);
    // The host's process was looked up (names empty when it could not be).
    void hostIdentified(const QStringList &processNames);

private:
    void present();
    void showItem(TriskVXStatusItem *item);
    void forgetItem(TriskVXStatusItem *item);
    void updateTray(TriskVXStatusItem *item);
    void setPresentation(Presentation presentation);
    void identifyHost();
    void placeCountDowns();

    QPointer<TriskVXStatusBar> m_bar;
    QDBusConnection m_connection;
    QDBusServiceWatcher *m_watcherWatcher = nullptr;
    bool m_watcherPresent = false;
    std::function<bool()> m_trayAvailable;
    Presentation m_presentation = Hidden;
    bool m_saidHidden = false;
    CountDownPlacement m_placement = CountDownAutomatic;
    QStringList m_hostProcessNames;
    // Only the answer to the latest question about the host counts.
    int m_hostQuery = 0;
    TriskVXCountDownIconPainter m_painter;
    QHash<TriskVXStatusItem *, TriskVXStatusNotifierItem *> m_statusNotifierItems;
    QHash<TriskVXStatusItem *, QSystemTrayIcon *> m_trayIcons;
};
