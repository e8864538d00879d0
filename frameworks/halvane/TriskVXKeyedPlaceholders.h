#pragma once

#include <QString>
#include <QVariantMap>

class QTextDocument;

// replaceKeyedPlaceholders: of Part 1.2. A keyed placeholder is "{{Name}}"; each whose name is in the
// dictionary is replaced by the value's text, keeping the character format of the placeholder itself,
// so that rich text keeps its attributes around and inside the replacement.
void replaceKeyedPlaceholders(QTextDocument *document, const QVariantMap &placeholders);
QString replaceKeyedPlaceholders(const QString &text, const QVariantMap &placeholders);
