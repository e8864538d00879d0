#pragma once

#include "TriskVXSecondTimer.h"
#include "TriskVXStatusMenu.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QMenu>
#include <QPointF>
#include <QPointer>
#include <QSizeF>
#include <QTimer>
#include <QUrl>
#include <QVariant>

#include <memory>

class QAction;
class TriskVXIDateTransformer;

// The status-menu notifier: rebuilds the whole status menu from its templates once for the reports of
// the scheduler's variables that come together, sets the item's picture, count-down and tool tip, sends the
// menu's actions to the scheduler, and carries the Quick Schedule submenu from menu to menu.
class TriskVXStatusMenuController : public TriskVXStatusMenu
{
    Q_OBJECT
    Q_PROPERTY(bool schedulerEnabled READ isSchedulerEnabled)
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates)

public:
    explicit TriskVXStatusMenuController(QObject *parent = nullptr);
    ~TriskVXStatusMenuController() override;

    // Adds the class to the registry the notify controller deploys from.
    static void registerClass();

    QSet<QString> observes() const override;
    bool initWithObserverRequests(TriskVXObserver *observer, TriskVXRequestsController *requests) override;
    void didShow() override;
    void observedVariableDidBecome(const QString &observed, const QVariant &value) override;

    // Menu content
    // The most lines the on-demand and the pending section list; one line below says how many more there
    // are (docs/status-menu.md).
    static constexpr qsizetype kSectionLimit = 50;
    // Reports that come within this time of the last rebuild wait for its end, so that a storm of reports
    // costs at most ten rebuilds a second (docs/decisions.md).
    static constexpr int kRebuildSpacingMSecs = 100;
    // Whether reports wait for the next rebuild, which comes when control is back in the event loop.
    bool isRebuildScheduled() const;
    void updateWithCurrent(const QVariant &current);
    // Builds the menu from the pending list now and sets the title (reports build it only when it is read).
    void updateWithPending(const QVariant &pending);
    QList<QAction *> encloseMenuItemsAsSection(const QList<QAction *> &menuItems, const QString &sectionTitle,
                                               QObject *parent);
    void appendRemoveItem(QMenu *inMenu);
    QImage imageForMenuItemForUIIdentifier(const QUrl &identifier) const;
    QString eventNameWithQueuedTrigger(const QVariant &aQueuedTrigger) const;
    bool supportsBehaviourWithQueuedTriggerBehaviour(const QVariant &aQueuedTrigger, const QString &behaviour) const;
    QVariant triggerDateWithQueuedTrigger(const QVariant &aQueuedTrigger) const;
    qint32 relativeDaysAwayWithQueuedTrigger(const QVariant &aQueuedTrigger) const;
    double secondsUntilQueuedTrigger(const QVariant &aQueuedTrigger) const;
    QUrl imageURLForQueuedTrigger(const QVariant &aQueuedTrigger) const;
    QVariant triggerIDForIBAction(QObject *sender) const;
    bool onDemandEvent(const QVariant &anEvent) const;

    // Title, picture and count-down
    // Where appendPerformingImage puts the picture and the cog, in points.
    struct PerformingImageLayout
    {
        QSizeF size;
        QPointF baseOrigin;
        QPointF cogOrigin;
    };
    static PerformingImageLayout performingImageLayout(const QSizeF &base, const QSizeF &cog);
    void updateTitleWithQueuedTrigger(const QVariant &aQueuedTrigger);
    QString countDownTimeForQueuedTrigger(const QVariant &aQueuedTrigger) const;
    // The count-down in a few characters for the picture ("42", "5m", "2h"); empty when it is over.
    QString imageTextForSeconds(qint64 seconds) const;
    // The time left as the tool tip says it, to the minute ("2 h 5 min", "5 min", "under 1 min"); empty
    // when it is over.
    QString toolTipTimeForSeconds(qint64 seconds) const;
    // "Next: <event>, <clock time> (in <time left>)"; without the time left when it is empty.
    QString countDownToolTip(const QVariant &aQueuedTrigger, const QString &countDown) const;
    QImage appendPerformingImageVariation(const QImage &image, const QString &variation) const;

    // Whether the service answers: false from the moment the connection drops until the observer has read
    // the scheduler's variables again. Meanwhile the menu and the item say the schedule is unavailable and
    // offer nothing that needs the service. Always true without a connection to follow.
    bool isServiceReachable() const { return m_serviceReachable; }

    // Menu actions
    Q_INVOKABLE bool validateMenuItem(QAction *menuItem) const;
    bool canCheckForUpdates() const;
    // Whether something answers the update check; the one place that decides it beside the preference.
    bool hasUpdateChecker() const;

    // Quick Schedule
    static const QList<int> &quickDelays();
    static quint64 alternateModifierMaskAt(qsizetype position);
    QVariantList quickScheduleEvents() const;
    QMenu *makeQuickScheduleMenu();

    QMenu *triggerTemplateMenu() const { return m_triggerTemplateMenu; }
    QMenu *sectionTemplateMenu() const { return m_sectionTemplateMenu; }
    QMenu *performNowTemplateMenu() const { return m_performNowTemplateMenu; }
    QAction *removeHalvaneTemplateItem() const { return m_removeHalvaneTemplateItem; }
    TriskVXIDateTransformer *dateTransformer() const { return m_dateTransformer.get(); }
    QVariant onDemandEvents() const { return m_onDemandEvents; }
    void setOnDemandEvents(const QVariant &events) { m_onDemandEvents = events; }
    QVariant pendingEvents() const { return m_pendingEvents; }
    void setPendingEvents(const QVariant &events) { m_pendingEvents = events; }
    QVariant allEvents() const { return m_allEvents; }
    QVariant activeEvents() const { return m_activeEvents; }
    void setActiveEvents(const QVariant &events) { m_activeEvents = events; }
    QVariant schedulerEnabled() const { return m_schedulerEnabled; }
    void setSchedulerEnabled(const QVariant &enabled) { m_schedulerEnabled = enabled; }
    bool isSchedulerEnabled() const;
    QVariant nextPendingQueuedTrigger() const { return m_nextPendingQueuedTrigger; }
    QVariant nextCurrentQueuedTrigger() const { return m_nextCurrentQueuedTrigger; }
    double emphasizeInterval() const { return m_emphasizeInterval; }
    void setEmphasizeInterval(double interval);
    QTimer *emphasizeTimer() const { return m_emphasizeTimer; }
    void setEmphasizeTimer(QTimer *timer);
    TriskVXSecondTimer *countDownTimer() const { return m_countDownTimer; }
    void setCountDownTimer(TriskVXSecondTimer *timer);
    QMenu *quickMenu() const { return m_quickMenu; }
    // The menu as of the latest reports, built now when they changed it since it was last read; the
    // controller owns it until the next one.
    QMenu *statusMenu();

public Q_SLOTS:
    // The title's timer actions.
    void updateTitleEmphasis(QObject *timer);
    void updateTitleCountDown(QObject *timer);
    void updateTitleCountDownText(QObject *timer);

    // Menu actions
    void cancel(QObject *sender);
    void delay(QObject *sender);
    void reset(QObject *sender);
    void triggerNow(QObject *sender);
    void performNow(QObject *sender);
    void triggerOnDemandNow(QObject *sender);
    void adjust(QObject *sender);
    void quickSchedule(QObject *sender);
    void checkForUpdates(QObject *sender);

    // Quick Schedule
    void quickScheduleWithEvent(QObject *sender);

private:
    void setServiceReachable(bool reachable);
    // Takes out the items whose action needs the service, with the separator that follows each.
    void removeServiceCommands(QMenu *menu) const;
    // Reports only mark what they change; one rebuild (or one title update) follows for all of them.
    void scheduleUpdate(bool menu);
    // The title follows the reports at once; the menu is marked for building when next read.
    void outdateMenu();
    void buildMenu(const QVariant &pending);
    // The first pending trigger, or nil while the service is unreachable or nothing is pending.
    QVariant nextPendingOf(const QVariant &pending) const;
    void runScheduledUpdate();
    // Hands the freed heap pages back once reports on long lists have stopped for a while.
    void scheduleTrim();
    QList<QAction *> activeSectionItems(QMenu *menu) const;
    QList<QAction *> onDemandSectionItems(QMenu *menu);
    QList<QAction *> pendingSectionItems(const QVariantList &queued, QMenu *menu) const;
    // The information line below a section cut at kSectionLimit; nullptr when nothing was left out.
    QAction *moreItem(qsizetype leftOut, const QString &key, QMenu *menu) const;
    QAction *newItemForEvent(const QVariant &event, const QString &title, QObject *parent) const;
    QIcon iconForImage(const QImage &image) const;
    // Gives each pending trigger's item of the menu its (empty) submenu, as the menu opens.
    void attachTriggerSubmenus(QMenu *menu);
    // Copies the trigger template (and the perform-now items where they apply) into a pending trigger's
    // submenu as it first opens.
    void fillTriggerSubmenu(QMenu *submenu, const QVariant &queuedTrigger);
    QString localized(const QString &key) const;
    // kVXEventUniqueID of the sender's represented event, or of its queued trigger's event.
    static QString uniqueIDOfRepresentedEvent(QObject *sender, bool ofQueuedTrigger);

    QPointer<QMenu> m_triggerTemplateMenu;
    QPointer<QMenu> m_sectionTemplateMenu;
    QPointer<QMenu> m_performNowTemplateMenu;
    QPointer<QAction> m_removeHalvaneTemplateItem;
    std::unique_ptr<TriskVXIDateTransformer> m_dateTransformer;
    QVariant m_onDemandEvents;
    QVariant m_pendingEvents;
    QVariant m_allEvents;
    QVariant m_activeEvents;
    QVariant m_schedulerEnabled;
    QVariant m_nextPendingQueuedTrigger;
    QVariant m_nextCurrentQueuedTrigger;
    double m_emphasizeInterval = 0.0;
    QTimer *m_emphasizeTimer = nullptr;
    TriskVXSecondTimer *m_countDownTimer = nullptr;
    QMenu *m_quickMenu = nullptr;
    QPointer<QMenu> m_statusMenu;
    QTimer *m_updateTimer = nullptr;
    QTimer *m_trimTimer = nullptr;
    bool m_serviceReachable = true;
    // The time left the tool tip last said: a tick that would say the same leaves the tool tip alone.
    QString m_toolTipTime;
    bool m_menuOutdated = false;
    // Reports changed the menu since it was last built: it is built when next read.
    bool m_menuUnbuilt = false;
    bool m_titleOutdated = false;
    QElapsedTimer m_sinceRebuild;
    // Menu icons by image: the same few pictures recur in every rebuild.
    mutable QHash<qint64, QIcon> m_iconCache;
    mutable QHash<QString, QImage> m_menuImageCache;
};
