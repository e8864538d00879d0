#include "TriskUDNetworkFetcher.h"

#include <QNetworkReply>
#include <QNetworkRequest>

TriskUDNetworkFetcher::~TriskUDNetworkFetcher()
{
    if (m_reply) {
        m_reply->disconnect(&m_network);
        m_reply->abort();
        m_reply->deleteLater();
    }
}

void TriskUDNetworkFetcher::fetch(const QUrl &url, const QString &userAgent, int timeoutMSecs, qint64 maximumBytes,
                                  const Done &done)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMSecs);
    request.setHeader(QNetworkRequest::UserAgentHeader, userAgent);
    m_done = done;
    m_oversized = false;
    m_reply = m_network.get(request);
    QNetworkReply *sent = m_reply;
    // The manager is the context: its deletion with the fetcher cuts these connections.
    QObject::connect(sent, &QNetworkReply::downloadProgress, &m_network,
                     [this, sent, maximumBytes](qint64 received, qint64 total) {
                         if ((received > maximumBytes || total > maximumBytes) && !m_oversized) {
                             m_oversized = true;
                             sent->abort();
                         }
                     });
    QObject::connect(sent, &QNetworkReply::finished, &m_network, [this, url, timeoutMSecs, maximumBytes] {
        finished(url, timeoutMSecs, maximumBytes);
    });
}

void TriskUDNetworkFetcher::finished(const QUrl &url, int timeoutMSecs, qint64 maximumBytes)
{
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    reply->deleteLater();
    // Taken first: done may start the next read.
    const Done done = std::exchange(m_done, Done());
    const QString feed = url.toDisplayString();
    const QString tooLarge = QStringLiteral("the update feed %1 is larger than %2 bytes").arg(feed).arg(maximumBytes);
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (m_oversized)
        return done({}, tooLarge);
    if (status >= 300)
        return done({},
                    QStringLiteral("the update feed %1 answered HTTP %2 %3")
                        .arg(feed)
                        .arg(status)
                        .arg(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString()));
    if (reply->error() == QNetworkReply::OperationCanceledError)
        return done({}, QStringLiteral("the update feed %1 did not answer within %2 ms").arg(feed).arg(timeoutMSecs));
    if (reply->error() != QNetworkReply::NoError)
        return done({}, QStringLiteral("cannot read the update feed %1: %2").arg(feed, reply->errorString()));
    const QByteArray document = reply->readAll();
    if (document.size() > maximumBytes)
        return done({}, tooLarge);
    done(document, QString());
}

// The module's one entry: the loader resolves it by name.
extern "C" Q_DECL_EXPORT TriskUDFeedFetcher *trisk_ud_create_feed_fetcher()
{
    return new TriskUDNetworkFetcher;
}
