#include "TriskVXImageIconEngine.h"
#include "TriskVXPngEncoder.h"

#include <QBuffer>
#include <QPainter>
#include <QTest>

// The status menu's pictures leave through an own icon engine and an own PNG encoder: what reaches the
// menu's host must be what the shared Qt code would have made of the same picture, byte for byte.
class tst_MenuPictures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameAsQt_data()
    {
        QTest::addColumn<QImage>("image");
        QImage opaque(14, 14, QImage::Format_RGB32);
        opaque.fill(QColor(12, 200, 90));
        QImage translucent(32, 32, QImage::Format_ARGB32);
        translucent.fill(Qt::transparent);
        QPainter painter(&translucent);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(QColor(200, 40, 10, 170));
        painter.drawEllipse(QRect(3, 5, 24, 20));
        painter.end();
        translucent.setText(QStringLiteral("TriskVXTemplate"), QStringLiteral("1"));
        QTest::newRow("opaque, drawn as is") << opaque;
        QTest::newRow("half transparent with a text key, scaled down") << translucent;
        QTest::newRow("premultiplied, wider than high")
            << translucent.scaled(30, 12).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }

    void sameAsQt()
    {
        QFETCH(QImage, image);
        const QImage ours = TriskVXImageIconEngine::iconWithImage(image).pixmap(QSize(16, 16)).toImage();
        const QImage shared = QIcon(QPixmap::fromImage(image)).pixmap(QSize(16, 16)).toImage();
        QCOMPARE(ours, shared);
        QByteArray expected;
        QBuffer buffer(&expected);
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(shared.save(&buffer, "PNG"));
        QCOMPARE(TriskVXPngEncoder::encode(ours), expected);
    }
};

QTEST_MAIN(tst_MenuPictures)
#include "tst_MenuPictures.moc"
