#pragma once

#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

class QRegularExpression;
class QTextDocument;

// A keyed placeholder is "{{Name}}"; each whose name is in the dictionary is replaced by the value's
// text, keeping the character format of the placeholder itself, so that rich text keeps its attributes
// around and inside the replacement.
void replaceKeyedPlaceholders(QTextDocument *document, const QVariantMap &placeholders);
QString replaceKeyedPlaceholders(const QString &text, const QVariantMap &placeholders);

// The text with every match of the pattern (whose first capture is the name) replaced by textOf(name);
// matches textOf answers nothing for stay as they are. Both placeholder syntaxes are replaced through it.
QString replacePlaceholdersMatching(const QString &text, const QRegularExpression &pattern,
                                    const std::function<std::optional<QString>(const QString &name)> &textOf);
