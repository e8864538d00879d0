#include "NotifierResources.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

NotifierResources::NotifierResources(const QStringList &files)
{
    const QDir build(QStringLiteral(TRISK_BUILD_RESOURCES));
    for (const QString &name : files)
        QFile::copy(build.filePath(name), m_folder.filePath(name));
    const QDir translations(build.filePath(QStringLiteral("translations")));
    QDir().mkpath(m_folder.filePath(QStringLiteral("translations")));
    const QStringList compiled = translations.entryList(QDir::Files);
    for (const QString &name : compiled)
        QFile::copy(translations.filePath(name), m_folder.filePath(QStringLiteral("translations/") + name));
}

bool NotifierResources::write(const QString &name, const QByteArray &contents) const
{
    const QString path = m_folder.filePath(name);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}
