#include "TriskUDUpdrift.h"

#include "TriskUDUpdriftLogging.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXPropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>

namespace {
const QString kLastCheck = QStringLiteral("lastCheck");

// Plain http is accepted only where the bytes never leave the machine.
bool isAcceptedAddress(const QUrl &url)
{
    if (!url.isValid() || url.host().isEmpty())
        return false;
    if (url.scheme() == QLatin1String("https"))
        return true;
    if (url.scheme() != QLatin1String("http"))
        return false;
    // The loopback addresses by hand: the checker stays clear of Qt Network until a check runs.
    const QString host = url.host();
    if (host == QLatin1String("localhost") || host == QLatin1String("::1"))
        return true;
    const QStringList bytes = host.split(QLatin1Char('.'));
    return bytes.size() == 4 && bytes.constFirst() == QLatin1String("127")
        && std::all_of(bytes.begin(), bytes.end(), [](const QString &byte) {
               bool number = false;
               return byte.toUInt(&number) <= 255 && number;
           });
}
} // namespace

TriskUDUpdrift::TriskUDUpdrift(const TriskUDFeedFetcherFactory &fetchers, const TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_fetchers(fetchers)
    , m_clock(clock)
    , m_stateFile(defaultStateFile())
{
    loadState();
}

TriskUDUpdrift::~TriskUDUpdrift() = default;

QString TriskUDUpdrift::defaultStateFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/trisk-notifier/TriskUDUpdrift.plist");
}

void TriskUDUpdrift::setStateFile(const QString &path)
{
    m_stateFile = path;
    loadState();
}

void TriskUDUpdrift::loadState()
{
    m_lastCheck = QDateTime();
    if (!QFileInfo::exists(m_stateFile))
        return;
    QString error;
    const QVariant state = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(m_stateFile, &error);
    m_lastCheck = state.toMap().value(kLastCheck).toDateTime();
    if (!m_lastCheck.isValid())
        qCWarning(lcTriskUpdrift).noquote()
            << QStringLiteral("cannot read the last update check from %1: %2; the next check is due now")
                   .arg(m_stateFile, error.isEmpty() ? QStringLiteral("no date in it") : error);
}

QString TriskUDUpdrift::runningVersion()
{
    if (TriskVXBundle *bundle = TriskVXBundle::mainBundle()) {
        const QString version = bundle->infoDictionary().value(QStringLiteral("CFBundleShortVersionString")).toString();
        if (!version.isEmpty())
            return version;
    }
    return QCoreApplication::applicationVersion();
}

void TriskUDUpdrift::checkForUpdatesWithURLVersionSystemVersionReply(const QUrl &url, const QString &version,
                                                                     const QString &systemVersion, const Reply &reply)
{
    Q_UNUSED(systemVersion)
    auto refuse = [this, reply](const QString &error) {
        QMetaObject::invokeMethod(
            this,
            [reply, error] {
                reply({}, error);
            },
            Qt::QueuedConnection);
    };
    if (isChecking())
        return refuse(QStringLiteral("an update check is running already"));
    if (!isAcceptedAddress(url))
        return refuse(
            QStringLiteral("the update feed address \"%1\" is not an https address").arg(url.toDisplayString()));
    if (!m_fetcher) {
        QString error;
        m_fetcher = m_fetchers ? m_fetchers(&error) : nullptr;
        if (!m_fetcher)
            return refuse(error);
    }
    const QString running = version.isEmpty() ? runningVersion() : version;
    m_checking = true;
    m_fetcher->fetch(url, QStringLiteral("trisk-notifier/%1").arg(running), m_timeoutMSecs, m_maximumBytes,
                     [this, url, running, reply](const QByteArray &document, const QString &error) {
                         m_checking = false;
                         finished(document, error, url, running, reply);
                     });
}

void TriskUDUpdrift::finished(const QByteArray &document, const QString &fetchError, const QUrl &url,
                              const QString &version, const Reply &reply)
{
    if (!fetchError.isEmpty())
        return reply({}, fetchError);
    QString error;
    const QList<TriskUDReleasesFeed::Release> releases = TriskUDReleasesFeed::parse(document, &error);
    if (!error.isEmpty())
        return reply({},
                     QStringLiteral("the update feed %1 is not a releases list: %2").arg(url.toDisplayString(), error));

    m_lastCheck = m_clock->now();
    QDir().mkpath(QFileInfo(m_stateFile).absolutePath());
    QString writeError;
    if (!TriskVXPropertyListSerialization::writePropertyListToFile(
            QVariantMap { { kLastCheck, m_lastCheck } }, m_stateFile, TriskVXPropertyListSerialization::Format::Xml,
            &writeError))
        qCWarning(lcTriskUpdrift).noquote()
            << QStringLiteral("cannot keep the time of the update check in %1: %2").arg(m_stateFile, writeError);
    reply(updatesNewerThan(releases, version), QString());
}

QVariantList TriskUDUpdrift::updatesNewerThan(const QList<TriskUDReleasesFeed::Release> &releases,
                                              const QString &version)
{
    QList<TriskUDReleasesFeed::Release> newer;
    for (const TriskUDReleasesFeed::Release &release : releases) {
        if (release.type == QLatin1String("stable")
            && TriskUDReleasesFeed::compareVersions(release.version, version) > 0)
            newer.append(release);
    }
    std::stable_sort(newer.begin(), newer.end(), [](const auto &a, const auto &b) {
        return TriskUDReleasesFeed::compareVersions(a.version, b.version) > 0;
    });
    QVariantList updates;
    for (const TriskUDReleasesFeed::Release &release : std::as_const(newer))
        updates.append(QVariantMap { { QStringLiteral("version"), release.version },
                                     { QStringLiteral("date"), release.date },
                                     { QStringLiteral("url"), release.url } });
    return updates;
}
