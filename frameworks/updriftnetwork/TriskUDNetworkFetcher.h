#pragma once

#include "TriskUDFeedFetcher.h"

#include <QNetworkAccessManager>
#include <QPointer>

class QNetworkReply;

// The feed read with Qt Network: http(s) with a transfer timeout and a size limit.
class TriskUDNetworkFetcher : public TriskUDFeedFetcher
{
public:
    ~TriskUDNetworkFetcher() override;
    void fetch(const QUrl &url, const QString &userAgent, int timeoutMSecs, qint64 maximumBytes,
               const Done &done) override;

private:
    void finished(const QUrl &url, int timeoutMSecs, qint64 maximumBytes);

    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
    Done m_done;
    bool m_oversized = false;
};
