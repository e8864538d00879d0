#include "TriskVXCountDownIconPainter.h"
#include "TriskVXDesktopStatusBar.h"
#include "TriskVXStatusBar.h"
#include "TriskVXStatusItem.h"
#include "TriskVXStatusNotifierItem.h"
#include "TriskVXUserDefaults.h"

#include <QApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
const int kWait = 5000;
const QStringList kTexts { u"42"_s, u"41"_s, u"5m"_s, u"2h"_s };

// The rectangle of the characters' ink: light pixels on the opaque dark plate.
QRect inkOf(const QImage &image)
{
    QRect ink;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() == 255 && pixel.lightness() > 160)
                ink |= QRect(x, y, 1, 1);
        }
    }
    return ink;
}
} // namespace

class tst_CountDownInIcon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void digitsAtPanelSizes_data();
    void digitsAtPanelSizes();
    void hostDecidesWhereTheCountDownGoes_data();
    void hostDecidesWhereTheCountDownGoes();
};

void tst_CountDownInIcon::digitsAtPanelSizes_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("small panel") << 16;
    QTest::newRow("large panel") << 48;
}

void tst_CountDownInIcon::digitsAtPanelSizes()
{
    QFETCH(int, size);
    const TriskVXCountDownIconPainter painter(Qt::black, Qt::white);
    QList<QImage> images;
    for (const QString &text : kTexts) {
        const QImage image = painter.imageForText(text, size);
        QCOMPARE(image.size(), QSize(size, size));
        const QRect ink = inkOf(image);
        QVERIFY2(ink.height() >= size / 2 && ink.width() >= size / 3, qPrintable(text));
        QVERIFY2(ink.left() >= 1 && ink.top() >= 1 && ink.right() <= size - 2 && ink.bottom() <= size - 2,
                 qPrintable(text));
        for (const QImage &other : std::as_const(images))
            QVERIFY2(image != other, qPrintable(text));
        images.append(image);
        // Drawing at every tick would cost a panel redraw each second.
        QCOMPARE(painter.imageForText(text, size).cacheKey(), image.cacheKey());
    }
    QVERIFY(painter.imageForText(QString(), size).isNull());
}

void tst_CountDownInIcon::hostDecidesWhereTheCountDownGoes_data()
{
    QTest::addColumn<QString>("host");
    // The user default, as the command line gives it (-StatusItemCountDownInIcon NO); empty for none.
    QTest::addColumn<QString>("preference");
    QTest::addColumn<bool>("drawn");
    QTest::newRow("GNOME's extension shows labels") << u"gnome-shell"_s << QString() << false;
    // The kernel keeps 15 characters of the name: the cut name is still known.
    QTest::newRow("indicator service, name cut") << u"ayatana-indicator-application-service"_s << QString() << false;
    QTest::newRow("xfce4-panel's tray draws") << u"xfce4-panel"_s << QString() << true;
    QTest::newRow("forced into the icon") << u"gnome-shell"_s << u"YES"_s << true;
    QTest::newRow("forced into the label") << u"lxqt-panel"_s << u"NO"_s << false;
}

void tst_CountDownInIcon::hostDecidesWhereTheCountDownGoes()
{
    QFETCH(QString, host);
    QFETCH(QString, preference);
    QFETCH(bool, drawn);
    TriskVXUserDefaults *defaults = TriskVXUserDefaults::standardUserDefaults();
    if (preference.isEmpty())
        defaults->removeObjectForKey(TriskVXDesktopStatusBar::kCountDownInIconKey);
    else
        defaults->setObjectForKey(preference, TriskVXDesktopStatusBar::kCountDownInIconKey);
    QProcess panel;
    panel.start(QStringLiteral(FAKE_PANEL_HOST_PATH), { host });
    QVERIFY(panel.waitForReadyRead(kWait));
    QCOMPARE(panel.readAll().trimmed(), QByteArray("ready"));

    TriskVXStatusBar bar;
    TriskVXStatusItem *item = bar.statusItemWithLength(TriskVXStatusItem::kVariableLength);
    QImage picture(16, 16, QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::black);
    item->setImage(picture);
    item->setIconName(u"trisk-notifier-none-symbolic"_s);
    TriskVXDesktopStatusBar desktop(&bar, QDBusConnection::sessionBus());
    QSignalSpy identified(&desktop, &TriskVXDesktopStatusBar::hostIdentified);
    QVERIFY(identified.wait(kWait));
    QCOMPARE(desktop.hostProcessNames().value(0), host.left(15));
    TriskVXStatusNotifierItem *exported = desktop.statusNotifierItem(item);
    QVERIFY(exported);
    QSignalSpy newIcon(exported, &TriskVXStatusNotifierItem::NewIcon);

    QCOMPARE(exported->iconName(), u"trisk-notifier-none-symbolic"_s);
    QCOMPARE(exported->iconPixmap().size(), 1);
    item->setImageText(u"42"_s);
    QCOMPARE(exported->iconName(), drawn ? QString() : u"trisk-notifier-none-symbolic"_s);
    QCOMPARE(exported->iconPixmap().size(), drawn ? TriskVXCountDownIconPainter::kSizes.size() : 1);
    // A host re-reads every picture at each NewIcon: only a new text may send one.
    item->setToolTip(u"Next: Nap, 10:00 (in 0:42)"_s);
    item->setImageText(u"41"_s);
    QCOMPARE(newIcon.size(), drawn ? 2 : 0);
}

QTEST_MAIN(tst_CountDownInIcon)
#include "tst_CountDownInIcon.moc"
