#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QList>
#include <QString>

// Monitors the session bus for the calls made to one interface: what a client really sent a real service.
class BusMonitor : public QDBusVirtualObject
{
    Q_OBJECT

public:
    explicit BusMonitor(const QString &interface, QObject *parent = nullptr);
    ~BusMonitor() override;

    // False, with the bus's reason logged, when the bus refuses a monitor.
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
