#include "TriskVXBundle.h"

#include "TriskVXPlatformLogging.h"
#include "TriskVXPropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>
#include <QTranslator>

TriskVXBundle::TriskVXBundle(const QString &resourcePath)
    : m_resourcePath(QDir(resourcePath).absolutePath())
{
}

QStringList TriskVXBundle::resourceSearchPath()
{
    QStringList folders;
    const QString fromEnvironment = qEnvironmentVariable("TRISK_RESOURCES");
    if (!fromEnvironment.isEmpty())
        folders.append(fromEnvironment);
    // Beside the program in the build tree (in bin/, or in libexec/trisk-notifier/ for the login screen's
    // program), then the installed data folders.
    if (QCoreApplication::instance()) {
        const QString program = QCoreApplication::applicationDirPath();
        folders.append(program + QStringLiteral("/../share/trisk-notifier"));
        folders.append(program + QStringLiteral("/../../share/trisk-notifier"));
    }
    for (const QString &data : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        folders.append(data + QStringLiteral("/trisk-notifier"));
    return folders;
}

TriskVXBundle *TriskVXBundle::mainBundle()
{
    static TriskVXBundle *bundle = [] {
        for (const QString &folder : resourceSearchPath()) {
            if (QFileInfo(folder + QStringLiteral("/Info.plist")).isFile())
                return new TriskVXBundle(folder);
        }
        qCWarning(lcTriskPlatform).noquote()
            << QStringLiteral("no resource folder in %1").arg(resourceSearchPath().join(QStringLiteral(", ")));
        return static_cast<TriskVXBundle *>(nullptr);
    }();
    return bundle;
}

QString TriskVXBundle::pathForResource(const QString &name, const QString &type) const
{
    const QString path
        = m_resourcePath + QLatin1Char('/') + name + (type.isEmpty() ? QString() : QLatin1Char('.') + type);
    return QFileInfo::exists(path) ? path : QString();
}

QVariantMap TriskVXBundle::infoDictionary() const
{
    const QString path = pathForResource(QStringLiteral("Info"), QStringLiteral("plist"));
    if (path.isEmpty())
        return {};
    QString error;
    const QVariant info = TriskVXPropertyListSerialization::propertyListWithContentsOfFile(path, &error);
    if (info.typeId() != QMetaType::QVariantMap)
        qCWarning(lcTriskPlatform).noquote() << QStringLiteral("ignoring %1: %2").arg(path, error);
    return info.toMap();
}

QString TriskVXBundle::localizedStringForKey(const QString &key, const QString &value, const QString &table) const
{
    const QByteArray context = (table.isEmpty() ? QStringLiteral("Localizable") : table).toUtf8();
    const QByteArray source = key.toUtf8();
    const QString text = QCoreApplication::translate(context.constData(), source.constData());
    if (text != key)
        return text;
    // A key without text gives the value, or the key itself when the value is empty: never nothing.
    return value.isEmpty() ? key : value;
}

QString TriskVXBundle::localizedString(const QString &key, const QString &table)
{
    const TriskVXBundle *bundle = mainBundle();
    return bundle ? bundle->localizedStringForKey(key, QString(), table) : key;
}

bool TriskVXBundle::installTranslations() const
{
    if (!QCoreApplication::instance())
        return false;
    auto *translator = new QTranslator(QCoreApplication::instance());
    const QString folder = m_resourcePath + QStringLiteral("/translations");
    if (translator->load(QLocale(), QStringLiteral("trisk"), QStringLiteral("_"), folder)
        || translator->load(QStringLiteral("trisk_en"), folder))
        return QCoreApplication::installTranslator(translator);
    qCWarning(lcTriskPlatform).noquote() << QStringLiteral("no translations in %1").arg(folder);
    delete translator;
    return false;
}
