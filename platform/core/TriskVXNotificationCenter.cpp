#include "TriskVXNotificationCenter.h"

#include <QThread>

#include <algorithm>

TriskVXNotificationCenter::TriskVXNotificationCenter(QObject *parent)
    : QObject(parent)
{
}

TriskVXNotificationCenter::~TriskVXNotificationCenter()
{
    for (const auto &registration : std::as_const(m_registrations)) {
        if (registration->ownsObserver)
            delete registration->observer.data();
    }
}

TriskVXNotificationCenter *TriskVXNotificationCenter::defaultCenter()
{
    static TriskVXNotificationCenter center;
    return &center;
}

QObject *TriskVXNotificationCenter::addObserverForNameObjectQueueUsingBlock(const QString &name, const QObject *object,
                                                                            QObject *queue, Block block)
{
    auto *token = new QObject;
    token->setObjectName(QStringLiteral("TriskVXNotificationCenterToken"));
    auto registration = std::make_shared<Registration>();
    registration->observer = token;
    registration->ownsObserver = true;
    registration->name = name;
    registration->object = object;
    registration->queue = queue;
    registration->hasQueue = queue != nullptr;
    registration->block = std::move(block);
    m_registrations.append(registration);
    return token;
}

void TriskVXNotificationCenter::addObserverSelectorNameObject(QObject *observer, Block selector, const QString &name,
                                                              const QObject *object)
{
    auto registration = std::make_shared<Registration>();
    registration->observer = observer;
    registration->name = name;
    registration->object = object;
    registration->block = std::move(selector);
    m_registrations.append(registration);
}

void TriskVXNotificationCenter::removeObserver(QObject *observerOrToken)
{
    removeMatching(observerOrToken, QString(), nullptr, true);
}

void TriskVXNotificationCenter::removeObserverNameObject(QObject *observerOrToken, const QString &name,
                                                         const QObject *object)
{
    removeMatching(observerOrToken, name, object, false);
}

void TriskVXNotificationCenter::removeMatching(QObject *observer, const QString &name, const QObject *object,
                                               bool anyNameAndObject)
{
    if (!observer)
        return;
    QList<QObject *> tokensToDelete;
    m_registrations.removeIf([&](const std::shared_ptr<Registration> &registration) {
        if (registration->observer != observer)
            return false;
        if (!anyNameAndObject) {
            if (!name.isEmpty() && registration->name != name)
                return false;
            if (object && registration->object != object)
                return false;
        }
        // A registration in the middle of a post must not run again once removed; its block may be the
        // one running now, so it is marked rather than cleared.
        registration->removed = true;
        if (registration->ownsObserver)
            tokensToDelete.append(registration->observer.data());
        return true;
    });
    qDeleteAll(tokensToDelete);
}

void TriskVXNotificationCenter::purgeDeadRegistrations()
{
    m_registrations.removeIf([](const std::shared_ptr<Registration> &registration) {
        return registration->observer.isNull();
    });
}

void TriskVXNotificationCenter::postNotification(const TriskVXNotification &notification)
{
    purgeDeadRegistrations();
    // Observers may add or remove registrations while being told; they see the list as it was at the post.
    const auto snapshot = m_registrations;
    for (const auto &registration : snapshot) {
        if (registration->removed || registration->observer.isNull())
            continue;
        if (!registration->name.isEmpty() && registration->name != notification.name())
            continue;
        if (registration->object && registration->object != notification.object())
            continue;
        if (registration->hasQueue) {
            if (registration->queue.isNull())
                continue;
            if (registration->queue->thread() != QThread::currentThread()) {
                QMetaObject::invokeMethod(
                    registration->queue.data(),
                    [registration, notification] {
                        if (!registration->removed)
                            registration->block(notification);
                    },
                    Qt::QueuedConnection);
                continue;
            }
        }
        registration->block(notification);
    }
}

void TriskVXNotificationCenter::postNotificationNameObject(const QString &name, QObject *object)
{
    postNotification(TriskVXNotification(name, object, QVariantMap()));
}

void TriskVXNotificationCenter::postNotificationNameObjectUserInfo(const QString &name, QObject *object,
                                                                   const QVariantMap &userInfo)
{
    postNotification(TriskVXNotification(name, object, userInfo));
}

int TriskVXNotificationCenter::observerCount() const
{
    return int(std::count_if(m_registrations.cbegin(), m_registrations.cend(),
                             [](const std::shared_ptr<Registration> &registration) {
                                 return !registration->observer.isNull();
                             }));
}
