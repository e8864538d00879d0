#include "TriskVXNotifierApplication.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    return TriskVXNotifierApplication::run();
}
