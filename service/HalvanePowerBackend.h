#pragma once

#include <QDBusConnection>
#include <QObject>

#include <functional>

// Carries out power actions: through systemd-logind on a bus, or, in dry-run mode, by logging only.
class HalvanePowerBackend : public QObject
{
    Q_OBJECT

public:
    using Done = std::function<void(bool succeeded, const QString &why)>;

    // logind on the given bus (the system bus in production); nullptr bus means dry run.
    explicit HalvanePowerBackend(const QDBusConnection &bus, bool dryRun, QObject *parent = nullptr);

    bool isDryRun() const { return m_dryRun; }
    // type is one of kVXActionType_PowerOff, _Reboot, _Suspend, _Hibernate.
    void perform(const QString &type, Done done);

private:
    QDBusConnection m_bus;
    bool m_dryRun;
};
