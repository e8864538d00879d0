#pragma once

#include "TriskVXConnection.h"
#include "TriskVXObserver.h"

#include <QObject>

// A client of a running halvaned that waits for each request's answer and the change notices after it.
class ServiceClient : public QObject
{
    Q_OBJECT

public:
    explicit ServiceClient(const TriskVXServiceLocation &location, QObject *parent = nullptr);

    // Waits until the connection is valid and the variables are read.
    bool ready();
    // Sends and waits for the answer, then re-reads the variables; the status of a failure in status.
    bool request(const QString &name, const QVariantMap &parameters, qint64 *status = nullptr,
                 QString *message = nullptr);
    bool reload();
    // How long each wait lasts; benchmarks on a loaded machine give more than the tests' ten seconds.
    void setTimeout(int msecs) { m_timeout = msecs; }
    QVariant value(const QString &variable) const { return m_observer->valueForKeyPath(variable); }
    QStringList pendingIDs(const QString &variable = QStringLiteral("SchedulerPending")) const;
    QDateTime pendingDate(const QString &triggerID) const;
    TriskVXConnection *connection() const { return m_connection; }
    TriskVXObserver *observer() const { return m_observer; }

private:
    TriskVXConnection *m_connection;
    TriskVXObserver *m_observer;
    int m_timeout = 10000;
};
