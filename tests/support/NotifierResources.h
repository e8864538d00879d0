#pragma once

#include <QStringList>
#include <QTemporaryDir>

// A resource folder for notifier tests: the build's interface files, class defaults and translations,
// and a "Quick Schedule" folder of the test's own (empty at first). use() points TRISK_RESOURCES at it;
// call it before the application object exists.
class NotifierResources
{
public:
    explicit NotifierResources(const QStringList &files
                               = { QStringLiteral("Info.plist"), QStringLiteral("TriskVXStatusMenuController.plist"),
                                   QStringLiteral("TriskVXStatusMenuController.ui") });

    QString quickScheduleFolder() const { return m_folder.filePath(QStringLiteral("Quick Schedule")); }
    // A file of the folder, written whole.
    bool write(const QString &name, const QByteArray &contents) const;
    void use() const { qputenv("TRISK_RESOURCES", m_folder.path().toUtf8()); }

private:
    QTemporaryDir m_folder;
};
