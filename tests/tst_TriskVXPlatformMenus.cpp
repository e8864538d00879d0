// Interface files and menu items: actions reaching their target, deep copies, automatic enabling and the
// alternate lines a menu shows for the modifier keys held.
#include "LogCapture.h"
#include "TriskVXMenuAlternates.h"
#include "TriskVXMenuItem.h"
#include "TriskVXNibLoader.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const char kInterface[] = R"(<ui version="4.0"><class>Panel</class>
 <widget class="QWidget" name="panel"><layout class="QVBoxLayout" name="layout">
  <item><widget class="QPushButton" name="cancelButton">
   <property name="action" stdset="0"><string>cancel:</string></property>
   <property name="tag" stdset="0"><number>7</number></property>
  </widget></item>
  <item><widget class="QPushButton" name="strayButton">
   <property name="action" stdset="0"><string>explode:</string></property>
  </widget></item></layout>
  <action name="closeAction"><property name="action" stdset="0"><string>close:</string></property></action>
 </widget></ui>)";

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
    void close(QObject *sender) { senders.append(sender); }
};

class ValidatingTarget : public Target
{
    Q_OBJECT

public:
    Q_INVOKABLE bool validateMenuItem(QAction *)
    {
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
            titles.append(item->isSeparator() ? u"-"_s : TriskVXMenuItem::title(item));
    }
    return titles;
}
} // namespace

class tst_TriskVXPlatformMenus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void interfaceActionsReachTheOwner();
    void unreadableInterfaceFiles();
    void choosingSendsTheActionWithTheItem();
    void copiesAreDeepAndSendToo();
    void automaticEnabling_data();
    void automaticEnabling();
    void alternates_data();
    void alternates();
};

void tst_TriskVXPlatformMenus::interfaceActionsReachTheOwner()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(u"Panel.ui"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(kInterface) > 0);
    file.close();
    Target owner;
    LogCapture log;
    QString error;
    std::unique_ptr<QWidget> root(TriskVXNibLoader::load(file.fileName(), &owner, nullptr, &error));
    QVERIFY2(root, qPrintable(error));
    // An action the owner lacks is said when the file is loaded, not when it is used.
    QCOMPARE(log.messages("trisk.platform").filter(u"explode:"_s).size(), 1);
    auto *cancel = qobject_cast<QPushButton *>(TriskVXNibLoader::outlet(root.get(), u"cancelButton"_s));
    auto *close = qobject_cast<QAction *>(TriskVXNibLoader::outlet(root.get(), u"closeAction"_s));
    QVERIFY(cancel && close);
    QCOMPARE(TriskVXNibLoader::tagOf(cancel), 7);
    cancel->click();
    close->trigger();
    QCOMPARE(owner.senders, (QList<QObject *> { cancel, close }));
    QCOMPARE(TriskVXNibLoader::outlet(root.get(), u"panel"_s), root.get());
    QVERIFY(!TriskVXNibLoader::outlet(root.get(), u"missingOutlet"_s));
}

void tst_TriskVXPlatformMenus::unreadableInterfaceFiles()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"Broken.ui"_s);
    Target owner;
    QString error;
    QVERIFY(!TriskVXNibLoader::load(path, &owner, nullptr, &error));
    QVERIFY2(error.startsWith(u"cannot read"_s), qPrintable(error));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("hello") > 0);
    file.close();
    QVERIFY(!TriskVXNibLoader::load(path, &owner, nullptr, &error));
    QVERIFY2(error.contains(u"is not an interface file"_s), qPrintable(error));
}

void tst_TriskVXPlatformMenus::choosingSendsTheActionWithTheItem()
{
    Target target;
    std::unique_ptr<QAction> item(
        TriskVXMenuItem::itemWithTitleActionTarget(u"Back up & sleep"_s, u"cancel:"_s, &target));
    // The title is shown as it is: an "&" is no mnemonic.
    QCOMPARE(item->text(), u"Back up && sleep"_s);
    QCOMPARE(TriskVXMenuItem::title(item.get()), u"Back up & sleep"_s);
    item->trigger();
    // Setting target and action again does not send twice.
    TriskVXMenuItem::setTargetAction(item.get(), &target, u"cancel:"_s);
    item->trigger();
    QCOMPARE(target.senders, (QList<QObject *> { item.get(), item.get() }));
    // An action the target lacks is said, and nothing is sent.
    TriskVXMenuItem::setTargetAction(item.get(), &target, u"frobnicate:"_s);
    LogCapture log;
    item->trigger();
    QCOMPARE(target.senders.size(), 2);
    QCOMPARE(log.messages("trisk.platform").filter(u"frobnicate:"_s).size(), 1);
}

void tst_TriskVXPlatformMenus::copiesAreDeepAndSendToo()
{
    ValidatingTarget target;
    QMenu original(u"Template"_s);
    QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(u"Delay"_s, u"cancel:"_s, &target, &original);
    TriskVXMenuItem::setTag(item, 900);
    TriskVXMenuItem::setAlternate(item, true);
    TriskVXMenuItem::setKeyEquivalentModifierMask(item, TriskVXMenuItem::kShiftKeyMask);
    item->setToolTip(u"Later"_s);
    item->setData(QVariantMap { { u"k"_s, 1 } });
    QFont bold = item->font();
    bold.setBold(true);
    item->setFont(bold);
    original.addAction(item);
    original.addAction(TriskVXMenuItem::separatorItem(&original));
    auto *submenu = new QMenu(u"More"_s, &original);
    submenu->addAction(TriskVXMenuItem::itemWithTitleActionTarget(u"Inner"_s, u"cancel:"_s, &target, submenu));
    original.addMenu(submenu);
    auto dead = std::make_unique<Target>();
    original.addAction(TriskVXMenuItem::itemWithTitleActionTarget(u"Orphan"_s, u"cancel:"_s, dead.get(), &original));
    dead.reset();

    std::unique_ptr<QMenu> copy(TriskVXMenuItem::copyMenu(&original));
    QCOMPARE(copy->title(), u"Template"_s);
    const QList<QAction *> items = copy->actions();
    QCOMPARE(items.size(), 4);
    QAction *delay = items.at(0);
    QVERIFY(delay != item);
    QCOMPARE(TriskVXMenuItem::title(delay), u"Delay"_s);
    QCOMPARE(TriskVXMenuItem::tag(delay), 900);
    QVERIFY(TriskVXMenuItem::isAlternate(delay));
    QCOMPARE(TriskVXMenuItem::keyEquivalentModifierMask(delay), TriskVXMenuItem::kShiftKeyMask);
    QCOMPARE(delay->toolTip(), u"Later"_s);
    QCOMPARE(delay->data(), item->data());
    QVERIFY(delay->font().bold());
    QVERIFY(items.at(1)->isSeparator());
    QMenu *copiedSubmenu = items.at(2)->menu();
    QVERIFY(copiedSubmenu && copiedSubmenu != submenu);
    QCOMPARE(visibleTitles(*copiedSubmenu), QStringList { u"Inner"_s });
    // Changing the copy leaves the template as it was.
    delay->setData(2);
    QCOMPARE(item->data().toMap().value(u"k"_s), QVariant(1));
    delay->trigger();
    copiedSubmenu->actions().first()->trigger();
    QCOMPARE(target.senders, (QList<QObject *> { delay, copiedSubmenu->actions().first() }));
    // A copy validates as it opens: the target says no; the item whose target is gone is disabled, and
    // choosing it sends nothing anywhere.
    target.answer = false;
    Q_EMIT copy->aboutToShow();
    QVERIFY(!delay->isEnabled());
    QVERIFY(items.at(2)->isEnabled());
    QCOMPARE(TriskVXMenuItem::target(items.at(3)), nullptr);
    QVERIFY(!items.at(3)->isEnabled());
    LogCapture log;
    items.at(3)->trigger();
    QVERIFY(log.lines().isEmpty());
    // The copied submenu goes with the copy.
    QPointer<QMenu> submenuCopy = copiedSubmenu;
    copy.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!submenuCopy);
}

void tst_TriskVXPlatformMenus::automaticEnabling_data()
{
    QTest::addColumn<bool>("validating");
    QTest::addColumn<QString>("selector");
    QTest::addColumn<bool>("withTarget");
    QTest::addColumn<bool>("answer");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("no action") << false << QString() << true << true << false;
    QTest::newRow("no target") << false << u"cancel:"_s << false << true << false;
    QTest::newRow("target has the action") << false << u"cancel:"_s << true << true << true;
    QTest::newRow("target lacks the action") << false << u"frobnicate:"_s << true << true << false;
    QTest::newRow("validator says yes") << true << u"frobnicate:"_s << true << true << true;
    QTest::newRow("validator says no") << true << u"cancel:"_s << true << false << false;
}

void tst_TriskVXPlatformMenus::automaticEnabling()
{
    QFETCH(bool, validating);
    QFETCH(QString, selector);
    QFETCH(bool, withTarget);
    QFETCH(bool, answer);
    QFETCH(bool, enabled);
    std::unique_ptr<Target> target(validating ? new ValidatingTarget : new Target);
    target->answer = answer;
    QMenu menu;
    QAction *item
        = TriskVXMenuItem::itemWithTitleActionTarget(u"Item"_s, selector, withTarget ? target.get() : nullptr, &menu);
    item->setEnabled(!enabled);
    menu.addAction(item);
    QAction *holder = menu.addMenu(new QMenu(&menu));
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

void tst_TriskVXPlatformMenus::alternates_data()
{
    QTest::addColumn<bool>("showAll");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<QStringList>("lines");
    const QStringList primaries { u"In 10"_s, u"A"_s, u"B"_s, u"-"_s, u"C"_s, u"Label"_s };
    QTest::newRow("none") << false << int(Qt::NoModifier) << primaries;
    QTest::newRow("Alt") << false << int(Qt::AltModifier)
                         << QStringList { u"In 30"_s, u"A Alt"_s, u"B"_s, u"-"_s, u"C"_s, u"Label"_s };
    QTest::newRow("Shift") << false << int(Qt::ShiftModifier)
                           << QStringList { u"In 10"_s, u"A"_s, u"B Shift"_s, u"-"_s, u"C"_s, u"Label"_s };
    QTest::newRow("Control") << false << int(Qt::ControlModifier)
                             << QStringList { u"In 10"_s, u"A"_s, u"B"_s, u"-"_s, u"C Control"_s, u"Label"_s };
    // Only the exact keys of an alternate show it; keys that change nothing in a menu are left out.
    QTest::newRow("Alt+Shift") << false << int(Qt::AltModifier | Qt::ShiftModifier) << primaries;
    QTest::newRow("Keypad") << false << int(Qt::KeypadModifier) << primaries;
    // Every choice that does something, whatever the keys; a group of mere labels goes, a lone one stays.
    QTest::newRow("show all") << true << int(Qt::AltModifier)
                              << QStringList { u"A"_s, u"A Alt"_s, u"B"_s,         u"B Shift"_s,
                                               u"-"_s, u"C"_s,     u"C Control"_s, u"Label"_s };
}

void tst_TriskVXPlatformMenus::alternates()
{
    QFETCH(bool, showAll);
    QFETCH(int, modifiers);
    QFETCH(QStringList, lines);
    QMenu menu;
    auto add = [&menu](const QString &title, const QString &selector, quint64 alternateMask) {
        QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(title, selector, nullptr, &menu);
        TriskVXMenuItem::setAlternate(item, alternateMask != 0);
        TriskVXMenuItem::setKeyEquivalentModifierMask(item, alternateMask);
        menu.addAction(item);
    };
    add(u"In 10"_s, QString(), 0);
    add(u"In 30"_s, QString(), TriskVXMenuItem::kOptionKeyMask);
    add(u"A"_s, u"cancel:"_s, 0);
    add(u"A Alt"_s, u"cancel:"_s, TriskVXMenuItem::kOptionKeyMask);
    add(u"B"_s, u"cancel:"_s, 0);
    add(u"B Shift"_s, u"cancel:"_s, TriskVXMenuItem::kShiftKeyMask);
    menu.addAction(TriskVXMenuItem::separatorItem(&menu));
    add(u"C"_s, u"cancel:"_s, 0);
    add(u"C Control"_s, u"cancel:"_s, TriskVXMenuItem::kControlKeyMask);
    add(u"Label"_s, QString(), 0);
    TriskVXMenuAlternates *alternates = TriskVXMenuAlternates::install(&menu);
    QCOMPARE(TriskVXMenuAlternates::install(&menu), alternates);
    if (showAll)
        alternates->setPresentation(TriskVXMenuAlternates::ShowAll);
    alternates->applyModifiers(Qt::KeyboardModifiers(modifiers));
    QCOMPARE(visibleTitles(menu), lines);
}

QTEST_MAIN(tst_TriskVXPlatformMenus)
#include "tst_TriskVXPlatformMenus.moc"
