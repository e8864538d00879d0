#include "TriskVXConstants.h"
#include "TriskVXIImageAssistant.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

class tst_TriskVXIImageAssistant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identifiersForEvents_data();
    void identifiersForEvents();
    void everyBuiltInImageDraws();
    void scaledToFit_data();
    void scaledToFit();
    void templateImagesAreMonochrome();
    void disabledVariationIsFaint();
    void tinting();
    void imageFiles();
    void unknownIdentifiers_data();
    void unknownIdentifiers();
    void builtInNamesInHostOrPath();
    void templateFlag();
};

void tst_TriskVXIImageAssistant::identifiersForEvents_data()
{
    QTest::addColumn<QVariant>("event");
    QTest::addColumn<QUrl>("identifier");
    QTest::newRow("nil event") << QVariant() << QUrl();
    QTest::newRow("not a dictionary") << QVariant(QStringLiteral("x")) << QUrl();
    QTest::newRow("no image") << QVariant(QVariantMap { { kVXEventName, QStringLiteral("E") } })
                              << QUrl(QStringLiteral("halvane-image:event"));
    QTest::newRow("built-in image") << QVariant(QVariantMap { { kVXEventImage, QStringLiteral("sleep") } })
                                    << QUrl(QStringLiteral("halvane-image:sleep"));
    QTest::newRow("unknown image name") << QVariant(QVariantMap { { kVXEventImage, QStringLiteral("rocket") } })
                                        << QUrl(QStringLiteral("halvane-image:event"));
    QTest::newRow("file") << QVariant(QVariantMap { { kVXEventImage, QStringLiteral("/usr/share/pixmaps/x.png") } })
                          << QUrl::fromLocalFile(QStringLiteral("/usr/share/pixmaps/x.png"));
}

void tst_TriskVXIImageAssistant::identifiersForEvents()
{
    QFETCH(QVariant, event);
    QFETCH(QUrl, identifier);
    QCOMPARE(TriskVXIImageAssistant::imageAssistant()->UIIdentifierForEvent(event), identifier);
}

void tst_TriskVXIImageAssistant::everyBuiltInImageDraws()
{
    for (const QString &name : TriskVXIImageAssistant::builtInImageNames()) {
        const QUrl identifier = TriskVXIImageAssistant::UIIdentifierForElementImage(name);
        QCOMPARE(identifier.scheme(), TriskVXIImageAssistantSchemeBuiltIn);
        QVERIFY(TriskVXIImageAssistant::isBuiltIn(identifier));
        const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
            identifier, QSizeF(16, 16), TriskVXIImageAssistantVariationNone);
        QVERIFY2(!image.isNull(), qPrintable(name));
        bool drawn = false;
        for (int y = 0; y < image.height() && !drawn; ++y)
            for (int x = 0; x < image.width() && !drawn; ++x)
                drawn = qAlpha(image.pixel(x, y)) > 0;
        QVERIFY2(drawn, qPrintable(name));
    }
}

void tst_TriskVXIImageAssistant::scaledToFit_data()
{
    QTest::addColumn<QSizeF>("size");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<QSize>("pixels");
    QTest::newRow("menu size") << QSizeF(16, 16) << 1.0 << QSize(16, 16);
    QTest::newRow("panel size") << QSizeF(32, 32) << 1.0 << QSize(32, 32);
    QTest::newRow("wide box keeps the square") << QSizeF(40, 20) << 1.0 << QSize(20, 20);
    QTest::newRow("high density") << QSizeF(16, 16) << 2.0 << QSize(32, 32);
}

void tst_TriskVXIImageAssistant::scaledToFit()
{
    QFETCH(QSizeF, size);
    QFETCH(qreal, ratio);
    QFETCH(QSize, pixels);
    const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_ActionCog), size,
        TriskVXIImageAssistantVariationNone, ratio);
    QCOMPARE(image.size(), pixels);
    QCOMPARE(image.devicePixelRatio(), ratio);
}

void tst_TriskVXIImageAssistant::templateImagesAreMonochrome()
{
    const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped), QSizeF(24, 24),
        TriskVXIImageAssistantVariationNone);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            QCOMPARE(qRed(pixel) + qGreen(pixel) + qBlue(pixel), 0);
        }
}

void tst_TriskVXIImageAssistant::disabledVariationIsFaint()
{
    const QUrl identifier = TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped);
    const QImage normal = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        identifier, QSizeF(16, 16), TriskVXIImageAssistantVariationNone);
    const QImage disabled = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        identifier, QSizeF(16, 16), TriskVXIImageAssistantVariationDisabled);
    const QPoint centre(8, 8);
    QCOMPARE(qAlpha(normal.pixel(centre)), 255);
    QVERIFY(qAlpha(disabled.pixel(centre)) < 128);
    QVERIFY(qAlpha(disabled.pixel(centre)) > 0);
}

void tst_TriskVXIImageAssistant::tinting()
{
    const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped), QSizeF(16, 16),
        TriskVXIImageAssistantVariationNone);
    const QImage tinted = TriskVXIImageAssistant::tintedTemplateImage(image, QColor(Qt::white));
    QCOMPARE(tinted.size(), image.size());
    QCOMPARE(QColor(tinted.pixel(8, 8)), QColor(Qt::white));
    QCOMPARE(qAlpha(tinted.pixel(0, 0)), qAlpha(image.pixel(0, 0)));
}

void tst_TriskVXIImageAssistant::imageFiles()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("event.png"));
    QImage source(64, 32, QImage::Format_ARGB32);
    source.fill(Qt::red);
    QVERIFY(source.save(path));
    const QImage image = TriskVXIImageAssistant::imageAssistant()->imageForUIIdentifierScaleToFitVariation(
        QUrl::fromLocalFile(path), QSizeF(16, 16), TriskVXIImageAssistantVariationNone);
    QCOMPARE(image.size(), QSize(16, 8));
    QCOMPARE(QColor(image.pixel(4, 4)), QColor(Qt::red));
}

void tst_TriskVXIImageAssistant::unknownIdentifiers_data()
{
    QTest::addColumn<QUrl>("identifier");
    QTest::addColumn<QSizeF>("size");
    QTest::newRow("empty") << QUrl() << QSizeF(16, 16);
    QTest::newRow("unknown built-in") << QUrl(QStringLiteral("halvane-image:rocket")) << QSizeF(16, 16);
    QTest::newRow("web address") << QUrl(QStringLiteral("https://example.org/x.png")) << QSizeF(16, 16);
    QTest::newRow("missing file") << QUrl::fromLocalFile(QStringLiteral("/nonexistent.png")) << QSizeF(16, 16);
    QTest::newRow("empty size") << QUrl(QStringLiteral("halvane-image:none")) << QSizeF(0, 16);
}

void tst_TriskVXIImageAssistant::unknownIdentifiers()
{
    QFETCH(QUrl, identifier);
    QFETCH(QSizeF, size);
    QVERIFY(TriskVXIImageAssistant::imageAssistant()
                ->imageForUIIdentifierScaleToFitVariation(identifier, size, TriskVXIImageAssistantVariationNone)
                .isNull());
}

void tst_TriskVXIImageAssistant::builtInNamesInHostOrPath()
{
    TriskVXIImageAssistant *assistant = TriskVXIImageAssistant::imageAssistant();
    // The spec's "%@://%@" form names the image in the host; ours in the path. Both draw the same.
    const QUrl hostForm(QStringLiteral("halvane-image://stopped"));
    QCOMPARE(TriskVXIImageAssistant::builtInNameOf(hostForm), kVXElementImage_Stopped);
    QCOMPARE(TriskVXIImageAssistant::builtInNameOf(
                 TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_None)),
             kVXElementImage_None);
    const QImage fromHost = assistant->imageForUIIdentifierScaleToFitVariation(hostForm, QSizeF(16, 16),
                                                                               TriskVXIImageAssistantVariationNone);
    const QImage fromPath = assistant->imageForUIIdentifierScaleToFitVariation(
        TriskVXIImageAssistant::UIIdentifierForElementImage(kVXElementImage_Stopped), QSizeF(16, 16),
        TriskVXIImageAssistantVariationNone);
    QVERIFY(!fromHost.isNull());
    QCOMPARE(fromHost, fromPath);
    // A second call gives the same image (drawn once).
    QCOMPARE(
        assistant
            ->imageForUIIdentifierScaleToFitVariation(hostForm, QSizeF(16, 16), TriskVXIImageAssistantVariationNone)
            .cacheKey(),
        fromHost.cacheKey());
}

void tst_TriskVXIImageAssistant::templateFlag()
{
    QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    QVERIFY(!TriskVXIImageAssistant::isTemplate(image));
    TriskVXIImageAssistant::setTemplate(image, true);
    QVERIFY(TriskVXIImageAssistant::isTemplate(image));
    // It travels with copies and conversions that keep the text.
    const QImage copy = image.copy();
    QVERIFY(TriskVXIImageAssistant::isTemplate(copy));
    TriskVXIImageAssistant::setTemplate(image, false);
    QVERIFY(!TriskVXIImageAssistant::isTemplate(image));
    QImage none;
    TriskVXIImageAssistant::setTemplate(none, true);
    QVERIFY(!TriskVXIImageAssistant::isTemplate(none));
}

QTEST_MAIN(tst_TriskVXIImageAssistant)
#include "tst_TriskVXIImageAssistant.moc"
