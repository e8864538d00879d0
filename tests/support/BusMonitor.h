#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QList>
#include <QString>

// Watches the test's session bus as a monitor and keeps the method calls made to one interface, in the
// order the bus carried them: what a client really sent to a real service, without standing in for it.
class BusMonitor : public QDBusVirtualObject
{
    Q_OBJECT

public:
    explicit BusMonitor(const QString &interface, QObject *parent = nullptr);
    ~BusMonitor() override;

    // Becomes a monitor of the calls to the interface; false (with the bus's reason logged) when the bus
    // refuses.
    bool start();
    QList<QDBusMessage> calls() const { return m_calls; }
    // The calls of one member, each as the dictionary it carried.
    QList<QVariantMap> parametersOf(const QString &member) const;

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    QString m_interface;
    QString m_name;
    QDBusConnection m_connection;
    QList<QDBusMessage> m_calls;
};
