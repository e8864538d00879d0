#pragma once

#include <QTemporaryDir>

// A resource folder for notifier tests, which TRISK_RESOURCES points at from its making on (make it before
// the application object): the build's interface file, class defaults and translations, and a "Quick
// Schedule" folder of the test's own (empty at first).
class NotifierResources
{
public:
    NotifierResources();

    QString quickScheduleFolder() const { return m_folder.filePath(QStringLiteral("Quick Schedule")); }
    // A file of the folder, written whole.
    bool write(const QString &name, const QByteArray &contents) const;

private:
    QTemporaryDir m_folder;
};
