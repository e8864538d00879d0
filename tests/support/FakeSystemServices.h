#pragma once

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QHash>
#include <QStringList>

// polkit answering from a table of action ids, and logind recording its power calls, on a bus of their own.
class FakeSystemServices : public QDBusVirtualObject
{
    Q_OBJECT

public:
    enum class Answer { Yes, Authenticate, No };

    explicit FakeSystemServices(QObject *parent = nullptr);
    ~FakeSystemServices() override { QDBusConnection::disconnectFromBus(m_connectionName); }

    // Takes both names on the bus at this address.
    bool start(const QString &address);

    QHash<QString, Answer> answers; // action id → answer; missing means No
    bool failPowerCalls = false;
    QStringList powerCalls;
    // The bus names polkit was asked about, and whether interaction was allowed, in order.
    QStringList subjects;
    QList<bool> interactive;

    QString introspect(const QString &) const override { return QString(); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    QString m_connectionName;
};
