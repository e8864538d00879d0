#include "FeedServer.h"

#include <QTcpSocket>

FeedServer::FeedServer(QObject *parent)
    : QTcpServer(parent)
{
    listen(QHostAddress::LocalHost);
    connect(this, &QTcpServer::newConnection, this, &FeedServer::answer);
}

void FeedServer::reply(int status, const QByteArray &body, bool withLength)
{
    m_status = status;
    m_body = body;
    m_withLength = withLength;
    m_silent = false;
}

QUrl FeedServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
}

void FeedServer::answer()
{
    while (QTcpSocket *socket = nextPendingConnection()) {
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
            // One request per connection; its end is the blank line.
            if (!socket->peek(socket->bytesAvailable()).contains("\r\n\r\n") || socket->property("answered").toBool())
                return;
            socket->setProperty("answered", true);
            ++m_requests;
            if (m_silent)
                return;
            QByteArray head = "HTTP/1.1 " + QByteArray::number(m_status) + (m_status == 200 ? " OK" : " Not Found")
                + "\r\nContent-Type: application/xml\r\nConnection: close\r\n";
            if (m_withLength)
                head += "Content-Length: " + QByteArray::number(m_body.size()) + "\r\n";
            socket->write(head + "\r\n" + m_body);
            socket->disconnectFromHost();
        });
    }
}
