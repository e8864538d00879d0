#include "HalvaneDaemon.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("halvaned"));
    QCoreApplication::setApplicationVersion(QStringLiteral(TRISK_VERSION));
    return HalvaneDaemon::run(QCoreApplication::arguments());
}
