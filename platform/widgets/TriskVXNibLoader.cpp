#include "TriskVXNibLoader.h"

#include "TriskVXInterfaceBuilder.h"
#include "TriskVXMenuItem.h"
#include "TriskVXPlatformLogging.h"

#include <QAbstractButton>
#include <QAction>
#include <QFile>
#include <QMetaMethod>
#include <QWidget>
#include <QXmlStreamReader>

namespace {
// "close:" → the owner's slot close(QObject*); unknown selectors are said once, at load.
bool connectAction(QObject *sender, QObject *owner)
{
    const QString selector = sender->property("action").toString();
    if (selector.isEmpty())
        return false;
    QString method = selector;
    if (method.endsWith(QLatin1Char(':')))
        method.chop(1);
    const QByteArray signature = method.toLatin1() + "(QObject*)";
    if (owner->metaObject()->indexOfMethod(signature.constData()) < 0) {
        qCWarning(lcTriskPlatform).noquote()
            << QStringLiteral("%1 has no action %2 for %3")
                   .arg(QString::fromLatin1(owner->metaObject()->className()), selector, sender->objectName());
        return false;
    }
    // A menu item keeps its target and action, so that its copies send the action too.
    if (auto *item = qobject_cast<QAction *>(sender)) {
        TriskVXMenuItem::setTargetAction(item, owner, selector);
        return true;
    }
    const QByteArray name = method.toLatin1();
    if (auto *button = qobject_cast<QAbstractButton *>(sender)) {
        QObject::connect(button, &QAbstractButton::clicked, owner, [owner, sender, name] {
            QMetaObject::invokeMethod(owner, name.constData(), Q_ARG(QObject *, sender));
        });
        return true;
    }
    return false;
}
} // namespace

QWidget *TriskVXNibLoader::load(const QString &path, QObject *owner, QWidget *parentWidget, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return nullptr;
    }
    QXmlStreamReader xml(&file);
    QString reason;
    QWidget *root = TriskVXInterfaceBuilder().build(xml, parentWidget, &reason);
    if (!root) {
        if (error)
            *error = QStringLiteral("%1 is not an interface file: %2").arg(path, reason);
        return nullptr;
    }
    const QList<QObject *> objects = root->findChildren<QObject *>();
    for (QObject *object : objects)
        connectAction(object, owner);
    connectAction(root, owner);
    return root;
}

QObject *TriskVXNibLoader::outlet(const QWidget *root, const QString &name)
{
    if (!root)
        return nullptr;
    if (root->objectName() == name)
        return const_cast<QWidget *>(root);
    return root->findChild<QObject *>(name);
}

int TriskVXNibLoader::tagOf(const QObject *object)
{
    return object ? object->property("tag").toInt() : 0;
}
