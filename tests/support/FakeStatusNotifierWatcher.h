#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>

// A panel's StatusNotifierWatcher that records the items that register, and can restart as a panel does.
class FakeStatusNotifierWatcher : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ isHostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ registeredItems)

public:
    explicit FakeStatusNotifierWatcher(QObject *parent = nullptr);
    ~FakeStatusNotifierWatcher() override;

    // Takes the watcher's name on the session bus; false when someone has it.
    bool start();
    void stop();
    bool isHostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList registeredItems() const { return m_items; }
    // The connection the host side reads the items through.
    QDBusConnection connection() const { return m_connection; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service);

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString &service);

private:
    QDBusConnection m_connection;
    QStringList m_items;
};
