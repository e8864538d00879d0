#pragma once

#include "TriskVXServiceLocation.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QList>
#include <QVariantMap>

#include <functional>

// A stand-in for halvaned on its own connection to the test bus, for the edge cases the real service
// never produces: statuses wider than 32 bits, refused authentication, malformed replies and published
// values, answers held back. It records every request it receives.
class FakeScheduler : public QDBusVirtualObject
{
    Q_OBJECT

public:
    struct Received
    {
        QString request;
        QVariantMap parameters; // decoded property-list values
    };

    explicit FakeScheduler(QObject *parent = nullptr);
    ~FakeScheduler() override;

    bool start();
    void stop();
    QString serviceName() const { return m_serviceName; }
    TriskVXServiceLocation location() const;

    // What Authenticate answers.
    bool acceptClients = true;
    uint protocolVersion = 1;
    // What every other request answers, unless malformedReplies or holdReplies.
    bool succeeded = true;
    qint64 status = 0;
    bool malformedReplies = false;
    bool holdReplies = false;
    // The raw D-Bus values GetAll and Get answer (any type, to publish malformed values).
    QVariantMap published;

    QList<Received> received() const { return m_received; }
    int heldCount() const { return int(m_held.size()); }
    void releaseHeld();
    // Emits PropertiesChanged with raw values.
    void publish(const QVariantMap &changed, const QStringList &invalidated = {});

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    QDBusMessage answer(const QDBusMessage &message) const;

    QString m_serviceName;
    QDBusConnection m_connection;
    QList<Received> m_received;
    QList<QDBusMessage> m_held;
};
