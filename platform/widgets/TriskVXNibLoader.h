#pragma once

#include <QString>

class QObject;
class QWidget;

// Loads a Qt Designer interface file at run time (for loadClassNib). A widget or action with the
// dynamic property "action" (a selector such as "close:") sends that action to the owner, whose slot is
// the selector without its colon taking the sender (close(QObject *)); "tag" is an integer, read with
// tagOf. Outlets are found by object name.
class TriskVXNibLoader
{
public:
    // The interface's top widget, parented to parentWidget; nullptr with a message in error when the file
    // cannot be read or is not an interface file.
    static QWidget *load(const QString &path, QObject *owner, QWidget *parentWidget = nullptr,
                         QString *error = nullptr);
    // The object called name under root (widgets, actions, menus), or nullptr.
    static QObject *outlet(const QWidget *root, const QString &name);
    static int tagOf(const QObject *object);
};
