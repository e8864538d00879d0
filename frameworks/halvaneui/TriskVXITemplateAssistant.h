#pragma once

#include <QVariantMap>

class TriskVXBundle;

// Makes event records from Quick Schedule templates. A template is an event record in which a string
// value "${name}" stands for the substitution "name" and takes its value with its type (a date for
// "${when}"); "${name}" inside longer text takes the value's text. docs/templates.md has the details.
class TriskVXITemplateAssistant
{
public:
    // The event with every known placeholder replaced. The template's unique id is dropped, so that each
    // event made from a template is a new one; placeholders without a substitution stay as they are.
    static QVariantMap dictionaryFromTemplateWithSubstitutions(const QVariantMap &templateDictionary,
                                                               const QVariantMap &substitutions);
    // Placeholder names a template uses, each once, in order of appearance.
    static QStringList placeholdersOfTemplate(const QVariantMap &templateDictionary);
    // The shipped templates as the person reads them: name and notes through the bundle's "Templates"
    // table. Texts the table does not know (a person's own templates) stay as written.
    static QVariantList localizedTemplates(const QVariantList &templates, const TriskVXBundle &bundle);
};
