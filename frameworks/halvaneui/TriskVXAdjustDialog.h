#pragma once

#include "TriskVXConnection.h"

#include <QDialog>
#include <QPointer>
#include <QVariantMap>

class QDateTimeEdit;
class QLabel;
class TriskVXClock;
class TriskVXObserver;

// The scheduler's own adjust interface for one queued trigger: picks a new date and sends
// kVXRPCSchedulerAdjust over the connection.
class TriskVXAdjustDialog : public QDialog
{
    Q_OBJECT

public:
    TriskVXAdjustDialog(const QString &triggerID, TriskVXConnection *connection, const TriskVXClock *clock,
                        QWidget *parent = nullptr);

    QString triggerID() const { return m_triggerID; }
    QDateTime date() const;
    void setDate(const QDateTime &date);
    // Fills in the event name and current date from a queued-trigger record.
    void takeQueuedTrigger(const QVariantMap &queuedTrigger);

    void accept() override;

Q_SIGNALS:
    // The adjust request was answered (or could not be sent).
    void adjustFinished(bool succeeded, qint64 status);

private:
    void findTrigger();

    QString m_triggerID;
    QPointer<TriskVXConnection> m_connection;
    TriskVXObserver *m_observer = nullptr;
    QLabel *m_label = nullptr;
    QDateTimeEdit *m_dateEdit = nullptr;
    bool m_userChangedDate = false;
};
