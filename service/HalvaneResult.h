#pragma once

#include "TriskVXConstants.h"

#include <QString>

// What the service answers to one request: success, the status code of docs/protocol.md and a message
// for logs and halvanectl.
class HalvaneResult
{
public:
    static HalvaneResult ok() { return HalvaneResult(true, kVXStatusOK, QString()); }
    static HalvaneResult failure(qint64 status, const QString &message)
    {
        return HalvaneResult(false, status, message);
    }

    bool succeeded() const { return m_succeeded; }
    qint64 status() const { return m_status; }
    QString message() const { return m_message; }

private:
    HalvaneResult(bool succeeded, qint64 status, const QString &message)
        : m_succeeded(succeeded)
        , m_status(status)
        , m_message(message)
    {
    }

    bool m_succeeded;
    qint64 m_status;
    QString m_message;
};
