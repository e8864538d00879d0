#pragma once

#include <QString>
#include <QUrl>
#include <QVariantMap>

// The notifier's bundle: a resource folder (installed under share/trisk-notifier, or the build tree's
// copy when run uninstalled, or $TRISK_RESOURCES) with resources by name and type, an Info.plist, and the
// localised strings of Qt Linguist translations (context = table, source = key).
class TriskVXBundle
{
public:
    explicit TriskVXBundle(const QString &resourcePath);

    // The main bundle; nullptr when no resource folder can be found.
    static TriskVXBundle *mainBundle();
    // Where the main bundle is looked for, in order.
    static QStringList resourceSearchPath();

    QString resourcePath() const { return m_resourcePath; }
    QUrl resourceURL() const { return QUrl::fromLocalFile(m_resourcePath); }
    // <folder>/<name>.<type>, or a null string when there is no such file.
    QString pathForResource(const QString &name, const QString &type) const;
    // Info.plist's dictionary; empty when there is none.
    QVariantMap infoDictionary() const;
    // The text of key in table ("Localizable" when empty); when the translations have none, value, or the
    // key itself when value is empty, so that a missing translation never shows as nothing.
    QString localizedStringForKey(const QString &key, const QString &value, const QString &table = QString()) const;
    // The main bundle's text of key in table; the key itself when there is no main bundle.
    static QString localizedString(const QString &key, const QString &table = QString());

    // Loads <folder>/translations/trisk_<language>.qm for the locale (English when there is none).
    bool installTranslations() const;

private:
    QString m_resourcePath;
};
