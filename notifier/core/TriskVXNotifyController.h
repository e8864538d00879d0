#pragma once

#include "TriskVXConnection.h"
#include "TriskVXConnectionDelegate.h"
#include "TriskVXLocalService.h"
#include "TriskVXObserver.h"
#include "TriskVXRequestsController.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <optional>

class QFileSystemWatcher;
class TriskVXNotifyObject;

// The notifier agent's application controller: brings up the connection, the observer and
// the requests controller, deploys the notifiers of its table from the preferences, and follows
// preference changes, time-zone changes and the connection's invalidation.
class TriskVXNotifyController : public QObject, public TriskVXConnectionDelegate
{
    Q_OBJECT
    Q_PROPERTY(TriskVXConnection *connection READ connection)
    Q_PROPERTY(TriskVXObserver *observer READ observer)
    Q_PROPERTY(TriskVXRequestsController *requests READ requests)

public:
    explicit TriskVXNotifyController(QObject *parent = nullptr);
    ~TriskVXNotifyController() override;

    // The location the connection is made to. When not set: the process's default, on the system bus
    // for the login window's instance.
    void setServiceLocation(const TriskVXServiceLocation &location);

    // False when the service's bus cannot be reached (logged); the controller is then of no use.
    virtual bool init();
    void awakeFromNib();
    void registerClassDefaults();
    void deployDefaultNotifiers();
    void defaultsNotified();
    void timeZoneDidNotify();
    void connectionDidInvalidate(TriskVXConnection *connection) override;

    TriskVXConnection *connection() const { return m_connection; }
    TriskVXObserver *observer() const { return m_observer; }
    TriskVXRequestsController *requests() const { return m_requests; }
    TriskVXLocalService *localService() const { return m_localService; }
    QHash<QString, TriskVXNotifyObject *> notifiers() const { return m_notifiers; }

    // The notifiers for the desktop and for the login window: entries { "name", "class", "optional" }.
    static QVariantList desktopTable();
    static QVariantList loginWindowTable();

private:
    std::optional<TriskVXServiceLocation> m_location;
    QPointer<TriskVXConnection> m_connection;
    QPointer<TriskVXObserver> m_observer;
    QPointer<TriskVXRequestsController> m_requests;
    TriskVXLocalService *m_localService = nullptr;
    QHash<QString, TriskVXNotifyObject *> m_notifiers;
    QObject *m_timeZoneToken = nullptr;
    QFileSystemWatcher *m_domainWatcher = nullptr;
};
