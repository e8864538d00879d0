#include "TriskVXKeyedPlaceholders.h"

#include <QRegularExpression>
#include <QTextCursor>
#include <QTextDocument>

namespace {
const QRegularExpression &keyedPlaceholderPattern()
{
    static const QRegularExpression pattern(QStringLiteral("\\{\\{([A-Za-z_][A-Za-z0-9_.-]*)\\}\\}"));
    return pattern;
}
} // namespace

void replaceKeyedPlaceholders(QTextDocument *document, const QVariantMap &placeholders)
{
    if (!document || placeholders.isEmpty())
        return;
    QTextCursor cursor(document);
    for (;;) {
        cursor = document->find(keyedPlaceholderPattern(), cursor);
        if (cursor.isNull())
            return;
        const QRegularExpressionMatch match = keyedPlaceholderPattern().match(cursor.selectedText());
        const auto found = placeholders.constFind(match.captured(1));
        if (found == placeholders.cend())
            continue;
        // The format at the placeholder's first character is what the replacement keeps.
        QTextCursor first(document);
        first.setPosition(cursor.selectionStart());
        first.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
        const QTextCharFormat format = first.charFormat();
        cursor.insertText(found.value().toString(), format);
    }
}

QString replaceKeyedPlaceholders(const QString &text, const QVariantMap &placeholders)
{
    return replacePlaceholdersMatching(text, keyedPlaceholderPattern(),
                                       [&](const QString &name) -> std::optional<QString> {
                                           const auto found = placeholders.constFind(name);
                                           if (found == placeholders.cend())
                                               return std::nullopt;
                                           return found.value().toString();
                                       });
}

QString replacePlaceholdersMatching(const QString &text, const QRegularExpression &pattern,
                                    const std::function<std::optional<QString>(const QString &name)> &textOf)
{
    QString result;
    qsizetype last = 0;
    auto matches = pattern.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const std::optional<QString> replacement = textOf(match.captured(1));
        result += text.mid(last, match.capturedStart() - last);
        result += replacement ? *replacement : match.captured(0);
        last = match.capturedEnd();
    }
    result += text.mid(last);
    return result;
}
