#include "TriskVXHalvaneStrings.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace {
const char kTable[] = "Halvane";
}

void TriskVXHalvaneStrings::install()
{
    static QTranslator *translator = nullptr;
    if (translator || !QCoreApplication::instance())
        return;
    translator = new QTranslator(QCoreApplication::instance());
    // English is a translation like any other, so that keys never reach the screen.
    if (translator->load(QLocale(), QStringLiteral("halvane"), QStringLiteral("_"), QStringLiteral(":/i18n"))
        || translator->load(QStringLiteral("halvane_en"), QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(translator);
}

QString TriskVXHalvaneStrings::localizedStringForKey(const QString &key, const QString &value)
{
    install();
    const QByteArray source = key.toUtf8();
    const QString text = QCoreApplication::translate(kTable, source.constData());
    return text == key ? value : text;
}
