#pragma once

#include "TriskVXConnection.h"

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <functional>
#include <memory>

class OrgFreedesktopDBusPropertiesInterface;
class OrgHalvaneScheduler1Interface;

// The scheduler's published variables (kVXObserve...), read over the connection and kept current:
// each change the service publishes becomes one didChangeValueForKeyPath on the main thread.
class TriskVXObserver : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant SchedulerPending READ schedulerPending NOTIFY schedulerPendingChanged)
    Q_PROPERTY(QVariant SchedulerActive READ schedulerActive NOTIFY schedulerActiveChanged)
    Q_PROPERTY(QVariant SchedulerEnabled READ schedulerEnabled NOTIFY schedulerEnabledChanged)
    Q_PROPERTY(QVariant NotificationsCurrent READ notificationsCurrent NOTIFY notificationsCurrentChanged)
    Q_PROPERTY(QVariant NotificationsWarning READ notificationsWarning NOTIFY notificationsWarningChanged)
    Q_PROPERTY(QVariant OnDemandAvailable READ onDemandAvailable NOTIFY onDemandAvailableChanged)
    Q_PROPERTY(QVariant AuthorisationRights READ authorisationRights NOTIFY authorisationRightsChanged)

public:
    // initWithConnection:
    explicit TriskVXObserver(TriskVXConnection *connection, QObject *parent = nullptr);
    ~TriskVXObserver() override;

    TriskVXConnection *connection() const { return m_connection; }
    // Off by default: every published value is decoded and announced as it comes, so that a client can
    // follow each transition. On: the reports that arrive while the event loop is busy are decoded once,
    // the newest value of each variable, on a worker thread, and announced when that is done; for
    // clients that show the present state, such as the notifier, to which a burst of firings brings a
    // report per firing of lists that take ~300 ms each to decode.
    bool takesNewestOnly() const { return m_takesNewestOnly; }
    void setTakesNewestOnly(bool newestOnly) { m_takesNewestOnly = newestOnly; }

    // The current value of a variable, or of a key inside it ("SchedulerPending" or
    // "AuthorisationRights.0.Signature" style paths); nil (invalid) until the service has published one.
    QVariant valueForKeyPath(const QString &keyPath) const;

    // Every observed variable name, in a fixed order that the accessors below index.
    static QStringList observedVariables();

    QVariant schedulerPending() const { return valueForKeyPath(variableName(0)); }
    QVariant schedulerActive() const { return valueForKeyPath(variableName(1)); }
    QVariant schedulerEnabled() const { return valueForKeyPath(variableName(2)); }
    QVariant notificationsCurrent() const { return valueForKeyPath(variableName(3)); }
    QVariant notificationsWarning() const { return valueForKeyPath(variableName(4)); }
    QVariant onDemandAvailable() const { return valueForKeyPath(variableName(5)); }
    QVariant authorisationRights() const { return valueForKeyPath(variableName(6)); }

    // Re-reads every variable from the service (done by itself at each authentication).
    void reload();

Q_SIGNALS:
    // A new value of the variable keyPath was published; observers re-read it with valueForKeyPath.
    void didChangeValueForKeyPath(const QString &keyPath);
    void schedulerPendingChanged();
    void schedulerActiveChanged();
    void schedulerEnabledChanged();
    void notificationsCurrentChanged();
    void notificationsWarningChanged();
    void onDemandAvailableChanged();
    void authorisationRightsChanged();
    // Every variable has been read since the last (re)authentication.
    void reloaded();

private:
    static QString variableName(int index);
    void propertiesChanged(const QString &interfaceName, const QVariantMap &changed, const QStringList &invalidated);
    void fetch(const QString &name);
    // The rights are the caller's own, asked for with a method call rather than read as a property.
    void fetchRights(std::function<void()> done);
    // Takes one published value; false when it is malformed (logged, not delivered).
    bool receive(const QString &name, const QVariant &wireValue);
    void announce(const QString &name);
    // Decodes the reports that came since the last turn of the event loop: the last value of each.
    void takeIncoming();
    // The worker's results, on this object's thread; values of an older generation are dropped.
    void takeDecoded(const QHash<QString, QVariant> &decoded, const QStringList &complaints, quint64 generation);

    QPointer<TriskVXConnection> m_connection;
    OrgFreedesktopDBusPropertiesInterface *m_properties = nullptr;
    OrgHalvaneScheduler1Interface *m_scheduler = nullptr;
    QHash<QString, QVariant> m_values;
    // Published values not yet decoded. With 10,000 triggers a report costs ~50 ms to decode and check,
    // and a burst of firings brings one per firing: only the newest of those queued together is decoded.
    QHash<QString, QVariant> m_incoming;
    bool m_takesNewestOnly = false;
    bool m_decoding = false;
    // Lets a worker reach this object only while it lives.
    struct Link
    {
        QMutex mutex;
        TriskVXObserver *observer = nullptr;
    };
    std::shared_ptr<Link> m_link;
    QTimer *m_incomingTimer = nullptr;
    quint64 m_generation = 0;
};
