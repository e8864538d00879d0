#pragma once

#include "HalvaneCaller.h"

#include <QObject>
#include <QVariantList>

#include <functional>

// Decides which requests a caller may make. The answer may come later (polkit asks the user).
class HalvaneAuthority : public QObject
{
    Q_OBJECT

public:
    using Decision = std::function<void(bool granted, const QString &why)>;
    using Rights = std::function<void(const QVariantList &rights)>;

    using QObject::QObject;

    // May the caller make this request? Interactive: the authority may ask the person.
    virtual void checkRight(const HalvaneCaller &caller, const QString &request, Decision decision) = 0;
    // The caller's standing rights as authorisation-right records, without asking anyone.
    virtual void rightsOf(const HalvaneCaller &caller, Rights rights) = 0;

Q_SIGNALS:
    // Rights may have changed for everyone (the rules were edited).
    void rightsChanged();
};
