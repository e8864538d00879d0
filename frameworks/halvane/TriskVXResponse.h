#pragma once

#include <QString>
#include <QtGlobal>

// The answer to one request: whether it succeeded and the service's status code (docs/protocol.md).
class TriskVXResponse
{
public:
    TriskVXResponse() = default;
    TriskVXResponse(bool succeeded, qint64 status, const QString &message = QString())
        : m_succeeded(succeeded)
        , m_status(status)
        , m_message(message)
    {
    }

    bool succeeded() const { return m_succeeded; }
    qint64 status() const { return m_status; }
    // What the service or the transport said, for logs and the command line; never shown in the notifier.
    QString message() const { return m_message; }

private:
    bool m_succeeded = false;
    qint64 m_status = 0;
    QString m_message;
};
