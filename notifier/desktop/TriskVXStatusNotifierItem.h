#pragma once

#include "TriskVXCountDownIconPainter.h"
#include "TriskVXDBusImage.h"
#include "TriskVXStatusItem.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusObjectPath>
#include <QImage>
#include <QObject>
#include <QPointer>

class TriskVXDBusMenuExporter;

// A status item shown through the StatusNotifierItem protocol: its picture (a themed icon name and its
// pixels), tool tip, count-down label (the Ayatana label) and menu (exported over dbusmenu) as
// properties, a New... signal at each change, registered with the StatusNotifierWatcher that the
// panel's host watches. For hosts that show no label, the count-down is drawn as the picture.
class TriskVXStatusNotifierItem : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconThemePath READ iconThemePath)
    Q_PROPERTY(QDBusObjectPath Menu READ menuPath)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(TriskVXDBusImageList IconPixmap READ iconPixmap)
    Q_PROPERTY(QString OverlayIconName READ emptyString)
    Q_PROPERTY(TriskVXDBusImageList OverlayIconPixmap READ emptyImages)
    Q_PROPERTY(QString AttentionIconName READ emptyString)
    Q_PROPERTY(TriskVXDBusImageList AttentionIconPixmap READ emptyImages)
    Q_PROPERTY(QString AttentionMovieName READ emptyString)
    Q_PROPERTY(TriskVXDBusToolTip ToolTip READ toolTip)
    Q_PROPERTY(QString XAyatanaLabel READ label)
    Q_PROPERTY(QString XAyatanaLabelGuide READ labelGuide)
    Q_PROPERTY(uint XAyatanaOrderingIndex READ orderingIndex)

public:
    static const QString kWatcherService;
    static const QString kWatcherPath;
    static const QString kItemPath;
    static const QString kMenuPath;

    // Exports the item on the connection under a service name of its own (the protocol's
    // org.freedesktop.StatusNotifierItem-<pid>-<n>); registerWithWatcher makes it known.
    TriskVXStatusNotifierItem(TriskVXStatusItem *item, const QDBusConnection &connection, QObject *parent = nullptr);
    ~TriskVXStatusNotifierItem() override;

    bool isExported() const { return m_exported; }
    QString serviceName() const { return m_serviceName; }
    TriskVXStatusItem *statusItem() const { return m_item; }
    TriskVXDBusMenuExporter *menuExporter() const { return m_menuExporter; }
    // Asks the watcher to list the item, unless it is listed or being listed; answered asynchronously
    // (registered() or a logged failure).
    void registerWithWatcher();
    bool isRegistered() const { return m_registered; }
    // The watcher that listed the item is gone: the next one must be asked again.
    void watcherLost() { m_registered = false; }

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const { return QStringLiteral("trisk-notifier"); }
    QString title() const;
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString emptyString() const { return QString(); }
    TriskVXDBusImageList emptyImages() const { return {}; }
    QDBusObjectPath menuPath() const { return QDBusObjectPath(kMenuPath); }
    bool itemIsMenu() const { return true; }
    QString iconName() const;
    QString iconThemePath() const { return m_iconThemePath; }
    TriskVXDBusImageList iconPixmap() const;
    TriskVXDBusToolTip toolTip() const;
    QString label() const;
    QString labelGuide() const;
    uint orderingIndex() const { return 0; }

    // The picture as the panel gets it: a template image drawn in the panel's text colour.
    static QImage shownImage(const QImage &image);

    // Whether the count-down is drawn as the picture, for a host that shows no label.
    bool drawsCountDown() const { return m_drawsCountDown; }
    void setDrawsCountDown(bool draws);
    // The folder of the installed icons next to the resource folder, when the session's data folders do
    // not hold it (the program runs from its build tree or an unusual prefix).
    static QString uninstalledIconThemePath();

public Q_SLOTS:
    void ContextMenu(int x, int y);
    void Activate(int x, int y);
    void SecondaryActivate(int x, int y);
    void Scroll(int delta, const QString &orientation);

Q_SIGNALS:
    void NewTitle();
    void NewIcon();
    void NewAttentionIcon();
    void NewOverlayIcon();
    void NewToolTip();
    void NewMenu();
    void NewStatus(const QString &status);
    void XAyatanaNewLabel(const QString &label, const QString &guide);
    void registered();

private:
    void itemChanged();
    // The count-down text shown in the picture; empty when the picture is the item's own.
    QString drawnText() const;
    void popUpMenu(int x, int y);

    QPointer<TriskVXStatusItem> m_item;
    QDBusConnection m_connection;
    QString m_serviceName;
    bool m_exported = false;
    bool m_registered = false;
    bool m_registering = false;
    TriskVXDBusMenuExporter *m_menuExporter = nullptr;
    bool m_drawsCountDown = false;
    QString m_iconThemePath;
    TriskVXCountDownIconPainter m_painter;
    // What the host last heard, so that only real changes are signalled.
    QImage m_image;
    QString m_iconName;
    QString m_drawnText;
    QString m_toolTip;
    QString m_label;
    mutable TriskVXDBusImageList m_iconPixmap;
    mutable bool m_iconPixmapValid = false;
};
