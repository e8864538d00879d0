#pragma once

#include "HalvaneAuthority.h"

#include <QHash>
#include <QStringList>

class QFileSystemWatcher;

// Rights on the session bus, from a rules file: a property-list dictionary from request names (or "*"
// for every request) to arrays of rules: "owner" (the user the service runs as), "everyone", "uid:N",
// "user:NAME", "group:NAME". Without a file, or with one that cannot be read (logged), the owner holds
// every right and nobody else any.
class HalvaneRulesAuthority : public HalvaneAuthority
{
    Q_OBJECT

public:
    HalvaneRulesAuthority(const QString &rulesFile, uid_t owner, QObject *parent = nullptr);

    void checkRight(const HalvaneCaller &caller, const QString &request, Decision decision) override;
    void rightsOf(const HalvaneCaller &caller, Rights rights) override;

    // The first rule granting the request to the user, or nothing.
    QString matchingRule(uid_t uid, const QString &request) const;
    void reload();

private:
    bool ruleMatches(const QString &rule, uid_t uid) const;

    QString m_file;
    uid_t m_owner;
    QHash<QString, QStringList> m_rules;
    QFileSystemWatcher *m_watcher = nullptr;
};
