#pragma once

#include <QObject>
#include <QPointer>

class TriskVXNotification;
class TriskVXNotificationCenter;
class TriskVXUserNotificationCenter;

// Tells the person, in a desktop notification, that something they asked of the scheduler did not
// happen, and why: a refused cancel, a trigger that fired meanwhile, a missing right, a service gone.
// The newest failure replaces the one before, so a burst of refusals is one notification.
class TriskVXRequestErrorReporter : public QObject
{
    Q_OBJECT

public:
    // Follows the requests controller's failures posted on broadcasts; both centres must outlive it.
    TriskVXRequestErrorReporter(TriskVXUserNotificationCenter *center, TriskVXNotificationCenter *broadcasts,
                                QObject *parent = nullptr);
    ~TriskVXRequestErrorReporter() override;

    // The identifier of the one notification this reporter keeps on screen.
    static QString identifier();
    // What a status means to the person, in their language.
    static QString reasonText(qint64 status);

private:
    void report(const TriskVXNotification &failure);

    TriskVXUserNotificationCenter *m_center;
    TriskVXNotificationCenter *m_broadcasts;
    QPointer<QObject> m_token;
};
