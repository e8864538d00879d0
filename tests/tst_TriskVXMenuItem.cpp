#include "LogCapture.h"
#include "TriskVXMenuAlternates.h"
#include "TriskVXMenuItem.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTest>

namespace {
// A target as the notifiers are: actions are slots taking the sender; it may validate.
class Target : public QObject
{
    Q_OBJECT

public:
    QList<QObject *> senders;
    bool answer = true;
    int validations = 0;

public Q_SLOTS:
    void cancel(QObject *sender) { senders.append(sender); }
};

class ValidatingTarget : public Target
{
    Q_OBJECT

public:
    Q_INVOKABLE bool validateMenuItem(QAction *item)
    {
        Q_UNUSED(item)
        ++validations;
        return answer;
    }
};

QStringList visibleTitles(const QMenu &menu)
{
    QStringList titles;
    const QList<QAction *> items = menu.actions();
    for (const QAction *item : items) {
        if (item->isVisible())
            titles.append(item->isSeparator() ? QStringLiteral("-") : TriskVXMenuItem::title(item));
    }
    return titles;
}
} // namespace

// NSMenuItem's and NSMenu's behaviour on QAction and QMenu: target/action, copies, automatic enabling,
// alternates.
class tst_TriskVXMenuItem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void titlesAreShownAsTheyAre_data();
    void titlesAreShownAsTheyAre();
    void choosingSendsTheActionWithTheItem();
    void unknownActionIsSaidAndNothingSent();
    void deadTargetSendsNothing();
    void copiesAreDeepAndSendToo();
    void modifierMasks_data();
    void modifierMasks();
    void automaticEnabling_data();
    void automaticEnabling();
    void copiedMenusValidateAsTheyOpen();
    void alternatesShowOneLinePerGroup_data();
    void alternatesShowOneLinePerGroup();
    void showAllKeepsEveryChoice();
};

void tst_TriskVXMenuItem::titlesAreShownAsTheyAre_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::newRow("plain") << QStringLiteral("Shut down") << QStringLiteral("Shut down");
    QTest::newRow("ampersand") << QStringLiteral("Back up & sleep") << QStringLiteral("Back up && sleep");
    QTest::newRow("two lines") << QStringLiteral("A\n10:00") << QStringLiteral("A\n10:00");
}

void tst_TriskVXMenuItem::titlesAreShownAsTheyAre()
{
    QFETCH(QString, title);
    QFETCH(QString, text);
    QAction item;
    TriskVXMenuItem::setTitle(&item, title);
    QCOMPARE(item.text(), text);
    QCOMPARE(TriskVXMenuItem::title(&item), title);
}

void tst_TriskVXMenuItem::choosingSendsTheActionWithTheItem()
{
    Target target;
    QAction *item
        = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Cancel"), QStringLiteral("cancel:"), &target);
    QCOMPARE(TriskVXMenuItem::target(item), &target);
    QCOMPARE(TriskVXMenuItem::action(item), QStringLiteral("cancel:"));
    item->trigger();
    QCOMPARE(target.senders, QList<QObject *> { item });
    // Setting target and action again does not send twice.
    TriskVXMenuItem::setTargetAction(item, &target, QStringLiteral("cancel:"));
    item->trigger();
    QCOMPARE(target.senders.size(), 2);
    delete item;
}

void tst_TriskVXMenuItem::unknownActionIsSaidAndNothingSent()
{
    Target target;
    QAction item;
    TriskVXMenuItem::setTitle(&item, QStringLiteral("Odd"));
    TriskVXMenuItem::setTargetAction(&item, &target, QStringLiteral("frobnicate:"));
    LogCapture log;
    item.trigger();
    QVERIFY(target.senders.isEmpty());
    QCOMPARE(log.messages("trisk.platform")
                 .filter(QStringLiteral("has no action frobnicate: for the menu item \"Odd\""))
                 .size(),
             1);
}

void tst_TriskVXMenuItem::deadTargetSendsNothing()
{
    auto *target = new Target;
    QAction item;
    TriskVXMenuItem::setTargetAction(&item, target, QStringLiteral("cancel:"));
    delete target;
    QCOMPARE(TriskVXMenuItem::target(&item), nullptr);
    item.trigger();
    std::unique_ptr<QAction> copy(TriskVXMenuItem::copyItem(&item));
    QCOMPARE(TriskVXMenuItem::target(copy.get()), nullptr);
    copy->trigger();
}

void tst_TriskVXMenuItem::copiesAreDeepAndSendToo()
{
    Target target;
    QMenu original(QStringLiteral("Template"));
    QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Delay"), QStringLiteral("cancel:"),
                                                               &target, &original);
    TriskVXMenuItem::setTag(item, 900);
    TriskVXMenuItem::setAlternate(item, true);
    TriskVXMenuItem::setKeyEquivalentModifierMask(item, TriskVXMenuItem::kShiftKeyMask);
    item->setToolTip(QStringLiteral("Later"));
    item->setData(QVariantMap { { QStringLiteral("k"), 1 } });
    QFont bold = item->font();
    bold.setBold(true);
    item->setFont(bold);
    item->setEnabled(false);
    original.addAction(item);
    original.addAction(TriskVXMenuItem::separatorItem(&original));
    auto *submenu = new QMenu(QStringLiteral("More"), &original);
    submenu->addAction(TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Inner"), QStringLiteral("cancel:"),
                                                                  &target, submenu));
    QAction *holder = original.addMenu(submenu);
    Q_UNUSED(holder)
    TriskVXMenuItem::setAutoenablesItems(&original, false);

    std::unique_ptr<QMenu> copy(TriskVXMenuItem::copyMenu(&original));
    QCOMPARE(copy->title(), QStringLiteral("Template"));
    QVERIFY(!TriskVXMenuItem::autoenablesItems(copy.get()));
    const QList<QAction *> items = copy->actions();
    QCOMPARE(items.size(), 3);
    QAction *delay = items.at(0);
    QVERIFY(delay != item);
    QCOMPARE(TriskVXMenuItem::title(delay), QStringLiteral("Delay"));
    QCOMPARE(TriskVXMenuItem::tag(delay), 900);
    QVERIFY(TriskVXMenuItem::isAlternate(delay));
    QCOMPARE(TriskVXMenuItem::keyEquivalentModifierMask(delay), TriskVXMenuItem::kShiftKeyMask);
    QCOMPARE(delay->toolTip(), QStringLiteral("Later"));
    QCOMPARE(delay->data(), item->data());
    QVERIFY(delay->font().bold());
    QVERIFY(!delay->isEnabled());
    QVERIFY(items.at(1)->isSeparator());
    QVERIFY(items.at(2)->menu() && items.at(2)->menu() != submenu);
    QCOMPARE(visibleTitles(*items.at(2)->menu()), QStringList { QStringLiteral("Inner") });
    // Changing the copy leaves the template as it was.
    delay->setData(2);
    QCOMPARE(item->data().toMap().value(QStringLiteral("k")), QVariant(1));
    delay->setEnabled(true);
    delay->trigger();
    items.at(2)->menu()->actions().first()->trigger();
    QCOMPARE(target.senders, (QList<QObject *> { delay, items.at(2)->menu()->actions().first() }));
    // The copied submenu goes with the copy.
    QPointer<QMenu> copiedSubmenu = items.at(2)->menu();
    copy.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!copiedSubmenu);
}

void tst_TriskVXMenuItem::modifierMasks_data()
{
    QTest::addColumn<quint64>("mask");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("none") << quint64(0) << int(Qt::NoModifier);
    QTest::newRow("Option") << quint64(0x80000) << int(Qt::AltModifier);
    QTest::newRow("Command") << quint64(0x100000) << int(Qt::MetaModifier);
    QTest::newRow("Shift") << quint64(0x10000) << int(Qt::ShiftModifier);
    QTest::newRow("Control") << quint64(0x40000) << int(Qt::ControlModifier);
    QTest::newRow("Option+Shift") << quint64(0x90000) << int(Qt::AltModifier | Qt::ShiftModifier);
}

void tst_TriskVXMenuItem::modifierMasks()
{
    QFETCH(quint64, mask);
    QFETCH(int, modifiers);
    QCOMPARE(TriskVXMenuItem::modifiersOfMask(mask), Qt::KeyboardModifiers(modifiers));
}

void tst_TriskVXMenuItem::automaticEnabling_data()
{
    QTest::addColumn<bool>("validating");
    QTest::addColumn<QString>("selector");
    QTest::addColumn<bool>("withTarget");
    QTest::addColumn<bool>("answer");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("no action") << false << QString() << true << true << false;
    QTest::newRow("no target") << false << QStringLiteral("cancel:") << false << true << false;
    QTest::newRow("target has the action") << false << QStringLiteral("cancel:") << true << true << true;
    QTest::newRow("target lacks the action") << false << QStringLiteral("frobnicate:") << true << true << false;
    QTest::newRow("validator says yes") << true << QStringLiteral("frobnicate:") << true << true << true;
    QTest::newRow("validator says no") << true << QStringLiteral("cancel:") << true << false << false;
}

void tst_TriskVXMenuItem::automaticEnabling()
{
    QFETCH(bool, validating);
    QFETCH(QString, selector);
    QFETCH(bool, withTarget);
    QFETCH(bool, answer);
    QFETCH(bool, enabled);
    std::unique_ptr<Target> target(validating ? new ValidatingTarget : new Target);
    target->answer = answer;
    QMenu menu;
    QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Item"), selector,
                                                               withTarget ? target.get() : nullptr, &menu);
    item->setEnabled(!enabled);
    menu.addAction(item);
    auto *submenu = new QMenu(&menu);
    QAction *holder = menu.addMenu(submenu);
    holder->setEnabled(false);
    TriskVXMenuItem::validateMenu(&menu);
    QCOMPARE(item->isEnabled(), enabled);
    QVERIFY(holder->isEnabled());
    QCOMPARE(target->validations, validating && withTarget && !selector.isEmpty() ? 1 : 0);
    // Turned off, the menu's items keep what they were given.
    TriskVXMenuItem::setAutoenablesItems(&menu, false);
    item->setEnabled(!enabled);
    TriskVXMenuItem::validateMenu(&menu);
    QCOMPARE(item->isEnabled(), !enabled);
}

void tst_TriskVXMenuItem::copiedMenusValidateAsTheyOpen()
{
    ValidatingTarget target;
    target.answer = false;
    QMenu original;
    original.addAction(TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Cancel"), QStringLiteral("cancel:"),
                                                                  &target, &original));
    std::unique_ptr<QMenu> copy(TriskVXMenuItem::copyMenu(&original));
    QVERIFY(copy->actions().first()->isEnabled());
    Q_EMIT copy->aboutToShow();
    QVERIFY(!copy->actions().first()->isEnabled());
    QCOMPARE(target.validations, 1);
}

void tst_TriskVXMenuItem::alternatesShowOneLinePerGroup_data()
{
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("none") << int(Qt::NoModifier)
                          << QStringList { QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("-"),
                                           QStringLiteral("C") };
    QTest::newRow("Alt") << int(Qt::AltModifier)
                         << QStringList { QStringLiteral("A Alt"), QStringLiteral("B"), QStringLiteral("-"),
                                          QStringLiteral("C") };
    QTest::newRow("Shift") << int(Qt::ShiftModifier)
                           << QStringList { QStringLiteral("A"), QStringLiteral("B Shift"), QStringLiteral("-"),
                                            QStringLiteral("C") };
    // Keys that change nothing in a menu.
    QTest::newRow("Keypad") << int(Qt::KeypadModifier)
                            << QStringList { QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("-"),
                                             QStringLiteral("C") };
}

void tst_TriskVXMenuItem::alternatesShowOneLinePerGroup()
{
    QFETCH(int, modifiers);
    QFETCH(QStringList, lines);
    QMenu menu;
    auto add = [&menu](const QString &title, quint64 mask, bool alternate) {
        QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(title, QStringLiteral("cancel:"), nullptr, &menu);
        TriskVXMenuItem::setAlternate(item, alternate);
        TriskVXMenuItem::setKeyEquivalentModifierMask(item, mask);
        menu.addAction(item);
    };
    add(QStringLiteral("A"), 0, false);
    add(QStringLiteral("A Alt"), TriskVXMenuItem::kOptionKeyMask, true);
    add(QStringLiteral("B"), 0, false);
    add(QStringLiteral("B Shift"), TriskVXMenuItem::kShiftKeyMask, true);
    menu.addAction(TriskVXMenuItem::separatorItem(&menu));
    add(QStringLiteral("C"), 0, false);
    TriskVXMenuAlternates *alternates = TriskVXMenuAlternates::install(&menu);
    QCOMPARE(TriskVXMenuAlternates::install(&menu), alternates);
    QCOMPARE(TriskVXMenuAlternates::of(&menu), alternates);
    alternates->applyModifiers(Qt::KeyboardModifiers(modifiers));
    QCOMPARE(visibleTitles(menu), lines);
}

void tst_TriskVXMenuItem::showAllKeepsEveryChoice()
{
    QMenu menu;
    QAction *heading = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("In 10"), QString(), nullptr, &menu);
    QAction *headingAlt
        = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("In 30"), QString(), nullptr, &menu);
    TriskVXMenuItem::setAlternate(headingAlt, true);
    TriskVXMenuItem::setKeyEquivalentModifierMask(headingAlt, TriskVXMenuItem::kOptionKeyMask);
    QAction *choice = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Nap 10"), QStringLiteral("cancel:"),
                                                                 nullptr, &menu);
    QAction *choiceAlt = TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Nap 30"), QStringLiteral("cancel:"),
                                                                    nullptr, &menu);
    TriskVXMenuItem::setAlternate(choiceAlt, true);
    TriskVXMenuItem::setKeyEquivalentModifierMask(choiceAlt, TriskVXMenuItem::kOptionKeyMask);
    menu.addActions({ heading, headingAlt, choice, choiceAlt });
    TriskVXMenuAlternates *alternates = TriskVXMenuAlternates::install(&menu);
    QCOMPARE(visibleTitles(menu), QStringList({ QStringLiteral("In 10"), QStringLiteral("Nap 10") }));
    alternates->setPresentation(TriskVXMenuAlternates::ShowAll);
    QCOMPARE(visibleTitles(menu), QStringList({ QStringLiteral("Nap 10"), QStringLiteral("Nap 30") }));
    // Modifier keys change nothing then.
    alternates->applyModifiers(Qt::AltModifier);
    QCOMPARE(visibleTitles(menu), QStringList({ QStringLiteral("Nap 10"), QStringLiteral("Nap 30") }));
    // A label standing alone (no alternates) stays.
    QMenu plain;
    plain.addAction(TriskVXMenuItem::itemWithTitleActionTarget(QStringLiteral("Heading"), QString(), nullptr, &plain));
    TriskVXMenuAlternates::install(&plain)->setPresentation(TriskVXMenuAlternates::ShowAll);
    QCOMPARE(visibleTitles(plain), QStringList { QStringLiteral("Heading") });
}

QTEST_MAIN(tst_TriskVXMenuItem)
#include "tst_TriskVXMenuItem.moc"
