#pragma once

#include "TriskVXServiceLocation.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QVariantMap>

// A stand-in for halvaned for what the real one never does: refused authentication, malformed values.
class FakeScheduler : public QDBusVirtualObject
{
    Q_OBJECT

public:
    explicit FakeScheduler(QObject *parent = nullptr);
    ~FakeScheduler() override;

    bool start();
    TriskVXServiceLocation location() const;
    // The connection it publishes on (a client's is another).
    QDBusConnection connection() const { return m_connection; }

    // What Authenticate answers.
    bool acceptClients = true;
    uint protocolVersion = 1;
    // Every other request succeeds, unless its replies are malformed.
    bool malformedReplies = false;
    // The raw D-Bus values GetAll and Get answer (any type, to publish malformed values).
    QVariantMap published;

    // The requests other than Authenticate, as the service decoded them.
    struct Received
    {
        QString request;
        QVariantMap parameters;
    };
    QList<Received> received() const { return m_received; }

    // Emits PropertiesChanged with raw values.
    void publish(const QVariantMap &changed, const QStringList &invalidated = {});

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    QString m_serviceName;
    QDBusConnection m_connection;
    QList<Received> m_received;
};
