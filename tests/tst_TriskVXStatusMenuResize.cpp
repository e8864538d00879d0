#include "AssertionOf.h"
#include "TriskVXClock.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusMenuResize.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QTest>
#include <QTimeZone>
#include <QTimer>

namespace {
const QDateTime kStart(QDate(2030, 1, 1), QTime(12, 0), QTimeZone::utc());
}

// Part 2.2 on a bar and a clock of the test's own: the steps run when the test calls them.
class tst_TriskVXStatusMenuResize : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void needsAnItem();
    void startsAtZeroAndGrows();
    void emptyItemIsOnePointOneThicknessesWide();
    void imageTitleAndSpacer_data();
    void imageTitleAndSpacer();
    void sameTitleTwiceStartsNoSecondTransition();
    void changeHalfwayKeepsTheTimerAndLandsOneSecondLater();
    void variableLengthStartsFromTheViewWidth();
    void statusBarItems();

private:
    TriskVXClock *m_clock = nullptr;
    TriskVXStatusBar *m_bar = nullptr;
    TriskVXStatusItem *m_item = nullptr;
};

void tst_TriskVXStatusMenuResize::init()
{
    m_clock = new TriskVXClock;
    m_clock->setNow(kStart);
    m_bar = new TriskVXStatusBar;
    m_bar->setThickness(22.0);
    m_item = m_bar->statusItemWithLength(TriskVXStatusItem::kVariableLength);
}

void tst_TriskVXStatusMenuResize::cleanup()
{
    delete m_bar;
    delete m_clock;
}

void tst_TriskVXStatusMenuResize::needsAnItem()
{
    QCOMPARE(assertionOf([this] {
                 TriskVXStatusMenuResize::statusResizeWithStatusItem(nullptr, m_clock, m_bar);
             }),
             QStringLiteral("TriskVXStatusMenuResize|Invalid parameter not satisfying: item != nil"));
}

void tst_TriskVXStatusMenuResize::startsAtZeroAndGrows()
{
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    QCOMPARE(m_item->length(), 0.0);
    QVERIFY(resize->timer() && resize->timer()->isActive());
    QCOMPARE(resize->timer()->interval(), TriskVXStatusMenuResize::kStepMSecs);
    resize->adjustWidth();
    QCOMPARE(m_item->length(), resize->targetLength() / 2);
}

void tst_TriskVXStatusMenuResize::emptyItemIsOnePointOneThicknessesWide()
{
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    resize->setTitle(QString());
    QVERIFY(qFuzzyCompare(resize->targetLength(), 24.2));
}

void tst_TriskVXStatusMenuResize::imageTitleAndSpacer_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("spacer");
    QTest::newRow("count-down") << QStringLiteral("5:00") << true;
    QTest::newRow("empty title: no spacer") << QString() << false;
}

void tst_TriskVXStatusMenuResize::imageTitleAndSpacer()
{
    QFETCH(QString, title);
    QFETCH(bool, spacer);
    QImage image(17, 17, QImage::Format_ARGB32);
    image.fill(Qt::black);
    m_item->setImage(image);
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    resize->setTitle(title);
    const QFontMetricsF metrics(m_bar->menuBarFontOfSize(0.0));
    const double expected
        = 24.2 + metrics.horizontalAdvance(title) + (spacer ? metrics.horizontalAdvance(QStringLiteral("  ")) : 0.0);
    QVERIFY2(qFuzzyCompare(resize->targetLength(), expected), qPrintable(QString::number(resize->targetLength())));
    // The title is set at once, with the bar's font.
    QCOMPARE(m_item->title(), title);
    QCOMPARE(m_item->titleFont(), m_bar->menuBarFontOfSize(0.0));
}

void tst_TriskVXStatusMenuResize::sameTitleTwiceStartsNoSecondTransition()
{
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    resize->setTitle(QStringLiteral("4:59"));
    const QDateTime deadline = resize->endTime();
    QTimer *timer = resize->timer();
    m_clock->advance(400);
    resize->setTitle(QStringLiteral("4:59"));
    QCOMPARE(resize->endTime(), deadline);
    QCOMPARE(resize->timer(), timer);
}

void tst_TriskVXStatusMenuResize::changeHalfwayKeepsTheTimerAndLandsOneSecondLater()
{
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    resize->setTitle(QStringLiteral("10:00"));
    QTimer *timer = resize->timer();
    for (int step = 0; step < 6; ++step) {
        m_clock->advance(TriskVXStatusMenuResize::kStepMSecs);
        resize->adjustWidth();
    }
    resize->setTitle(QStringLiteral("9:59:59"));
    QCOMPARE(resize->timer(), timer);
    const double target = resize->targetLength();
    const QDateTime lastChange = m_clock->now();
    QCOMPARE(resize->endTime(), lastChange.addSecs(1));
    // Steps until the second is over ease toward the target without reaching it exactly.
    while (m_clock->now().msecsTo(lastChange.addSecs(1)) >= TriskVXStatusMenuResize::kStepMSecs) {
        m_clock->advance(TriskVXStatusMenuResize::kStepMSecs);
        resize->adjustWidth();
        QVERIFY(resize->timer());
    }
    QVERIFY(m_item->length() != target);
    m_clock->setNow(lastChange.addMSecs(1001));
    resize->adjustWidth();
    QCOMPARE(m_item->length(), target);
    QVERIFY(!resize->timer());
}

void tst_TriskVXStatusMenuResize::variableLengthStartsFromTheViewWidth()
{
    std::unique_ptr<TriskVXStatusMenuResize> resize(
        TriskVXStatusMenuResize::statusResizeWithStatusItem(m_item, m_clock, m_bar));
    resize->setTitle(QStringLiteral("1:00"));
    m_item->setLength(TriskVXStatusItem::kVariableLength);
    m_item->setViewWidth(40.0);
    resize->adjustWidth();
    QCOMPARE(m_item->length(), 40.0 + (resize->targetLength() - 40.0) * 0.5);
}

void tst_TriskVXStatusMenuResize::statusBarItems()
{
    QCOMPARE(m_bar->items(), QList<TriskVXStatusItem *> { m_item });
    QCOMPARE(m_item->length(), TriskVXStatusItem::kVariableLength);
    m_bar->removeStatusItem(m_item);
    QVERIFY(m_bar->items().isEmpty());
    // Removing what is not there is nothing.
    m_bar->removeStatusItem(m_item);
    m_bar->removeStatusItem(nullptr);
    QCOMPARE(TriskVXStatusBar::systemStatusBar()->thickness(), TriskVXStatusBar::kDefaultThickness);
}

QTEST_MAIN(tst_TriskVXStatusMenuResize)
#include "tst_TriskVXStatusMenuResize.moc"
