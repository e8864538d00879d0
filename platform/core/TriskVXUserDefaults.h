#pragma once

#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVariant>

// The user's defaults: values looked up in the argument domain (-key value on the command line), the
// application domain, the suites added by name, then the registration domain; the application domain,
// suites and persistent domains are property-list files <folder>/<domain>.plist. Typed getters never
// fail: an absent or unusable value gives zero, false or empty, and text (all the command line gives)
// is read as the type asked for ("YES" is true, "12abc" is 12).
class TriskVXUserDefaults : public QObject
{
    Q_OBJECT

public:
    // folder: where domain files live; empty means <XDG config home>/halvane.
    TriskVXUserDefaults(const QString &applicationDomain, const QStringList &arguments,
                        const QString &folder = QString(), QObject *parent = nullptr);

    // The process's defaults: the application's name, its command line, the default folder.
    static TriskVXUserDefaults *standardUserDefaults();
    // The application domain of an application so named: "<organization domain>.<name>", or the name.
    static QString applicationDomainOf(const QString &organizationDomain, const QString &applicationName);
    static QString defaultFolder();

    QVariant objectForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    double doubleForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    QVariantList arrayForKey(const QString &key) const;
    QVariantMap dictionaryForKey(const QString &key) const;

    // The application domain; saved by synchronize.
    void setObjectForKey(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);
    void registerDefaults(const QVariantMap &registrationDictionary);
    void addSuiteNamed(const QString &suiteName);
    void removeSuiteNamed(const QString &suiteName);

    // A domain file's dictionary; nil (invalid) when it does not exist or is no dictionary (logged).
    QVariant persistentDomainForName(const QString &domainName) const;
    bool setPersistentDomainForName(const QVariantMap &domain, const QString &domainName);
    void removePersistentDomainForName(const QString &domainName);

    // Writes the application domain if it changed and reads again every domain file changed on disk.
    bool synchronize();

    QString folder() const { return m_folder; }
    QString fileOfDomain(const QString &domainName) const;
    // Where a domain's file lives in folder; empty when there is no folder.
    static QString fileOfDomainInFolder(const QString &folder, const QString &domainName);
    QVariantMap argumentDomain() const { return m_arguments; }
    // The argument domain of a command line: each "-key value" pair; the value is kept as text.
    static QVariantMap parseArguments(const QStringList &arguments);

private:
    QVariantMap readDomain(const QString &domainName) const;

    QString m_applicationDomain;
    QString m_folder;
    QVariantMap m_arguments;
    QVariantMap m_registration;
    QStringList m_suites;
    mutable QHash<QString, QVariantMap> m_domains;
    bool m_applicationDirty = false;
};
