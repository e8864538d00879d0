#include "TriskVXMenuAlternates.h"

#include "TriskVXMenuItem.h"

#include <QAction>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>

namespace {
// Only these keys change which alternate shows.
const Qt::KeyboardModifiers kFollowed = Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier | Qt::ControlModifier;
} // namespace

TriskVXMenuAlternates::TriskVXMenuAlternates(QMenu *menu)
    : QObject(menu)
    , m_menu(menu)
{
    menu->installEventFilter(this);
    connect(menu, &QMenu::aboutToShow, this, [this] {
        applyModifiers(QGuiApplication::queryKeyboardModifiers());
    });
}

TriskVXMenuAlternates *TriskVXMenuAlternates::install(QMenu *menu)
{
    if (TriskVXMenuAlternates *existing = of(menu))
        return existing;
    auto *alternates = new TriskVXMenuAlternates(menu);
    alternates->apply();
    return alternates;
}

TriskVXMenuAlternates *TriskVXMenuAlternates::of(const QMenu *menu)
{
    return menu ? menu->findChild<TriskVXMenuAlternates *>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
}

void TriskVXMenuAlternates::setPresentation(Presentation presentation)
{
    m_presentation = presentation;
    apply();
}

void TriskVXMenuAlternates::applyModifiers(Qt::KeyboardModifiers modifiers)
{
    m_modifiers = modifiers & kFollowed;
    apply();
}

bool TriskVXMenuAlternates::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_menu && (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)) {
        const auto *key = static_cast<QKeyEvent *>(event);
        switch (key->key()) {
        case Qt::Key_Alt:
        case Qt::Key_Meta:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
        case Qt::Key_Shift:
        case Qt::Key_Control:
            applyModifiers(key->modifiers());
            // A modifier alone must not close or move through the menu.
            return true;
        default:
            break;
        }
    }
    return QObject::eventFilter(watched, event);
}

void TriskVXMenuAlternates::apply()
{
    if (!m_menu)
        return;
    const QList<QAction *> items = m_menu->actions();
    qsizetype start = 0;
    while (start < items.size()) {
        // A group: one item and the alternates that follow it.
        qsizetype end = start + 1;
        while (end < items.size() && TriskVXMenuItem::isAlternate(items.at(end)))
            ++end;
        if (m_presentation == ShowAll) {
            // Alternates that do something become lines of their own. A group of mere labels, one per
            // modifier state (the Quick Schedule heading), names states this host does not have: it goes.
            bool labelsOnly = end - start > 1;
            for (qsizetype i = start; i < end && labelsOnly; ++i)
                labelsOnly = TriskVXMenuItem::action(items.at(i)).isEmpty();
            for (qsizetype i = start; i < end; ++i) {
                QAction *item = items.at(i);
                item->setVisible(!labelsOnly && (i == start || !TriskVXMenuItem::action(item).isEmpty()));
            }
        } else {
            qsizetype shown = start;
            for (qsizetype i = start + 1; i < end; ++i) {
                const quint64 mask = TriskVXMenuItem::keyEquivalentModifierMask(items.at(i));
                if (mask != 0 && TriskVXMenuItem::modifiersOfMask(mask) == m_modifiers) {
                    shown = i;
                    break;
                }
            }
            for (qsizetype i = start; i < end; ++i)
                items.at(i)->setVisible(i == shown);
        }
        start = end;
    }
}
