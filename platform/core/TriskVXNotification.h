#pragma once

#include <QPointer>
#include <QString>
#include <QVariantMap>

// One posted notification: a name, the posting object and the user info.
class TriskVXNotification
{
public:
    TriskVXNotification() = default;
    TriskVXNotification(const QString &name, QObject *object, const QVariantMap &userInfo)
        : m_name(name)
        , m_object(object)
        , m_userInfo(userInfo)
    {
    }

    QString name() const { return m_name; }
    QObject *object() const { return m_object; }
    QVariantMap userInfo() const { return m_userInfo; }

private:
    QString m_name;
    QPointer<QObject> m_object;
    QVariantMap m_userInfo;
};
