#pragma once

#include "HalvaneAuthority.h"

#include <QDBusConnection>

// Rights on the system bus, from polkit: one action per request (dist/org.halvane.scheduler.policy),
// asked of org.freedesktop.PolicyKit1 on the given bus for the caller's bus name.
class HalvanePolkitAuthority : public HalvaneAuthority
{
    Q_OBJECT

public:
    explicit HalvanePolkitAuthority(const QDBusConnection &polkitBus, QObject *parent = nullptr);

    void checkRight(const HalvaneCaller &caller, const QString &request, Decision decision) override;
    void rightsOf(const HalvaneCaller &caller, Rights rights) override;

    // org.halvane.scheduler.<request in lower case with dashes>, e.g. org.halvane.scheduler.set-enabled.
    static QString actionOf(const QString &request);

private:
    enum class Answer { Authorised, Challenge, Refused };
    void ask(const HalvaneCaller &caller, const QString &request, bool interactive,
             std::function<void(Answer, QString)> done);

    QDBusConnection m_bus;
};
