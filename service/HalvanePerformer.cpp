#include "HalvanePerformer.h"

#include "HalvaneAction.h"
#include "HalvanePowerBackend.h"
#include "HalvaneServiceLogging.h"
#include "TriskVXConstants.h"

#include <QProcess>
#include <QTimer>

#include <grp.h>
#include <pwd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <vector>

namespace {
// Runs in the child between QProcess's vfork and exec, in the service's memory while its other threads
// run on: no allocation, no lock, no reading of the user database. initgroups did all three (and under
// AddressSanitizer crashed halvaned in free()), so the groups are read before, in the service. Raw system
// calls change only the child: glibc's wrappers would also signal the threads of the service.
void becomeUser(uid_t uid, gid_t gid, const std::vector<gid_t> &groups)
{
    if (::syscall(SYS_setgroups, groups.size(), groups.data()) != 0 || ::syscall(SYS_setgid, gid) != 0
        || ::syscall(SYS_setuid, uid) != 0)
        ::_exit(126);
}

// The groups initgroups would give the user; empty when they cannot be read.
std::vector<gid_t> groupsOf(const char *name, gid_t gid)
{
    std::vector<gid_t> groups(32);
    int count = int(groups.size());
    while (::getgrouplist(name, gid, groups.data(), &count) == -1) {
        // count now says how many there are; a list that does not grow is an error.
        if (count <= int(groups.size()))
            return {};
        groups.resize(size_t(count));
    }
    groups.resize(size_t(count));
    return groups;
}
} // namespace

HalvanePerformer::HalvanePerformer(HalvanePowerBackend *power, QObject *parent)
    : QObject(parent)
    , m_power(power)
{
}

void HalvanePerformer::perform(const QVariantMap &event, const QString &why, std::function<void()> finished)
{
    qCInfo(lcHalvaned).noquote()
        << QStringLiteral("performing “%1” (%2)").arg(event.value(kVXEventName).toString(), why);
    const QVariantList actions = event.value(kVXEventActions).toList();
    // Even an event without actions ends on a later turn of the event loop, so that it is seen active.
    QTimer::singleShot(0, this, [this, event, actions, finished = std::move(finished)]() mutable {
        runAction(event, actions, 0, std::move(finished));
    });
}

void HalvanePerformer::runAction(const QVariantMap &event, const QVariantList &actions, int index,
                                 std::function<void()> finished)
{
    const QString name = event.value(kVXEventName).toString();
    if (index >= actions.size()) {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("performed “%1”").arg(name);
        finished();
        return;
    }
    const QVariantMap action = actions.at(index).toMap();
    const QString type = action.value(kVXActionType).toString();
    auto next = [this, event, actions, index, finished = std::move(finished)]() mutable {
        runAction(event, actions, index + 1, std::move(finished));
    };
    if (type == kVXActionType_Log) {
        qCInfo(lcHalvaned).noquote() << QStringLiteral("“%1”: %2").arg(name, action.value(kVXActionMessage).toString());
        next();
    } else if (type == kVXActionType_Command) {
        runCommand(action, name, std::move(next));
    } else if (HalvaneAction::isPowerAction(type)) {
        m_power->perform(type, [name, type, next = std::move(next)](bool succeeded, const QString &why) mutable {
            if (!succeeded)
                qCWarning(lcHalvaned).noquote() << QStringLiteral("“%1”: %2 failed: %3").arg(name, type, why);
            next();
        });
    } else {
        qCWarning(lcHalvaned).noquote() << QStringLiteral("“%1”: skipping unknown action %2").arg(name, type);
        next();
    }
}

void HalvanePerformer::runCommand(const QVariantMap &action, const QString &eventName, std::function<void()> next)
{
    QStringList arguments;
    const QVariantList list = action.value(kVXActionArguments).toList();
    for (const QVariant &argument : list)
        arguments.append(argument.toString());
    const QString program = arguments.takeFirst();
    auto *process = new QProcess(this);
    process->setProgram(program);
    process->setArguments(arguments);
    process->setProcessChannelMode(QProcess::ForwardedChannels);

    if (action.contains(kVXActionUser)) {
        const QByteArray user = action.value(kVXActionUser).toString().toLocal8Bit();
        const passwd *entry = ::getpwnam(user.constData());
        if (!entry) {
            qCWarning(lcHalvaned).noquote() << QStringLiteral("“%1”: no user %2; the command does not run")
                                                   .arg(eventName, QString::fromLocal8Bit(user));
            process->deleteLater();
            next();
            return;
        }
        if (entry->pw_uid != ::geteuid()) {
            if (::geteuid() != 0) {
                qCWarning(lcHalvaned).noquote()
                    << QStringLiteral("“%1”: only a service running as root can run a command as %2")
                           .arg(eventName, QString::fromLocal8Bit(user));
                process->deleteLater();
                next();
                return;
            }
            const uid_t uid = entry->pw_uid;
            const gid_t gid = entry->pw_gid;
            const std::vector<gid_t> groups = groupsOf(user.constData(), gid);
            if (groups.empty()) {
                qCWarning(lcHalvaned).noquote()
                    << QStringLiteral("“%1”: cannot read the groups of %2; the command does not run")
                           .arg(eventName, QString::fromLocal8Bit(user));
                process->deleteLater();
                next();
                return;
            }
            process->setChildProcessModifier([uid, gid, groups] {
                becomeUser(uid, gid, groups);
            });
        }
    }

    const int timeout = action.contains(kVXActionTimeout) ? int(action.value(kVXActionTimeout).toDouble() * 1000)
                                                          : HalvaneAction::kDefaultCommandTimeout * 1000;
    auto *limit = new QTimer(process);
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, process,
            [process, eventName, program] {
                qCWarning(lcHalvaned).noquote()
                    << QStringLiteral("“%1”: %2 ran out of time; stopping it").arg(eventName, program);
                process->kill();
            });
    auto done = std::make_shared<std::function<void()>>(std::move(next));
    connect(process, &QProcess::finished, this,
            [process, eventName, program, done](int exitCode, QProcess::ExitStatus status) {
                if (status == QProcess::CrashExit)
                    qCWarning(lcHalvaned).noquote() << QStringLiteral("“%1”: %2 was stopped").arg(eventName, program);
                else
                    qCInfo(lcHalvaned).noquote()
                        << QStringLiteral("“%1”: %2 exited with %3").arg(eventName, program).arg(exitCode);
                process->deleteLater();
                (*done)();
            });
    connect(process, &QProcess::errorOccurred, this,
            [process, eventName, program, done](QProcess::ProcessError error) {
                if (error != QProcess::FailedToStart)
                    return;
                qCWarning(lcHalvaned).noquote()
                    << QStringLiteral("“%1”: cannot start %2: %3").arg(eventName, program, process->errorString());
                process->deleteLater();
                (*done)();
            });
    limit->start(timeout);
    process->start();
}
