#include "TriskVXSoftwareUpdateController.h"

#include "TriskUDUpdrift.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDeadlineTimer.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXNil.h"
#include "TriskVXNotifyEnvironment.h"
#include "TriskVXSoftwareUpdateLogging.h"
#include "TriskVXUserNotification.h"
#include "TriskVXUserNotificationCenter.h"
#include "TriskVXWorkspace.h"

#include <QTimer>
#include <QUrl>

#include <grp.h>
#include <unistd.h>
#include <vector>

namespace {
QString localized(const QString &key)
{
    return TriskVXBundle::localizedString(key);
}

QString describe(const QVariant &value)
{
    if (value == nil)
        return QStringLiteral("(null)");
    return value.typeId() == QMetaType::Bool ? (value.toBool() ? QStringLiteral("1") : QStringLiteral("0"))
                                             : value.toString();
}

QString describeUpdates(const QVariantList &updates)
{
    QStringList versions;
    for (const QVariant &update : updates)
        versions.append(update.toMap().value(QStringLiteral("version")).toString());
    return QStringLiteral("(") + versions.join(QStringLiteral(", ")) + QStringLiteral(")");
}
} // namespace

TriskVXSoftwareUpdateController::TriskVXSoftwareUpdateController(TriskVXUserNotificationCenter *center,
                                                                 const TriskUDFeedFetcherFactory &fetchers,
                                                                 const TriskVXClock *clock,
                                                                 TriskVXDistributedNotificationCenter *preferences,
                                                                 QObject *parent)
    : QObject(parent)
    , m_center(center)
    , m_fetchers(fetchers)
    , m_clock(clock)
    , m_preferences(preferences)
    , m_groupNames(&TriskVXSoftwareUpdateController::supplementaryGroupNames)
{
}

TriskVXSoftwareUpdateController::~TriskVXSoftwareUpdateController()
{
    if (m_preferences)
        m_preferences->removeObserverNameObject(this, kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    setCheckTimer(nullptr);
}

QStringList TriskVXSoftwareUpdateController::supplementaryGroupNames()
{
    const int count = ::getgroups(0, nullptr);
    if (count < 1)
        return {};
    std::vector<gid_t> groups(static_cast<size_t>(count));
    const int found = ::getgroups(count, groups.data());
    QStringList names;
    for (int i = 0; i < found; ++i) {
        // A group the database cannot name matches no rule.
        if (const group *entry = ::getgrgid(groups[size_t(i)]))
            names.append(QString::fromLocal8Bit(entry->gr_name));
    }
    return names;
}

bool TriskVXSoftwareUpdateController::init()
{
    m_updateRight = hasUpdateRights();
    if (!m_updateRight)
        return false;
    m_updrift = new TriskUDUpdrift(m_fetchers, m_clock, this);
    if (m_preferences)
        m_preferences->addObserverSelectorNameObject(
            this,
            [this](const QString &, const QString &, const QVariantMap &) {
                defaultsNotified();
            },
            kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    // "Check for Updates…" and a click on the update notification come through the workspace.
    connect(TriskVXWorkspace::workspace(), &TriskVXWorkspace::softwareUpdateCheckRequested, this, [this] {
        if (canCheckNow())
            checkAutomaticallyNow(this);
    });
    defaultsNotified();
    return true;
}

bool TriskVXSoftwareUpdateController::runningWithinLoginWindow() const
{
    return TriskVXNotifyEnvironment::runningWithinLoginWindow();
}

bool TriskVXSoftwareUpdateController::hasUpdateRights() const
{
    if (runningWithinLoginWindow())
        return false;
    // Linux distributions name their administrators "sudo" or "wheel"; "admin…" is kept for systems
    // that follow that older naming (docs/decisions.md).
    bool right = false;
    const QStringList names = m_groupNames();
    for (const QString &name : names) {
        if (name.startsWith(QLatin1String("admin")) || name == QLatin1String("sudo") || name == QLatin1String("wheel"))
            right = true;
    }
    return right;
}

void TriskVXSoftwareUpdateController::setCheckTimer(TriskVXDeadlineTimer *timer)
{
    delete m_checkTimer;
    m_checkTimer = timer;
}

void TriskVXSoftwareUpdateController::defaultsNotified()
{
    const QVariant check = TriskVXWorkspace::workspace()->preferenceForKey(kVXPreferencesKeySoftwareUpdateCheck);
    qCInfo(lcTriskSoftwareUpdate).noquote() << QStringLiteral("[INFO] check for updates: %1 (see default `%2`)")
                                                   .arg(describe(check), kVXPreferencesKeySoftwareUpdateCheck);
    setCheckTimer(nullptr);
    if (check != nil && !check.toBool())
        return;
    auto *timer = new TriskVXDeadlineTimer(m_clock, this);
    connect(timer, &TriskVXDeadlineTimer::timeout, this, [this, timer] {
        // Repeats weekly from each firing; a check that is not due yet waits for the next one.
        timer->start(m_clock->now().addSecs(kCheckIntervalSecs));
        checkTimerNotified();
    });
    setCheckTimer(timer);
    const QDateTime due = nextCheck();
    timer->start(due);
    // A manual clock fires a deadline only when moved past it; one due already fires on the next turn.
    if (due <= m_clock->now())
        QTimer::singleShot(0, timer, [timer] {
            if (timer->isActive())
                Q_EMIT timer->timeout();
        });
}

QDateTime TriskVXSoftwareUpdateController::nextCheck() const
{
    QDateTime next = m_clock->now();
    const QDateTime last = m_updrift ? m_updrift->lastCheck() : QDateTime();
    if (last.isValid())
        next = last.addSecs(kCheckIntervalSecs);
    qCInfo(lcTriskSoftwareUpdate).noquote()
        << QStringLiteral("Next Software Update check on %1.").arg(next.toString(Qt::ISODate));
    return next;
}

bool TriskVXSoftwareUpdateController::canCheckAutomaticallyNow() const
{
    const QDateTime last = m_updrift ? m_updrift->lastCheck() : QDateTime();
    if (last.isValid() && last.addSecs(kCheckIntervalSecs) > m_clock->now())
        return false;
    return canCheckNow();
}

bool TriskVXSoftwareUpdateController::canCheckNow() const
{
    return m_updrift && !m_updrift->isChecking();
}

void TriskVXSoftwareUpdateController::checkTimerNotified()
{
    if (canCheckAutomaticallyNow() && canCheckNow())
        checkAutomaticallyNow(this);
}

void TriskVXSoftwareUpdateController::checkAutomaticallyNow(QObject *sender)
{
    Q_UNUSED(sender)
    if (!m_updrift)
        return;
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    const QString feed
        = bundle ? bundle->infoDictionary().value(QStringLiteral("WendUpdateFeed")).toString() : QString();
    qCInfo(lcTriskSoftwareUpdate).noquote() << QStringLiteral("Checking for software update: %1").arg(feed);
    QPointer<TriskVXSoftwareUpdateController> self(this);
    m_updrift->checkForUpdatesWithURLVersionSystemVersionReply(
        QUrl(feed), QString(), QString(), [self](const QVariantList &updates, const QString &error) {
            if (!self)
                return;
            qCInfo(lcTriskSoftwareUpdate).noquote()
                << QStringLiteral("Checked for updates. Found %1, with error %2")
                       .arg(describeUpdates(updates), error.isEmpty() ? QStringLiteral("(null)") : error);
            if (error.isEmpty() && !updates.isEmpty())
                self->validUpdateAvailable();
            Q_EMIT self->checked(updates, error);
        });
}

void TriskVXSoftwareUpdateController::validUpdateAvailable()
{
    if (!m_center)
        return;
    TriskVXUserNotification notification;
    // One update notification at a time: a later finding replaces the one on screen.
    notification.setIdentifier(QStringLiteral("trisk-software-update"));
    notification.setTitle(localized(QStringLiteral("update-notification.title")));
    notification.setSubtitle(localized(QStringLiteral("update-notification.subtitle")));
    notification.setInformativeText(localized(QStringLiteral("update-notification.info")));
    notification.setHasActionButton(true);
    notification.setActionButtonTitle(localized(QStringLiteral("update-notification.button")));
    notification.setDeliveryDate(m_clock->now());
    notification.setUserInfo({ { QStringLiteral("url"), QStringLiteral("update") } });
    m_center->deliverNotification(notification);
}
