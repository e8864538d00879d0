#pragma once

#include <QDateTime>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <memory>

// One word for "absent" whatever the type, so that a check reads "aTriggerID != nil" and the assertion
// text, made from the condition, says just that. A null string, an invalid variant or date and a null
// pointer are nil.
struct TriskVXNil
{
};
inline constexpr TriskVXNil nil {};

inline bool operator==(const QString &value, TriskVXNil)
{
    return value.isNull();
}
inline bool operator==(const QVariant &value, TriskVXNil)
{
    return !value.isValid();
}
inline bool operator==(const QDateTime &value, TriskVXNil)
{
    return !value.isValid();
}
template<typename T> inline bool operator==(const T *value, TriskVXNil)
{
    return value == nullptr;
}
template<typename T> inline bool operator==(const std::shared_ptr<T> &value, TriskVXNil)
{
    return value == nullptr;
}
// Spelled out, since QPointer's own comparison operators hide the rewritten form.
template<typename T> inline bool operator!=(const QPointer<T> &value, TriskVXNil)
{
    return !value.isNull();
}
