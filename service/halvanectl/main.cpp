#include "HalvaneCtl.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("halvanectl"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TRISK_VERSION));
    // The library's progress lines are for daemons; QT_LOGGING_RULES brings them back.
    QLoggingCategory::setFilterRules(QStringLiteral("trisk.*.info=false"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    HalvaneCtl control(out, err);
    return control.run(QCoreApplication::arguments());
}
