#pragma once

#include "TriskVXConnection.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>

class TriskVXRequest;

// The one path by which the notifiers ask the scheduler service for something: sends with a summary,
// counts the requests in flight, logs and broadcasts failures, follows the connection's state.
class TriskVXRequestsController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(quint64 pending READ pending WRITE setPending NOTIFY pendingChanged)
    Q_PROPERTY(bool canSend READ canSend)

public:
    explicit TriskVXRequestsController(QObject *parent = nullptr);
    ~TriskVXRequestsController() override;

    // The factory runs initWithConnection:; nullptr stands for nil.
    static TriskVXRequestsController *requestsControllerWithConnection(TriskVXConnection *aConnection,
                                                                       QObject *parent = nullptr);
    virtual bool initWithConnection(TriskVXConnection *aConnection);

    TriskVXConnection *connection() const { return m_connection; }
    void setConnection(TriskVXConnection *connection) { m_connection = connection; }
    quint64 pending() const { return m_pending; }
    void setPending(quint64 pending);
    QObject *notifications() const { return m_notifications; }

    bool canSend() const;
    void sendRequestLocalisedSummary(const TriskVXRequest *aRequest, const QString &summary);
    bool hasPending() const { return m_pending != 0; }
    void incremementPending();
    void decrementPending();
    void issueErrorReason(const QString &summary, qint64 reason);

    // TriskVXRequestsControllerAdditions
    void adjustTriggerTo(const QString &aTriggerID, const QDateTime &aTriggerDate);
    void cancelTrigger(const QString &aTriggerID);
    void resetTrigger(const QString &aTriggerID);
    void triggerNow(const QString &anEventID);
    void performNow(const QString &anEventID);
    bool hasExistingAdjustTriggerRight() const;
    bool hasExistingCancelTriggerRight() const;

Q_SIGNALS:
    void pendingChanged(quint64 pending);

private:
    QPointer<TriskVXConnection> m_connection;
    quint64 m_pending = 0;
    QObject *m_notifications = nullptr;
};

extern const QString TriskVXRequestsControllerNotificationRequestError;
extern const QString TriskVXRequestsControllerNotificationPendingEmpty;
