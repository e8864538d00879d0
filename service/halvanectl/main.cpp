#include "HalvaneCtl.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("halvanectl"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TRISK_VERSION));
    QTextStream out(stdout);
    QTextStream err(stderr);
    HalvaneCtl control(out, err);
    return control.run(QCoreApplication::arguments());
}
