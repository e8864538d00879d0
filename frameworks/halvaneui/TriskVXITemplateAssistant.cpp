#include "TriskVXITemplateAssistant.h"

#include "TriskVXBundle.h"
#include "TriskVXConstants.h"
#include "TriskVXKeyedPlaceholders.h"

#include <QDateTime>
#include <QRegularExpression>

namespace {

const QRegularExpression &placeholderPattern()
{
    static const QRegularExpression pattern(QStringLiteral("\\$\\{([A-Za-z_][A-Za-z0-9_.-]*)\\}"));
    return pattern;
}

QString textOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::QDateTime)
        return value.toDateTime().toUTC().toString(Qt::ISODate);
    return value.toString();
}

QVariant substitute(const QVariant &value, const QVariantMap &substitutions)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            it.value() = substitute(it.value(), substitutions);
        return QVariant(map);
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &item : list)
            item = substitute(item, substitutions);
        return QVariant(list);
    }
    case QMetaType::QString: {
        const QString text = value.toString();
        const QRegularExpressionMatch whole = placeholderPattern().match(text);
        if (whole.hasMatch() && whole.capturedStart() == 0 && whole.capturedLength() == text.size()) {
            const auto found = substitutions.constFind(whole.captured(1));
            return found != substitutions.cend() ? found.value() : value;
        }
        const QString result = replacePlaceholdersMatching(text, placeholderPattern(),
                                                           [&](const QString &name) -> std::optional<QString> {
                                                               const auto found = substitutions.constFind(name);
                                                               if (found == substitutions.cend())
                                                                   return std::nullopt;
                                                               return textOf(found.value());
                                                           });
        return QVariant(result);
    }
    default:
        return value;
    }
}

void collect(const QVariant &value, QStringList &names)
{
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (const QVariant &item : map)
            collect(item, names);
    } else if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        for (const QVariant &item : list)
            collect(item, names);
    } else if (value.typeId() == QMetaType::QString) {
        auto matches = placeholderPattern().globalMatch(value.toString());
        while (matches.hasNext()) {
            const QString name = matches.next().captured(1);
            if (!names.contains(name))
                names.append(name);
        }
    }
}

} // namespace

QVariantMap TriskVXITemplateAssistant::dictionaryFromTemplateWithSubstitutions(const QVariantMap &templateDictionary,
                                                                               const QVariantMap &substitutions)
{
    QVariantMap event = substitute(QVariant(templateDictionary), substitutions).toMap();
    event.remove(kVXEventUniqueID);
    return event;
}

QStringList TriskVXITemplateAssistant::placeholdersOfTemplate(const QVariantMap &templateDictionary)
{
    QStringList names;
    collect(QVariant(templateDictionary), names);
    return names;
}

QVariantList TriskVXITemplateAssistant::localizedTemplates(const QVariantList &templates, const TriskVXBundle &bundle)
{
    static const QString table = QStringLiteral("Templates");
    QVariantList localized;
    localized.reserve(templates.size());
    for (const QVariant &eventTemplate : templates) {
        if (eventTemplate.typeId() != QMetaType::QVariantMap) {
            localized.append(eventTemplate);
            continue;
        }
        QVariantMap fields = eventTemplate.toMap();
        for (const QString &key : { kVXEventName, kVXEventNotes }) {
            const auto text = fields.find(key);
            if (text != fields.end() && text->typeId() == QMetaType::QString)
                *text = bundle.localizedStringForKey(text->toString(), text->toString(), table);
        }
        localized.append(fields);
    }
    return localized;
}
