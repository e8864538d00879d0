#pragma once

#include "TriskVXNotification.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

// The process's default notification centre: posts notifications by name to observers registered by
// name and/or object.
class TriskVXNotificationCenter : public QObject
{
    Q_OBJECT

public:
    using Block = std::function<void(const TriskVXNotification &)>;

    explicit TriskVXNotificationCenter(QObject *parent = nullptr);
    ~TriskVXNotificationCenter() override;

    static TriskVXNotificationCenter *defaultCenter();

    // An empty name or a null object matches any. With a null queue the block runs on the posting
    // thread; otherwise it runs in the queue object's thread. The answer is the token to remove.
    QObject *addObserverForNameObjectQueueUsingBlock(const QString &name, const QObject *object, QObject *queue,
                                                     Block block);
    // Registers a block on behalf of an observer: the registration ends when the observer is destroyed
    // or removed.
    void addObserverSelectorNameObject(QObject *observer, Block selector, const QString &name, const QObject *object);

    void removeObserver(QObject *observerOrToken);
    void removeObserverNameObject(QObject *observerOrToken, const QString &name, const QObject *object);

    void postNotification(const TriskVXNotification &notification);
    void postNotificationNameObject(const QString &name, QObject *object);
    void postNotificationNameObjectUserInfo(const QString &name, QObject *object, const QVariantMap &userInfo);

    int observerCount() const;

private:
    struct Registration
    {
        QPointer<QObject> observer;
        bool ownsObserver = false;
        QString name;
        const QObject *object = nullptr;
        QPointer<QObject> queue;
        bool hasQueue = false;
        bool removed = false;
        Block block;
    };

    void removeMatching(QObject *observer, const QString &name, const QObject *object, bool anyNameAndObject);
    void purgeDeadRegistrations();

    QList<std::shared_ptr<Registration>> m_registrations;
};
