#include "HalvanePolkitAuthority.h"

#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "TriskVXConstants.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QRegularExpression>

#include <memory>

namespace {
const QString kPolkitService = QStringLiteral("org.freedesktop.PolicyKit1");
const QString kPolkitPath = QStringLiteral("/org/freedesktop/PolicyKit1/Authority");
const QString kPolkitInterface = QStringLiteral("org.freedesktop.PolicyKit1.Authority");
const uint kAllowUserInteraction = 1;
using PolkitDetails = QMap<QString, QString>;
} // namespace

HalvanePolkitAuthority::HalvanePolkitAuthority(const QDBusConnection &polkitBus, QObject *parent)
    : HalvaneAuthority(parent)
    , m_bus(polkitBus)
{
    qDBusRegisterMetaType<PolkitDetails>();
}

QString HalvanePolkitAuthority::actionOf(const QString &request)
{
    // SchedulerSetEnabled → set-enabled, OnDemandPerform → perform, EventStoreStore → store.
    static const QHash<QString, QString> actions {
        { kVXRPCSchedulerAdjust, QStringLiteral("adjust") },
        { kVXRPCSchedulerCancel, QStringLiteral("cancel") },
        { kVXRPCSchedulerReset, QStringLiteral("reset") },
        { kVXRPCOnDemandPerform, QStringLiteral("perform") },
        { kVXRPCEventStoreStore, QStringLiteral("store") },
        { kVXRPCSchedulerSetEnabled, QStringLiteral("set-enabled") },
    };
    return QStringLiteral("org.halvane.scheduler.") + actions.value(request, QStringLiteral("unknown"));
}

void HalvanePolkitAuthority::ask(const HalvaneCaller &caller, const QString &request, bool interactive,
                                 std::function<void(Answer, QString)> done)
{
    QDBusArgument subject;
    subject.beginStructure();
    subject << QStringLiteral("system-bus-name") << QVariantMap { { QStringLiteral("name"), caller.busName } };
    subject.endStructure();
    QDBusMessage call = QDBusMessage::createMethodCall(kPolkitService, kPolkitPath, kPolkitInterface,
                                                       QStringLiteral("CheckAuthorization"));
    call << QVariant::fromValue(subject) << actionOf(request) << QVariant::fromValue(PolkitDetails())
         << uint(interactive ? kAllowUserInteraction : 0) << QString();
    // An interactive check waits for the person's password; no time-out cuts that short.
    auto *watcher
        = new QDBusPendingCallWatcher(m_bus.asyncCall(call, interactive ? std::numeric_limits<int>::max() : -1), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [done = std::move(done), request](QDBusPendingCallWatcher *finished) {
                finished->deleteLater();
                const QDBusMessage reply = finished->reply();
                if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
                    const QString why
                        = QStringLiteral("polkit did not answer for %1: %2").arg(request, reply.errorMessage());
                    qCWarning(lcHalvaned).noquote() << why;
                    done(Answer::Refused, why);
                    return;
                }
                const QDBusArgument result = reply.arguments().first().value<QDBusArgument>();
                bool authorised = false;
                bool challenge = false;
                PolkitDetails details;
                result.beginStructure();
                result >> authorised >> challenge >> details;
                result.endStructure();
                done(authorised      ? Answer::Authorised
                         : challenge ? Answer::Challenge
                                     : Answer::Refused,
                     authorised ? QString() : QStringLiteral("polkit refused %1").arg(request));
            });
}

void HalvanePolkitAuthority::checkRight(const HalvaneCaller &caller, const QString &request, Decision decision)
{
    ask(caller, request, true, [decision = std::move(decision)](Answer answer, const QString &why) {
        decision(answer == Answer::Authorised, why);
    });
}

void HalvanePolkitAuthority::rightsOf(const HalvaneCaller &caller, Rights rights)
{
    struct Collected
    {
        QHash<QString, QString> rules;
        int awaited = 0;
        Rights rights;
    };
    auto collected = std::make_shared<Collected>();
    collected->rights = std::move(rights);
    const QStringList requests = HalvaneScheduler::requestNames();
    collected->awaited = int(requests.size());
    for (const QString &request : requests) {
        ask(caller, request, false, [collected, request, requests](Answer answer, const QString &) {
            // A right the person can obtain by authenticating is a right the notifier may offer.
            if (answer == Answer::Authorised)
                collected->rules.insert(request, QStringLiteral("polkit"));
            else if (answer == Answer::Challenge)
                collected->rules.insert(request, QStringLiteral("polkit-authentication"));
            if (--collected->awaited > 0)
                return;
            QVariantList records;
            for (const QString &name : requests) {
                if (collected->rules.contains(name))
                    records.append(QVariantMap { { kVXAuthorisationRightSignature, name },
                                                 { kVXAuthorisationRightRule, collected->rules.value(name) } });
            }
            collected->rights(records);
        });
    }
}
