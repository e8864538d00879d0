#pragma once

#include <QDateTime>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <memory>

// Lets a check read as the spec writes it ("aTriggerID != nil"), so that the assertion text, made from
// the condition, is the spec's letter for letter. A null string, an invalid variant or date and a null
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
