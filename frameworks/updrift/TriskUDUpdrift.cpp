#include "TriskUDUpdrift.h"

#include "TriskUDUpdriftLogging.h"
#include "TriskVXBundle.h"
#include "TriskVXClock.h"
#include "TriskVXPropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
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
    const QHostAddress host(url.host());
    return url.host() == QLatin1String("localhost") || (!host.isNull() && host.isLoopback());
}
} // namespace

TriskUDUpdrift::TriskUDUpdrift(QNetworkAccessManager *network, const TriskVXClock *clock, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_clock(clock)
    , m_stateFile(defaultStateFile())
{
    loadState();
}

TriskUDUpdrift::~TriskUDUpdrift()
{
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

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
    const QString running = version.isEmpty() ? runningVersion() : version;
    QNetworkRequest request(url);
    request.setTransferTimeout(m_timeoutMSecs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("trisk-notifier/%1").arg(running));
    m_pendingReply = reply;
    m_oversized = false;
    m_reply = m_network->get(request);
    QNetworkReply *sent = m_reply;
    auto watchSize = [this, sent](qint64 received, qint64 total) {
        if ((received > m_maximumBytes || total > m_maximumBytes) && !m_oversized) {
            m_oversized = true;
            sent->abort();
        }
    };
    connect(m_reply, &QNetworkReply::downloadProgress, this, watchSize);
    connect(m_reply, &QNetworkReply::finished, this, [this, url, running] {
        finished(url, running);
    });
}

void TriskUDUpdrift::finished(const QUrl &url, const QString &version)
{
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->deleteLater();
    const QString feed = url.toDisplayString();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_oversized)
        return complete({}, QStringLiteral("the update feed %1 is larger than %2 bytes").arg(feed).arg(m_maximumBytes));
    if (status >= 300)
        return complete({},
                        QStringLiteral("the update feed %1 answered HTTP %2 %3")
                            .arg(feed)
                            .arg(status)
                            .arg(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString()));
    if (reply->error() == QNetworkReply::OperationCanceledError)
        return complete({},
                        QStringLiteral("the update feed %1 did not answer within %2 ms").arg(feed).arg(m_timeoutMSecs));
    if (reply->error() != QNetworkReply::NoError)
        return complete({}, QStringLiteral("cannot read the update feed %1: %2").arg(feed, reply->errorString()));
    const QByteArray document = reply->readAll();
    if (document.size() > m_maximumBytes)
        return complete({}, QStringLiteral("the update feed %1 is larger than %2 bytes").arg(feed).arg(m_maximumBytes));
    QString error;
    const QList<TriskUDReleasesFeed::Release> releases = TriskUDReleasesFeed::parse(document, &error);
    if (!error.isEmpty())
        return complete({}, QStringLiteral("the update feed %1 is not a releases list: %2").arg(feed, error));

    m_lastCheck = m_clock->now();
    QDir().mkpath(QFileInfo(m_stateFile).absolutePath());
    QString writeError;
    if (!TriskVXPropertyListSerialization::writePropertyListToFile(
            QVariantMap { { kLastCheck, m_lastCheck } }, m_stateFile, TriskVXPropertyListSerialization::Format::Xml,
            &writeError))
        qCWarning(lcTriskUpdrift).noquote()
            << QStringLiteral("cannot keep the time of the update check in %1: %2").arg(m_stateFile, writeError);
    complete(updatesNewerThan(releases, version), QString());
}

void TriskUDUpdrift::complete(const QVariantList &updates, const QString &error)
{
    // Taken first: the reply may start the next check.
    const Reply reply = std::exchange(m_pendingReply, Reply());
    if (reply)
        reply(updates, error);
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
