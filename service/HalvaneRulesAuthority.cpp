#include "HalvaneRulesAuthority.h"

#include "HalvaneScheduler.h"
#include "HalvaneServiceLogging.h"
#include "TriskVXConstants.h"
#include "TriskVXPropertyListSerialization.h"

#include <QFileInfo>
#include <QFileSystemWatcher>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {
const QString kEveryRequest = QStringLiteral("*");
const QString kOwnerRule = QStringLiteral("owner");
const QString kEveryoneRule = QStringLiteral("everyone");

bool userInGroup(uid_t uid, const QByteArray &groupName)
{
    const struct group *entry = ::getgrnam(groupName.constData());
    const passwd *user = ::getpwuid(uid);
    if (!entry || !user)
        return false;
    if (user->pw_gid == entry->gr_gid)
        return true;
    for (char **member = entry->gr_mem; member && *member; ++member) {
        if (qstrcmp(*member, user->pw_name) == 0)
            return true;
    }
    return false;
}
} // namespace

HalvaneRulesAuthority::HalvaneRulesAuthority(const QString &rulesFile, uid_t owner, QObject *parent)
    : HalvaneAuthority(parent)
    , m_file(rulesFile)
    , m_owner(owner)
{
    if (!m_file.isEmpty()) {
        // The folder too: editors replace files, and a file that appears later counts.
        m_watcher = new QFileSystemWatcher(this);
        m_watcher->addPath(QFileInfo(m_file).absolutePath());
        if (QFileInfo::exists(m_file))
            m_watcher->addPath(m_file);
        auto changed = [this] {
            if (QFileInfo::exists(m_file) && !m_watcher->files().contains(m_file))
                m_watcher->addPath(m_file);
            reload();
            Q_EMIT rightsChanged();
        };
        connect(m_watcher, &QFileSystemWatcher::fileChanged, this, changed);
        connect(m_watcher, &QFileSystemWatcher::directoryChanged, this, changed);
    }
    reload();
}

void HalvaneRulesAuthority::reload()
{
    const QHash<QString, QStringList> ownerOnly { { kEveryRequest, { kOwnerRule } } };
    if (m_file.isEmpty() || !QFileInfo::exists(m_file)) {
        m_rules = ownerOnly;
        return;
    }
    QString error;
    const QVariant contents = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(m_file, &error);
    QHash<QString, QStringList> rules;
    bool valid = contents.typeId() == QMetaType::QVariantMap;
    if (!valid && error.isEmpty())
        error = QStringLiteral("%1: not a dictionary").arg(m_file);
    const QVariantMap map = contents.toMap();
    for (auto it = map.cbegin(); valid && it != map.cend(); ++it) {
        if (it.key() != kEveryRequest && !HalvaneScheduler::requestNames().contains(it.key())) {
            error = QStringLiteral("%1: unknown request %2").arg(m_file, it.key());
            valid = false;
            break;
        }
        if (it.value().typeId() != QMetaType::QVariantList) {
            error = QStringLiteral("%1: the rules of %2 are not an array").arg(m_file, it.key());
            valid = false;
            break;
        }
        const QVariantList list = it.value().toList();
        for (const QVariant &rule : list) {
            const QString text = rule.toString();
            const bool known = rule.typeId() == QMetaType::QString
                && (text == kOwnerRule || text == kEveryoneRule || text.startsWith(QLatin1String("uid:"))
                    || text.startsWith(QLatin1String("user:")) || text.startsWith(QLatin1String("group:")));
            if (!known) {
                error = QStringLiteral("%1: unknown rule %2").arg(m_file, text);
                valid = false;
                break;
            }
            rules[it.key()].append(text);
        }
    }
    if (!valid) {
        qCWarning(lcHalvaned).noquote()
            << QStringLiteral("ignoring the rights rules: %1; only the owner holds rights").arg(error);
        m_rules = ownerOnly;
        return;
    }
    m_rules = rules;
}

bool HalvaneRulesAuthority::ruleMatches(const QString &rule, uid_t uid) const
{
    if (rule == kEveryoneRule)
        return true;
    if (rule == kOwnerRule)
        return uid == m_owner;
    if (rule.startsWith(QLatin1String("uid:"))) {
        bool number = false;
        const uint value = rule.mid(4).toUInt(&number);
        return number && uid == uid_t(value);
    }
    if (rule.startsWith(QLatin1String("user:"))) {
        const passwd *entry = ::getpwnam(rule.mid(5).toLocal8Bit().constData());
        return entry && entry->pw_uid == uid;
    }
    if (rule.startsWith(QLatin1String("group:")))
        return userInGroup(uid, rule.mid(6).toLocal8Bit());
    return false;
}

QString HalvaneRulesAuthority::matchingRule(uid_t uid, const QString &request) const
{
    for (const QString &key : { request, kEveryRequest }) {
        const QStringList rules = m_rules.value(key);
        for (const QString &rule : rules) {
            if (ruleMatches(rule, uid))
                return rule == kEveryoneRule ? kVXAuthorisationRightRule_Universal : rule;
        }
    }
    return QString();
}

void HalvaneRulesAuthority::checkRight(const HalvaneCaller &caller, const QString &request, Decision decision)
{
    const QString rule = caller.isKnown() ? matchingRule(caller.uid, request) : QString();
    if (rule.isEmpty())
        decision(false, QStringLiteral("user %1 does not hold the right to %2").arg(caller.uid).arg(request));
    else
        decision(true, QString());
}

void HalvaneRulesAuthority::rightsOf(const HalvaneCaller &caller, Rights rights)
{
    QVariantList records;
    for (const QString &request : HalvaneScheduler::requestNames()) {
        const QString rule = caller.isKnown() ? matchingRule(caller.uid, request) : QString();
        if (!rule.isEmpty())
            records.append(
                QVariantMap { { kVXAuthorisationRightSignature, request }, { kVXAuthorisationRightRule, rule } });
    }
    rights(records);
}
