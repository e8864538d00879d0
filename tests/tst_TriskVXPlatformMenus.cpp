// Interface files and menu items where the panels' and the status menu's tests do not reach them.
#include "LogCapture.h"
#include "TriskVXMenuItem.h"
#include "TriskVXNibLoader.h"

#include <QAction>
#include <QFile>
#include <QFormLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
// A target as the notifiers are: actions are slots taking the sender.
class Target : public QObject
{
    Q_OBJECT

public:
    QList<QObject *> senders;

public Q_SLOTS:
    void cancel(QObject *sender) { senders.append(sender); }
};
} // namespace

class tst_TriskVXPlatformMenus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void interfaceFiles();
    void menuItems();
};

void tst_TriskVXPlatformMenus::interfaceFiles()
{
    QTemporaryDir folder;
    Target owner;
    QString error;
    // Each file written is loaded at once, so one path serves them all.
    const QString path = folder.filePath(u"Panel.ui"_s);
    const auto load = [&](const QByteArray &contents) -> QWidget * {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
            return nullptr;
        file.close();
        return TriskVXNibLoader::load(path, &owner, nullptr, &error);
    };
    LogCapture log;
    std::unique_ptr<QWidget> root(load(R"(<ui version="4.0"><widget class="QWidget" name="panel">
 <widget class="QPushButton" name="cancelButton"><property name="action" stdset="0"><string>cancel:</string></property>
  <property name="tag" stdset="0"><number>7</number></property></widget>
 <widget class="QPushButton" name="strayButton"><property name="action" stdset="0"><string>explode:</string></property>
 </widget></widget></ui>)"));
    QVERIFY2(root, qPrintable(error));
    // An action the owner lacks is said when the file is loaded, not when it is used.
    QCOMPARE(log.messages("trisk.platform").filter(u"explode:"_s).size(), 1);
    auto *cancel = qobject_cast<QPushButton *>(TriskVXNibLoader::outlet(root.get(), u"cancelButton"_s));
    QVERIFY(cancel);
    QCOMPARE(TriskVXNibLoader::tagOf(cancel), 7);

    root.reset(load(R"(<ui version="4.0"><class>Form</class><widget class="QWidget" name="form">
 <property name="geometry"><rect><x>40</x><y>50</y><width>300</width><height>120</height></rect></property>
 <layout class="QFormLayout" name="formLayout"><property name="leftMargin"><number>7</number></property>
  <property name="labelAlignment"><set>Qt::AlignRight|Qt::AlignVCenter</set></property>
  <item row="0" column="0"><widget class="QLabel" name="label"><property name="buddy"><cstring>field</cstring></property>
   <property name="textFormat"><enum>Qt::PlainText</enum></property>
   <property name="palette"><palette><inactive><colorrole role="WindowText"><brush brushstyle="SolidPattern">
    <color alpha="255"><red>29</red><green>33</green><blue>38</blue></color></brush></colorrole></inactive></palette>
   </property></widget></item>
  <item row="0" column="1"><widget class="QComboBox" name="field"/></item>
 </layout>
 <action name="heading"><property name="font"><font><bold>true</bold></font></property></action></widget></ui>)"));
    QVERIFY2(root, qPrintable(error));
    // The top widget takes the size of its geometry, not its place.
    QCOMPARE(root->size(), QSize(300, 120));
    QCOMPARE(root->pos(), QPoint(0, 0));
    auto *layout = qobject_cast<QFormLayout *>(root->layout());
    QVERIFY(layout);
    QCOMPARE(layout->contentsMargins().left(), 7);
    QCOMPARE(layout->labelAlignment(), Qt::AlignRight | Qt::AlignVCenter);
    auto *label = root->findChild<QLabel *>(u"label"_s);
    QCOMPARE(layout->itemAt(0, QFormLayout::FieldRole)->widget(), label->buddy());
    QCOMPARE(label->textFormat(), Qt::PlainText);
    // A palette sets the roles and groups it names; the rest follows the parent.
    QCOMPARE(label->palette().color(QPalette::Inactive, QPalette::WindowText), QColor(29, 33, 38));
    QCOMPARE(label->palette().color(QPalette::Active, QPalette::WindowText),
             root->palette().color(QPalette::Active, QPalette::WindowText));
    QVERIFY(root->findChild<QAction *>(u"heading"_s)->font().bold());

    // Neither a missing file, nor one that is no interface, nor one asking for what the builder does not
    // make loads; each says why.
    QVERIFY(!TriskVXNibLoader::load(folder.filePath(u"Missing.ui"_s), &owner, nullptr, &error));
    QVERIFY2(error.startsWith(u"cannot read"_s), qPrintable(error));
    QVERIFY(!load("hello"));
    QVERIFY2(error.contains(u"is not an interface file"_s), qPrintable(error));
    QVERIFY(!load(R"(<ui version="4.0"><widget class="QWidget" name="w"><widget class="QCalendarWidget" name="c"/>
 </widget></ui>)"));
    QVERIFY2(error.contains(u"no widget of the kind QCalendarWidget"_s), qPrintable(error));
    QVERIFY(!load(R"(<ui version="4.0"><widget class="QFrame" name="w"><property name="palette"><palette><active>
 <colorrole role="Window"><brush brushstyle="LinearGradientPattern"/></colorrole></active></palette></property>
 </widget></ui>)"));
    QVERIFY2(error.contains(u"solid brush"_s), qPrintable(error));
}

void tst_TriskVXPlatformMenus::menuItems()
{
    Target target;
    QMenu menu;
    QAction *item = TriskVXMenuItem::itemWithTitleActionTarget(u"Back up & sleep"_s, u"cancel:"_s, &target, &menu);
    // Setting target and action again does not make the item send twice.
    TriskVXMenuItem::setTargetAction(item, &target, u"cancel:"_s);
    item->trigger();
    auto gone = std::make_unique<Target>();
    menu.addActions({ item, TriskVXMenuItem::itemWithTitleActionTarget(u"Odd"_s, u"frobnicate:"_s, &target, &menu),
                      TriskVXMenuItem::itemWithTitleActionTarget(u"Orphan"_s, u"cancel:"_s, gone.get(), &menu) });
    gone.reset();
    auto *submenu = new QMenu(&menu);
    submenu->addAction(TriskVXMenuItem::itemWithTitleActionTarget(u"Inner"_s, u"cancel:"_s, &target, submenu));
    menu.addMenu(submenu);
    TriskVXMenuItem::setAutoenablesItems(&menu, false);

    std::unique_ptr<QMenu> copy(TriskVXMenuItem::copyMenu(&menu));
    const QList<QAction *> items = copy->actions();
    // The title is shown as it is: an "&" is no mnemonic.
    QCOMPARE(items.at(0)->text(), u"Back up && sleep"_s);
    QCOMPARE(TriskVXMenuItem::title(items.at(0)), u"Back up & sleep"_s);
    QPointer<QMenu> copiedSubmenu = items.at(3)->menu();
    QVERIFY(copiedSubmenu && copiedSubmenu != submenu);
    // The copies send as the template does; an action the target lacks is said and sent nowhere, and an
    // item whose target is gone sends nothing.
    LogCapture log;
    for (QAction *each : items)
        each->trigger();
    copiedSubmenu->actions().first()->trigger();
    QCOMPARE(target.senders, (QList<QObject *> { item, items.at(0), copiedSubmenu->actions().first() }));
    QCOMPARE(log.messages("trisk.platform").size(), 1);
    QVERIFY(log.messages("trisk.platform").first().contains(u"frobnicate:"_s));
    // Automatic enabling is off in the copy as in the template; on, an item is enabled when its target has
    // its action, and one holding a submenu always.
    items.at(0)->setEnabled(false);
    TriskVXMenuItem::validateMenu(copy.get());
    QVERIFY(!items.at(0)->isEnabled());
    TriskVXMenuItem::setAutoenablesItems(copy.get(), true);
    TriskVXMenuItem::validateMenu(copy.get());
    QList<bool> enabled;
    for (const QAction *each : items)
        enabled.append(each->isEnabled());
    QCOMPARE(enabled, QList<bool>({ true, false, false, true }));
    copy.reset();
    QVERIFY(!copiedSubmenu);
}

QTEST_MAIN(tst_TriskVXPlatformMenus)
#include "tst_TriskVXPlatformMenus.moc"
