#pragma once

#include <QStringList>
#include <QTemporaryDir>

// A resource folder for notifier tests: the build's interface files, class defaults and translations,
// and a "Quick Schedule" folder of the test's own (empty at first). Point TRISK_RESOURCES at path()
// before the application object exists.
class NotifierResources
{
public:
    explicit NotifierResources(const QStringList &files
                               = { QStringLiteral("Info.plist"), QStringLiteral("TriskVXStatusMenuController.plist"),
                                   QStringLiteral("TriskVXStatusMenuController.ui") });

    QString path() const { return m_folder.path(); }
    QString filePath(const QString &name) const { return m_folder.filePath(name); }
    QString quickScheduleFolder() const { return m_folder.filePath(QStringLiteral("Quick Schedule")); }
    // A file of the folder, written whole.
    bool write(const QString &name, const QByteArray &contents) const;
    // Sets TRISK_RESOURCES to this folder.
    void use() const;

private:
    QTemporaryDir m_folder;
};
