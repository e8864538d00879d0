#pragma once

#include <QString>
#include <QVariant>

// Reads and writes property lists (XML and binary) through libplist, as QVariant values: the one
// adapter between libplist and the rest of the program.
class TriskVXPropertyListSerialization
{
public:
    enum class Format { Xml, Binary };

    // An invalid QVariant and a message in error when the data is not a property list.
    static QVariant propertyListWithData(const QByteArray &data, QString *error = nullptr);
    static QByteArray dataWithPropertyList(const QVariant &propertyList, Format format = Format::Xml,
                                           QString *error = nullptr);

    static QVariant propertyListWithContentsOfFile(const QString &path, QString *error = nullptr);
    // Atomic: the file is replaced whole or left as it was.
    static bool writePropertyListToFile(const QVariant &propertyList, const QString &path, Format format = Format::Xml,
                                        QString *error = nullptr);
};
