#pragma once

#include <QObject>
#include <QPointer>
#include <Qt>

class QAction;
class QMenu;

// Alternate items for a QMenu: an item marked alternate belongs to the group of the item before
// it, and of each group one line shows, the one whose modifier mask matches the keys held (the first,
// primary item when none does). Hosts that cannot follow modifier keys (a menu exported over D-Bus) use
// ShowAll instead, which keeps every choice reachable: see docs/status-menu.md.
class TriskVXMenuAlternates : public QObject
{
    Q_OBJECT

public:
    enum Presentation {
        // One line per group, following the modifier keys while the menu is open.
        FollowModifiers,
        // Every alternate that does something becomes a line of its own; a group made only of labels
        // (one per modifier state, such as the Quick Schedule heading) is hidden.
        ShowAll,
    };
    Q_ENUM(Presentation)

    // Watches the menu (and is owned by it); the lines are set at once for the keys held now.
    static TriskVXMenuAlternates *install(QMenu *menu);
    static TriskVXMenuAlternates *of(const QMenu *menu);

    Presentation presentation() const { return m_presentation; }
    void setPresentation(Presentation presentation);
    // Shows, of each group, the line for these modifier keys.
    void applyModifiers(Qt::KeyboardModifiers modifiers);
    Qt::KeyboardModifiers appliedModifiers() const { return m_modifiers; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    explicit TriskVXMenuAlternates(QMenu *menu);
    void apply();

    QPointer<QMenu> m_menu;
    Presentation m_presentation = FollowModifiers;
    Qt::KeyboardModifiers m_modifiers;
};
