#include "NotifierResources.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

NotifierResources::NotifierResources()
{
    const QDir build(QStringLiteral(TRISK_BUILD_RESOURCES));
    for (const char *name : { "Info.plist", "TriskVXStatusMenuController.plist", "TriskVXStatusMenuController.ui" })
        QFile::copy(build.filePath(QLatin1String(name)), m_folder.filePath(QLatin1String(name)));
    const QDir translations(build.filePath(QStringLiteral("translations")));
    QDir().mkpath(m_folder.filePath(QStringLiteral("translations")));
    const QStringList compiled = translations.entryList(QDir::Files);
    for (const QString &name : compiled)
        QFile::copy(translations.filePath(name), m_folder.filePath(QStringLiteral("translations/") + name));
    qputenv("TRISK_RESOURCES", m_folder.path().toUtf8());
}

bool NotifierResources::write(const QString &name, const QByteArray &contents) const
{
    const QString path = m_folder.filePath(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}
