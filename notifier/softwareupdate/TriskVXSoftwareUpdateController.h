#pragma once

#include "TriskUDFeedFetcher.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>

class TriskUDUpdrift;
class TriskVXClock;
class TriskVXDeadlineTimer;
class TriskVXDistributedNotificationCenter;
class TriskVXUserNotificationCenter;

// Checks once a week, for a person who could install an update, whether a newer version is offered,
// and posts a notification inviting them to update when one is. Follows the scheduler's preference
// that turns the checks off.
class TriskVXSoftwareUpdateController : public QObject
{
    Q_OBJECT

public:
    static constexpr qint64 kCheckIntervalSecs = 604800;

    // Everything handed in must outlive the controller; preferences may be null (then only
    // defaultsNotified follows the preference).
    TriskVXSoftwareUpdateController(TriskVXUserNotificationCenter *center, const TriskUDFeedFetcherFactory &fetchers,
                                    const TriskVXClock *clock, TriskVXDistributedNotificationCenter *preferences,
                                    QObject *parent = nullptr);
    ~TriskVXSoftwareUpdateController() override;

    // The names of the groups this process belongs to; tests hand in their own before init.
    using GroupNames = std::function<QStringList()>;
    void setGroupNames(const GroupNames &groupNames) { m_groupNames = groupNames; }
    static QStringList supplementaryGroupNames();

    // Decides the right and, with it, creates the checker and sets the weekly check up. False when this
    // person cannot install updates: the controller then stays idle.
    bool init();

    bool runningWithinLoginWindow() const;
    // A member of a group whose name starts with "admin", or of "sudo" or "wheel", outside the login window.
    bool hasUpdateRights() const;
    bool updateRight() const { return m_updateRight; }
    TriskUDUpdrift *updrift() const { return m_updrift; }
    TriskVXDeadlineTimer *checkTimer() const { return m_checkTimer; }

    void defaultsNotified();
    // A week after the last check, or now when there was none; logged at every call.
    QDateTime nextCheck() const;
    bool canCheckAutomaticallyNow() const;
    bool canCheckNow() const;
    void checkAutomaticallyNow(QObject *sender);
    void checkTimerNotified();
    void validUpdateAvailable();

Q_SIGNALS:
    // A check answered (for those who follow the checks, such as tests and the log reader).
    void checked(const QVariantList &updates, const QString &error);

private:
    void setCheckTimer(TriskVXDeadlineTimer *timer);

    TriskVXUserNotificationCenter *m_center;
    TriskUDFeedFetcherFactory m_fetchers;
    const TriskVXClock *m_clock;
    QPointer<TriskVXDistributedNotificationCenter> m_preferences;
    GroupNames m_groupNames;
    bool m_updateRight = false;
    TriskVXDeadlineTimer *m_checkTimer = nullptr;
    TriskUDUpdrift *m_updrift = nullptr;
};
