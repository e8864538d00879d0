#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <functional>

// A desktop notification server that records every call and can click, close, and restart as a new process.
class RecordingNotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Notification
    {
        uint id = 0;
        uint replacesId = 0;
        QString appName;
        QString appIcon;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
        int expireTimeout = 0;
    };

    // Not the well-known name: a server the bus could activate under it never answers in its place.
    static QString testService() { return QStringLiteral("org.halvane.Test.Notifications"); }

    explicit RecordingNotificationServer(const QStringList &capabilities
                                         = { QStringLiteral("actions"), QStringLiteral("body"),
                                             QStringLiteral("sound") },
                                         QObject *parent = nullptr);
    ~RecordingNotificationServer() override;

    // Takes the server's name; false when another has it.
    bool start();
    // Leaves the bus with everything it showed.
    void stop();

    // Every Notify received, in order; those still open, by id.
    const QList<Notification> &received() const { return m_received; }
    QList<uint> open() const { return m_open; }
    QList<uint> closedByClient() const { return m_closedByClient; }
    // The last Notify with this summary, or one with id 0.
    Notification last(const QString &summary) const;

    // As the person would: a click on the body ("default") or on an action, or closing it.
    void invokeAction(uint id, const QString &actionKey);
    void closeByPerson(uint id);
    // Called at each Notify as it arrives (benchmarks time it).
    void setOnNotify(const std::function<void(const Notification &)> &onNotify) { m_onNotify = onNotify; }

public Q_SLOTS:
    QStringList GetCapabilities();
    uint Notify(const QString &app_name, uint replaces_id, const QString &app_icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int expire_timeout);
    void CloseNotification(uint id);
    QString GetServerInformation(QString &vendor, QString &version, QString &protocol_version);

Q_SIGNALS:
    void NotificationClosed(uint id, uint reason);
    void ActionInvoked(uint id, const QString &action_key);

private:
    QStringList m_capabilities;
    QString m_connectionName;
    QList<Notification> m_received;
    QList<uint> m_open;
    QList<uint> m_closedByClient;
    uint m_nextId = 0;
    std::function<void(const Notification &)> m_onNotify;
};
