#include "TriskVXNotifyController.h"

#include "TriskVXAssertionHandler.h"
#include "TriskVXBundle.h"
#include "TriskVXClassRegistry.h"
#include "TriskVXClock.h"
#include "TriskVXConstants.h"
#include "TriskVXDistributedNotificationCenter.h"
#include "TriskVXNil.h"
#include "TriskVXNotificationCenter.h"
#include "TriskVXNotifierLogging.h"
#include "TriskVXNotifyEnvironment.h"
#include "TriskVXNotifyObject.h"
#include "TriskVXPropertyListSerialization.h"
#include "TriskVXUserDefaults.h"

#include <QFileInfo>
#include <QFileSystemWatcher>

namespace {
const QString kName = QStringLiteral("name");
const QString kClass = QStringLiteral("class");
const QString kOptional = QStringLiteral("optional");

QVariantMap entry(const QString &name, const QString &className, bool optional)
{
    return { { kName, name }, { kClass, className }, { kOptional, optional } };
}
} // namespace

TriskVXNotifyController::TriskVXNotifyController(QObject *parent)
    : QObject(parent)
{
}

TriskVXNotifyController::~TriskVXNotifyController()
{
    TriskVXNotificationCenter::defaultCenter()->removeObserver(m_timeZoneToken);
    TriskVXDistributedNotificationCenter::defaultCenter()->removeObserverNameObject(
        this, kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    qDeleteAll(m_notifiers);
}

void TriskVXNotifyController::setServiceLocation(const TriskVXServiceLocation &location)
{
    m_location = location;
}

QVariantList TriskVXNotifyController::desktopTable()
{
    return { entry(kVXPreferencesKeyNotifierStatusMenu, QStringLiteral("TriskVXStatusMenuController"), true),
             entry(kVXPreferencesKeyNotifierWarning, QStringLiteral("TriskVXWarningController"), true),
             entry(kVXPreferencesKeyNotifierNotifications, QStringLiteral("TriskVXNotificationsController"), true),
             entry(kVXPreferencesKeyNotifierNotificationCenter, QStringLiteral("TriskVXUserNotificationController"),
                   true) };
}

QVariantList TriskVXNotifyController::loginWindowTable()
{
    return { entry(kVXPreferencesKeyNotifierWarning, QStringLiteral("TriskVXWarningController"), false),
             entry(QStringLiteral("TriskVXLoginNotificationController"),
                   QStringLiteral("TriskVXLoginNotificationController"), false) };
}

bool TriskVXNotifyController::init()
{
    registerClassDefaults();
    // At the login screen nobody's session bus exists: the instance there reads the machine-wide service
    // on the system bus. Without that bus it has nothing to show, and it must not hold up the greeter.
    if (!m_location && TriskVXNotifyEnvironment::runningWithinLoginWindow())
        m_location = TriskVXServiceLocation::fromEnvironment(QStringLiteral("system"));
    if (m_location && !m_location->bus().isConnected()) {
        qCWarning(lcTriskNotifier).noquote()
            << QStringLiteral("cannot reach the %1 bus: %2")
                   .arg(m_location->busDescription(), m_location->bus().lastError().message());
        return false;
    }
    m_localService = m_location ? new TriskVXLocalService(*m_location, this) : new TriskVXLocalService(this);
    m_timeZoneToken = TriskVXNotificationCenter::defaultCenter()->addObserverForNameObjectQueueUsingBlock(
        TriskVXClock::TriskVXSystemTimeZoneDidChangeNotification(), nullptr, nullptr,
        [this](const TriskVXNotification &) {
            timeZoneDidNotify();
        });
    return true;
}

void TriskVXNotifyController::registerClassDefaults()
{
    TriskVXBundle *bundle = TriskVXBundle::mainBundle();
    const QString path = bundle
        ? bundle->pathForResource(QStringLiteral("TriskVXNotifyController"), QStringLiteral("plist"))
        : QString();
    if (path.isEmpty())
        return;
    const QVariant defaults = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path);
    if (defaults.typeId() == QMetaType::QVariantMap)
        TriskVXUserDefaults::standardUserDefaults()->registerDefaults(defaults.toMap());
}

void TriskVXNotifyController::awakeFromNib()
{
    TRISK_ASSERT(TriskVXClassRegistry::contains(QStringLiteral("TriskVXConnection")),
                 QStringLiteral("Halvane framework is required."));
    TriskVXConnection *connection = m_location ? TriskVXConnection::connectionWithLocation(*m_location, this)
                                               : TriskVXConnection::connection(this);
    TRISK_ASSERT(connection != nil, QStringLiteral("Connection failed"));
    connection->setAutoReconnect(true);
    connection->setKeepAlive(true);
    connection->setDelegate(this);
    m_connection = connection;
    m_observer = new TriskVXObserver(connection, this);
    // The notifiers show the present state: a burst of reports is decoded once (docs/decisions.md).
    m_observer->setTakesNewestOnly(true);
    connect(m_observer, &TriskVXObserver::reloaded, this, [] {
        qCInfo(lcTriskNotifier).noquote() << QStringLiteral("the scheduler's variables are read");
    });
    m_requests = TriskVXRequestsController::requestsControllerWithConnection(connection, this);
    deployDefaultNotifiers();
    TriskVXDistributedNotificationCenter::defaultCenter()->addObserverSelectorNameObject(
        this,
        [this](const QString &, const QString &, const QVariantMap &) {
            defaultsNotified();
        },
        kVXPreferencesNotificationSynchronise, kVXPreferencesDomain);
    // An edit of the domain file by any program counts as well: the folder is watched, as editors
    // replace files.
    const QString file = TriskVXUserDefaults::standardUserDefaults()->fileOfDomain(kVXPreferencesDomain);
    m_domainWatcher = new QFileSystemWatcher(this);
    m_domainWatcher->addPath(QFileInfo(file).absolutePath());
    if (QFileInfo::exists(file))
        m_domainWatcher->addPath(file);
    auto changed = [this, file](const QString &path) {
        if (path != file && !QFileInfo::exists(file))
            return;
        if (QFileInfo::exists(file) && !m_domainWatcher->files().contains(file))
            m_domainWatcher->addPath(file);
        defaultsNotified();
    };
    connect(m_domainWatcher, &QFileSystemWatcher::fileChanged, this, changed);
    connect(m_domainWatcher, &QFileSystemWatcher::directoryChanged, this, changed);
}

void TriskVXNotifyController::deployDefaultNotifiers()
{
    TriskVXUserDefaults *defaults = TriskVXUserDefaults::standardUserDefaults();
    defaults->synchronize();
    const QVariant domain = defaults->persistentDomainForName(kVXPreferencesDomain);
    const QVariantList table
        = TriskVXNotifyEnvironment::runningWithinLoginWindow() ? loginWindowTable() : desktopTable();
    for (const QVariant &item : table) {
        const QVariantMap entry = item.toMap();
        const QString name = entry.value(kName).toString();
        bool wanted = true;
        if (entry.value(kOptional).toBool() && domain.isValid()) {
            const QVariantMap preferences = domain.toMap();
            if (preferences.contains(name))
                wanted = preferences.value(name).toBool();
        }
        TriskVXNotifyObject *existing = m_notifiers.value(name);
        if (wanted && !existing) {
            const QString className = entry.value(kClass).toString();
            QObject *created = TriskVXClassRegistry::create(className);
            auto *notifier = qobject_cast<TriskVXNotifyObject *>(created);
            if (!notifier) {
                delete created;
                qCInfo(lcTriskNotifier).noquote()
                    << QStringLiteral("[INFO] no notifier class %1 in this build; %2 is skipped").arg(className, name);
                continue;
            }
            if (!notifier->initWithObserverRequests(m_observer, m_requests)) {
                // Tried again on the next preferences change.
                delete notifier;
                continue;
            }
            m_notifiers.insert(name, notifier);
        } else if (wanted && existing) {
            existing->show();
        } else if (!wanted && existing) {
            existing->hide();
        }
    }
}

void TriskVXNotifyController::defaultsNotified()
{
    deployDefaultNotifiers();
}

void TriskVXNotifyController::timeZoneDidNotify()
{
    for (TriskVXNotifyObject *notifier : std::as_const(m_notifiers))
        notifier->refresh();
}

void TriskVXNotifyController::connectionDidInvalidate(TriskVXConnection *connection)
{
    Q_UNUSED(connection)
    if (m_localService->url().isEmpty())
        return;
    m_connection->connect();
}
