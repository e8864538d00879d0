#pragma once

#include <QString>

// The framework's own localised texts (the adjust dialog), looked up by key in its translations
// (translations/halvane_*.ts); a key without text gives the value passed, the caller's fallback.
class TriskVXHalvaneStrings
{
public:
    static QString localizedStringForKey(const QString &key, const QString &value = QString());
    // Loads the translation for the current locale once; later calls do nothing.
    static void install();
};
