#pragma once

#include <QByteArray>
#include <QTcpServer>
#include <QUrl>

// A tiny HTTP server on 127.0.0.1 that answers every GET with one prepared reply, or never answers.
class FeedServer : public QTcpServer
{
    Q_OBJECT

public:
    explicit FeedServer(QObject *parent = nullptr);

    // The reply: a status line's code and reason, and a body sent with or without a Content-Length.
    void reply(int status, const QByteArray &body, bool withLength = true);
    void replyNever() { m_silent = true; }
    QUrl url(const QString &path = QStringLiteral("/releases.xml")) const;
    int requests() const { return m_requests; }

private:
    void answer();

    int m_status = 200;
    QByteArray m_body;
    bool m_withLength = true;
    bool m_silent = false;
    int m_requests = 0;
};
