#include "TriskVXNotifierApplication.h"
#include "TriskVXStatusMenuController.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    // The notifier classes the controller's tables name, as this build has them.
    TriskVXStatusMenuController::registerClass();
    return TriskVXNotifierApplication::run();
}
