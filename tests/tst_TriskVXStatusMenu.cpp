#include "AssertionOf.h"
#include "TriskVXClock.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenu.h"

#include <QApplication>
#include <QFile>
#include <QFontMetricsF>
#include <QTemporaryDir>
#include <QTest>

namespace {
// Subclasses as the real notifiers will be: an interface of their own in the resource folder.
class PanelMenu : public TriskVXStatusMenu
{
    Q_OBJECT

public:
    QSet<QString> observes() const override { return {}; }
};

// Its interface has no templateMenu.
class UnwiredMenu : public TriskVXStatusMenu
{
    Q_OBJECT

public:
    QSet<QString> observes() const override { return {}; }
};
} // namespace

// Part 2.1 on a bar and clock of the test's own.
class tst_TriskVXStatusMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void suitableEventName_data();
    void suitableEventName();
    void statusImageSizeFollowsTheBar_data();
    void statusImageSizeFollowsTheBar();
    void initialisationMakesAHighlightedItemWithAnEmptyTitle();
    void hideRemovesTheItemAndShowMakesANewOne();
    void settingTheSameItemKeepsItInTheBar();
    void templateMenuMustBeConnected();

private:
    std::unique_ptr<PanelMenu> makeMenu(double thickness = 22.0);

    TriskVXClock *m_clock = nullptr;
    TriskVXStatusBar *m_bar = nullptr;
};

void tst_TriskVXStatusMenu::init()
{
    m_clock = new TriskVXClock;
    m_bar = new TriskVXStatusBar;
}

void tst_TriskVXStatusMenu::cleanup()
{
    delete m_bar;
    delete m_clock;
}

std::unique_ptr<PanelMenu> tst_TriskVXStatusMenu::makeMenu(double thickness)
{
    m_bar->setThickness(thickness);
    auto menu = std::make_unique<PanelMenu>();
    menu->setStatusBar(m_bar);
    menu->setClock(m_clock);
    if (!menu->initWithObserverRequests(nullptr, nullptr))
        return nullptr;
    return menu;
}

void tst_TriskVXStatusMenu::suitableEventName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    const QString sixtyFour(64, QLatin1Char('a'));
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("short") << QStringLiteral("Nightly shutdown") << QStringLiteral("Nightly shutdown");
    QTest::newRow("64 unchanged") << sixtyFour << sixtyFour;
    QTest::newRow("65 cut") << sixtyFour + QLatin1Char('b') << sixtyFour + QChar(0x2026);
    QTest::newRow("200 cut") << QString(200, QLatin1Char('c')) << QString(64, QLatin1Char('c')) + QChar(0x2026);
}

void tst_TriskVXStatusMenu::suitableEventName()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    QCOMPARE(TriskVXStatusMenu::menuItemSuitableEventName(name), expected);
}

void tst_TriskVXStatusMenu::statusImageSizeFollowsTheBar_data()
{
    QTest::addColumn<double>("thickness");
    QTest::addColumn<double>("expected");
    QTest::newRow("22") << 22.0 << 17.0;
    QTest::newRow("24") << 24.0 << 19.0;
    QTest::newRow("30") << 30.0 << 24.0;
}

void tst_TriskVXStatusMenu::statusImageSizeFollowsTheBar()
{
    QFETCH(double, thickness);
    QFETCH(double, expected);
    auto menu = makeMenu(thickness);
    QVERIFY(menu);
    QCOMPARE(menu->imageSizeForMenuStatus(), expected);
    const double fontHeight = QFontMetricsF(m_bar->menuBarFontOfSize(0.0)).size(0, QStringLiteral("A")).height();
    QCOMPARE(menu->imageSizeForMenuItem(), fontHeight);
    QVERIFY(menu->imageSizeForMenuItem() > 0.0);
}

void tst_TriskVXStatusMenu::initialisationMakesAHighlightedItemWithAnEmptyTitle()
{
    auto menu = makeMenu();
    QVERIFY(menu);
    QVERIFY(menu->templateMenu());
    QVERIFY(menu->workspace());
    QVERIFY(menu->isVisible());
    QVERIFY(menu->statusItem());
    QCOMPARE(m_bar->items(), QList<TriskVXStatusItem *> { menu->statusItem() });
    QVERIFY(menu->statusItem()->highlightMode());
    QVERIFY(menu->resize());
    QCOMPARE(menu->resize()->statusItem(), menu->statusItem());
    QCOMPARE(menu->statusItem()->title(), QString());
    // The empty title asks for 1.1 thicknesses.
    QVERIFY(qFuzzyCompare(menu->resize()->targetLength(), 24.2));
}

void tst_TriskVXStatusMenu::hideRemovesTheItemAndShowMakesANewOne()
{
    auto menu = makeMenu();
    QVERIFY(menu);
    QPointer<TriskVXStatusItem> first = menu->statusItem();
    QPointer<TriskVXStatusMenuResize> firstResize = menu->resize();
    menu->statusItem()->setHighlightMode(false);
    menu->hide();
    QVERIFY(!menu->statusItem());
    QVERIFY(!menu->resize());
    QVERIFY(!firstResize);
    QVERIFY(m_bar->items().isEmpty());
    menu->show();
    QVERIFY(menu->statusItem());
    QVERIFY(menu->statusItem() != first.data() || !first);
    QCOMPARE(m_bar->items().size(), 1);
    QVERIFY(menu->statusItem()->highlightMode());
    QVERIFY(menu->resize());
    QCOMPARE(menu->resize()->statusItem(), menu->statusItem());
    QCOMPARE(menu->statusItem()->title(), QString());
    // A second didShow with item and resize in place changes nothing.
    TriskVXStatusItem *second = menu->statusItem();
    TriskVXStatusMenuResize *secondResize = menu->resize();
    menu->didShow();
    QCOMPARE(menu->statusItem(), second);
    QCOMPARE(menu->resize(), secondResize);
    QCOMPARE(m_bar->items().size(), 1);
}

void tst_TriskVXStatusMenu::settingTheSameItemKeepsItInTheBar()
{
    auto menu = makeMenu();
    QVERIFY(menu);
    TriskVXStatusItem *item = menu->statusItem();
    menu->setStatusItem(item);
    QCOMPARE(menu->statusItem(), item);
    QCOMPARE(m_bar->items(), QList<TriskVXStatusItem *> { item });
    // A different one takes the old one out of the bar.
    TriskVXStatusItem *other = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
    menu->setStatusItem(other);
    QCOMPARE(m_bar->items(), QList<TriskVXStatusItem *> { other });
    menu.reset();
    QVERIFY(m_bar->items().isEmpty());
}

void tst_TriskVXStatusMenu::templateMenuMustBeConnected()
{
    UnwiredMenu menu;
    menu.setStatusBar(m_bar);
    menu.setClock(m_clock);
    QCOMPARE(assertionOf([&] {
                 menu.initWithObserverRequests(nullptr, nullptr);
             }),
             QStringLiteral("TriskVXStatusMenu|UnwiredMenu's templateMenu must be connected"));
    QVERIFY(m_bar->items().isEmpty());
}

namespace {
void writeFile(const QTemporaryDir &folder, const QString &name, const QByteArray &contents)
{
    QFile file(folder.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}
} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir resources;
    writeFile(resources, QStringLiteral("Info.plist"), "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
    writeFile(resources, QStringLiteral("PanelMenu.ui"),
              "<?xml version=\"1.0\"?><ui version=\"4.0\"><widget class=\"QWidget\" name=\"owner\">"
              "<widget class=\"QMenu\" name=\"templateMenu\"/></widget></ui>");
    writeFile(resources, QStringLiteral("UnwiredMenu.ui"),
              "<?xml version=\"1.0\"?><ui version=\"4.0\"><widget class=\"QWidget\" name=\"owner\">"
              "<widget class=\"QPushButton\" name=\"cancelButton\"/></widget></ui>");
    qputenv("TRISK_RESOURCES", resources.path().toUtf8());
    QApplication application(argc, argv);
    tst_TriskVXStatusMenu test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TriskVXStatusMenu.moc"
