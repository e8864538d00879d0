#include "TriskVXMenuItem.h"

#include "TriskVXPlatformLogging.h"

#include <QAction>
#include <QMenu>
#include <QMetaMethod>
#include <QPointer>

namespace {
const char kTargetProperty[] = "target";
const char kActionProperty[] = "action";
const char kTagProperty[] = "tag";
const char kAlternateProperty[] = "alternate";
const char kModifierMaskProperty[] = "keyEquivalentModifierMask";
const char kAutoenablesProperty[] = "autoenablesItems";
const char kSubmenuToComeProperty[] = "submenuToCome";
// Set on every item the copies and factories connect, so that a second setTargetAction replaces the
// first connection instead of adding one.
const char kSendsProperty[] = "_trisk_sends";

QByteArray slotSignatureOf(const QString &selector)
{
    QString method = selector;
    if (method.endsWith(QLatin1Char(':')))
        method.chop(1);
    return method.toLatin1() + "(QObject*)";
}

QByteArray slotNameOf(const QString &selector)
{
    QString method = selector;
    if (method.endsWith(QLatin1Char(':')))
        method.chop(1);
    return method.toLatin1();
}

void send(QAction *item)
{
    QObject *target = TriskVXMenuItem::target(item);
    const QString selector = TriskVXMenuItem::action(item);
    if (!target || selector.isEmpty())
        return;
    if (!TriskVXMenuItem::respondsToAction(target, selector)) {
        qCWarning(lcTriskPlatform).noquote()
            << QStringLiteral("%1 has no action %2 for the menu item \"%3\"")
                   .arg(QString::fromLatin1(target->metaObject()->className()), selector, TriskVXMenuItem::title(item));
        return;
    }
    QMetaObject::invokeMethod(target, slotNameOf(selector).constData(), Q_ARG(QObject *, item));
}

void connectSending(QAction *item)
{
    if (item->property(kSendsProperty).toBool())
        return;
    item->setProperty(kSendsProperty, true);
    QObject::connect(item, &QAction::triggered, item, [item] {
        send(item);
    });
}
} // namespace

QAction *TriskVXMenuItem::itemWithTitleActionTarget(const QString &title, const QString &selector, QObject *target,
                                                    QObject *parent)
{
    auto *item = new QAction(parent);
    setTitle(item, title);
    setTargetAction(item, target, selector);
    return item;
}

QAction *TriskVXMenuItem::separatorItem(QObject *parent)
{
    auto *item = new QAction(parent);
    item->setSeparator(true);
    return item;
}

void TriskVXMenuItem::setTargetAction(QAction *item, QObject *target, const QString &selector)
{
    item->setProperty(kTargetProperty, QVariant::fromValue(QPointer<QObject>(target)));
    item->setProperty(kActionProperty, selector.isEmpty() ? QVariant() : QVariant(selector));
    if (!selector.isEmpty())
        connectSending(item);
}

QObject *TriskVXMenuItem::target(const QAction *item)
{
    return item->property(kTargetProperty).value<QPointer<QObject>>().data();
}

QString TriskVXMenuItem::action(const QAction *item)
{
    return item->property(kActionProperty).toString();
}

bool TriskVXMenuItem::respondsToAction(const QObject *target, const QString &selector)
{
    if (!target || selector.isEmpty())
        return false;
    return target->metaObject()->indexOfMethod(slotSignatureOf(selector).constData()) >= 0;
}

int TriskVXMenuItem::tag(const QAction *item)
{
    return item->property(kTagProperty).toInt();
}

void TriskVXMenuItem::setTag(QAction *item, int tag)
{
    item->setProperty(kTagProperty, tag);
}

bool TriskVXMenuItem::isAlternate(const QAction *item)
{
    return item->property(kAlternateProperty).toBool();
}

void TriskVXMenuItem::setAlternate(QAction *item, bool alternate)
{
    item->setProperty(kAlternateProperty, alternate ? QVariant(true) : QVariant());
}

quint64 TriskVXMenuItem::keyEquivalentModifierMask(const QAction *item)
{
    return item->property(kModifierMaskProperty).toULongLong();
}

void TriskVXMenuItem::setKeyEquivalentModifierMask(QAction *item, quint64 mask)
{
    item->setProperty(kModifierMaskProperty, mask != 0 ? QVariant(mask) : QVariant());
}

Qt::KeyboardModifiers TriskVXMenuItem::modifiersOfMask(quint64 mask)
{
    Qt::KeyboardModifiers modifiers;
    if (mask & kOptionKeyMask)
        modifiers |= Qt::AltModifier;
    if (mask & kCommandKeyMask)
        modifiers |= Qt::MetaModifier;
    if (mask & kShiftKeyMask)
        modifiers |= Qt::ShiftModifier;
    if (mask & kControlKeyMask)
        modifiers |= Qt::ControlModifier;
    return modifiers;
}

void TriskVXMenuItem::setTitle(QAction *item, const QString &title)
{
    QString escaped = title;
    escaped.replace(QLatin1Char('&'), QStringLiteral("&&"));
    item->setText(escaped);
}

QString TriskVXMenuItem::title(const QAction *item)
{
    QString text = item->text();
    text.replace(QStringLiteral("&&"), QStringLiteral("&"));
    return text;
}

QAction *TriskVXMenuItem::copyItem(const QAction *item, QObject *parent)
{
    auto *copy = new QAction(parent);
    copy->setObjectName(item->objectName());
    if (item->isSeparator()) {
        copy->setSeparator(true);
        return copy;
    }
    copy->setText(item->text());
    copy->setIconText(item->iconText());
    copy->setIcon(item->icon());
    copy->setToolTip(item->toolTip());
    copy->setStatusTip(item->statusTip());
    copy->setWhatsThis(item->whatsThis());
    copy->setFont(item->font());
    copy->setCheckable(item->isCheckable());
    copy->setChecked(item->isChecked());
    copy->setEnabled(item->isEnabled());
    copy->setVisible(item->isVisible());
    copy->setShortcut(item->shortcut());
    copy->setData(item->data());
    const QList<QByteArray> names = item->dynamicPropertyNames();
    for (const QByteArray &name : names) {
        if (name != kSendsProperty)
            copy->setProperty(name.constData(), item->property(name.constData()));
    }
    if (!action(copy).isEmpty())
        connectSending(copy);
    if (const QMenu *submenu = item->menu()) {
        // The copy's submenu lives as long as the copy: a child of the menu it goes into, or tied to it.
        auto *widgetParent = qobject_cast<QWidget *>(parent);
        QMenu *submenuCopy = copyMenu(submenu, widgetParent);
        if (!widgetParent)
            QObject::connect(copy, &QObject::destroyed, submenuCopy, &QObject::deleteLater);
        copy->setMenu(submenuCopy);
    }
    return copy;
}

QMenu *TriskVXMenuItem::copyMenu(const QMenu *menu, QWidget *parent)
{
    auto *copy = new QMenu(menu->title(), parent);
    copy->setObjectName(menu->objectName());
    const QVariant autoenables = menu->property(kAutoenablesProperty);
    if (autoenables.isValid())
        copy->setProperty(kAutoenablesProperty, autoenables);
    copyItemsInto(menu, copy);
    QObject::connect(copy, &QMenu::aboutToShow, copy, [copy] {
        validateMenu(copy);
    });
    return copy;
}

void TriskVXMenuItem::copyItemsInto(const QMenu *from, QMenu *into)
{
    const QList<QAction *> items = from->actions();
    QList<QAction *> copies;
    copies.reserve(items.size());
    for (const QAction *item : items)
        copies.append(copyItem(item, into));
    into->addActions(copies);
}

void TriskVXMenuItem::setSubmenuToCome(QAction *item, bool toCome)
{
    item->setProperty(kSubmenuToComeProperty, toCome ? QVariant(true) : QVariant());
}

bool TriskVXMenuItem::hasSubmenu(const QAction *item)
{
    return item->menu() || item->property(kSubmenuToComeProperty).toBool();
}

void TriskVXMenuItem::setSubmenu(QAction *item, QMenu *submenu)
{
    item->setMenu(submenu);
}

bool TriskVXMenuItem::autoenablesItems(const QMenu *menu)
{
    const QVariant value = menu->property(kAutoenablesProperty);
    return !value.isValid() || value.toBool();
}

void TriskVXMenuItem::setAutoenablesItems(QMenu *menu, bool autoenables)
{
    menu->setProperty(kAutoenablesProperty, autoenables);
}

void TriskVXMenuItem::validateMenu(QMenu *menu)
{
    if (!autoenablesItems(menu))
        return;
    const QList<QAction *> items = menu->actions();
    for (QAction *item : items) {
        if (item->isSeparator())
            continue;
        if (hasSubmenu(item)) {
            // An item that holds a submenu opens it; the submenu's own items are validated as it opens.
            item->setEnabled(true);
            continue;
        }
        QObject *itemTarget = target(item);
        const QString selector = action(item);
        bool enabled = false;
        if (itemTarget && !selector.isEmpty()) {
            const int validator = itemTarget->metaObject()->indexOfMethod("validateMenuItem(QAction*)");
            if (validator >= 0)
                QMetaObject::invokeMethod(itemTarget, "validateMenuItem", Q_RETURN_ARG(bool, enabled),
                                          Q_ARG(QAction *, item));
            else
                enabled = respondsToAction(itemTarget, selector);
        }
        item->setEnabled(enabled);
    }
}
