#include "TriskVXUserDefaults.h"

#include "TriskVXPlatformLogging.h"
#include "TriskVXPropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {
// Text read as a boolean: YES, Y, T, true (any case) or a number other than zero, after leading spaces.
bool boolOfString(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return false;
    const QChar first = trimmed.at(0).toUpper();
    if (first == QLatin1Char('Y') || first == QLatin1Char('T'))
        return true;
    bool number = false;
    const double value = trimmed.toDouble(&number);
    if (number)
        return value != 0;
    // Otherwise the leading digits decide: "12abc" is 12, so true.
    qsizetype end = 0;
    while (end < trimmed.size()
           && (trimmed.at(end).isDigit()
               || (end == 0 && (trimmed.at(0) == QLatin1Char('-') || trimmed.at(0) == QLatin1Char('+')))))
        ++end;
    return trimmed.left(end).toLongLong() != 0;
}

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}
} // namespace

TriskVXUserDefaults::TriskVXUserDefaults(const QString &applicationDomain, const QStringList &arguments,
                                         const QString &folder, QObject *parent)
    : QObject(parent)
    , m_applicationDomain(applicationDomain)
    , m_folder(folder.isEmpty() ? defaultFolder() : folder)
    , m_arguments(parseArguments(arguments))
{
}

TriskVXUserDefaults *TriskVXUserDefaults::standardUserDefaults()
{
    static TriskVXUserDefaults *defaults = [] {
        auto *created = new TriskVXUserDefaults(
            applicationDomainOf(QCoreApplication::organizationDomain(), QCoreApplication::applicationName()),
            QCoreApplication::arguments());
        created->setParent(QCoreApplication::instance());
        return created;
    }();
    return defaults;
}

QString TriskVXUserDefaults::applicationDomainOf(const QString &organizationDomain, const QString &applicationName)
{
    return organizationDomain.isEmpty() ? applicationName : organizationDomain + QLatin1Char('.') + applicationName;
}

QString TriskVXUserDefaults::defaultFolder()
{
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return config.isEmpty() ? QString() : config + QStringLiteral("/halvane");
}

QVariantMap TriskVXUserDefaults::parseArguments(const QStringList &arguments)
{
    QVariantMap domain;
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        const QString argument = arguments.at(i);
        if (argument.size() < 2 || !argument.startsWith(QLatin1Char('-')) || argument.startsWith(QLatin1String("--")))
            continue;
        domain.insert(argument.mid(1), arguments.at(i + 1));
        ++i;
    }
    return domain;
}

QString TriskVXUserDefaults::fileOfDomain(const QString &domainName) const
{
    return fileOfDomainInFolder(m_folder, domainName);
}

QString TriskVXUserDefaults::fileOfDomainInFolder(const QString &folder, const QString &domainName)
{
    if (folder.isEmpty())
        return QString();
    return folder + QLatin1Char('/') + domainName + QStringLiteral(".plist");
}

QVariantMap TriskVXUserDefaults::readDomain(const QString &domainName) const
{
    const auto cached = m_domains.constFind(domainName);
    if (cached != m_domains.cend())
        return cached.value();
    const QVariant domain = persistentDomainForName(domainName);
    m_domains.insert(domainName, domain.toMap());
    return domain.toMap();
}

QVariant TriskVXUserDefaults::persistentDomainForName(const QString &domainName) const
{
    const QString path = fileOfDomain(domainName);
    if (!QFileInfo::exists(path))
        return QVariant();
    QString error;
    const QVariant domain = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
    if (domain.typeId() != QMetaType::QVariantMap) {
        qCWarning(lcTriskPlatform).noquote()
            << QStringLiteral("ignoring the preferences %1: %2")
                   .arg(path, error.isEmpty() ? QStringLiteral("not a dictionary") : error);
        return QVariant();
    }
    return domain;
}

bool TriskVXUserDefaults::setPersistentDomainForName(const QVariantMap &domain, const QString &domainName)
{
    QDir().mkpath(m_folder);
    QString error;
    if (!TriskVXPropertyListSerialization::writePropertyListToFile(
            domain, fileOfDomain(domainName), TriskVXPropertyListSerialization::Format::Xml, &error)) {
        qCWarning(lcTriskPlatform).noquote() << error;
        return false;
    }
    m_domains.insert(domainName, domain);
    return true;
}

void TriskVXUserDefaults::removePersistentDomainForName(const QString &domainName)
{
    QFile::remove(fileOfDomain(domainName));
    m_domains.insert(domainName, QVariantMap());
}

QVariant TriskVXUserDefaults::objectForKey(const QString &key) const
{
    if (m_arguments.contains(key))
        return m_arguments.value(key);
    const QVariantMap application = readDomain(m_applicationDomain);
    if (application.contains(key))
        return application.value(key);
    for (const QString &suite : m_suites) {
        const QVariantMap domain = readDomain(suite);
        if (domain.contains(key))
            return domain.value(key);
    }
    return m_registration.value(key);
}

bool TriskVXUserDefaults::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString)
        return boolOfString(value.toString());
    return isNumber(value) && value.toDouble() != 0;
}

qint64 TriskVXUserDefaults::integerForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        qsizetype end = 0;
        while (end < text.size()
               && (text.at(end).isDigit()
                   || (end == 0 && (text.at(0) == QLatin1Char('-') || text.at(0) == QLatin1Char('+')))))
            ++end;
        return text.left(end).toLongLong();
    }
    if (value.typeId() == QMetaType::Double)
        return qint64(value.toDouble());
    return isNumber(value) ? value.toLongLong() : 0;
}

double TriskVXUserDefaults::doubleForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString) {
        bool number = false;
        const double parsed = value.toString().trimmed().toDouble(&number);
        return number ? parsed : double(integerForKey(key));
    }
    return isNumber(value) ? value.toDouble() : 0.0;
}

QString TriskVXUserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    if (isNumber(value))
        return value.toString();
    return QString();
}

QVariantList TriskVXUserDefaults::arrayForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList();
}

QVariantMap TriskVXUserDefaults::dictionaryForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
}

void TriskVXUserDefaults::setObjectForKey(const QVariant &value, const QString &key)
{
    QVariantMap application = readDomain(m_applicationDomain);
    if (value.isValid())
        application.insert(key, value);
    else
        application.remove(key);
    m_domains.insert(m_applicationDomain, application);
    m_applicationDirty = true;
}

void TriskVXUserDefaults::removeObjectForKey(const QString &key)
{
    setObjectForKey(QVariant(), key);
}

void TriskVXUserDefaults::registerDefaults(const QVariantMap &registrationDictionary)
{
    for (auto it = registrationDictionary.cbegin(); it != registrationDictionary.cend(); ++it)
        m_registration.insert(it.key(), it.value());
}

void TriskVXUserDefaults::addSuiteNamed(const QString &suiteName)
{
    if (!m_suites.contains(suiteName) && suiteName != m_applicationDomain)
        m_suites.append(suiteName);
}

void TriskVXUserDefaults::removeSuiteNamed(const QString &suiteName)
{
    m_suites.removeAll(suiteName);
}

bool TriskVXUserDefaults::synchronize()
{
    bool saved = true;
    if (m_applicationDirty) {
        saved = setPersistentDomainForName(m_domains.value(m_applicationDomain), m_applicationDomain);
        m_applicationDirty = !saved;
    }
    // Every other domain is read again on its next use, so that edits by other programs count.
    const QVariantMap application = m_domains.value(m_applicationDomain);
    m_domains.clear();
    if (m_applicationDirty)
        m_domains.insert(m_applicationDomain, application);
    return saved;
}
