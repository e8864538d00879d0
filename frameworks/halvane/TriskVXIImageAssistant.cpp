#include "TriskVXIImageAssistant.h"

#include "TriskVXConstants.h"

#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <QSvgRenderer>

namespace {
const QString kGenericEventImage = QStringLiteral("event");
// Disabled images are drawn faint, as menus draw disabled icons.
const qreal kDisabledOpacity = 0.35;

QString resourcePathOf(const QString &name)
{
    return QStringLiteral(":/halvane/images/%1.svg").arg(name);
}
} // namespace

TriskVXIImageAssistant *TriskVXIImageAssistant::imageAssistant()
{
    static TriskVXIImageAssistant assistant;
    return &assistant;
}

QStringList TriskVXIImageAssistant::builtInImageNames()
{
    return { kVXElementImage_None,    kVXElementImage_Stopped,     kVXElementImage_ActionCog,
             kGenericEventImage,      QStringLiteral("power-off"), QStringLiteral("restart"),
             QStringLiteral("sleep"), QStringLiteral("log-out") };
}

QUrl TriskVXIImageAssistant::UIIdentifierForElementImage(const QString &name)
{
    QUrl url;
    url.setScheme(TriskVXIImageAssistantSchemeBuiltIn);
    url.setPath(name);
    return url;
}

bool TriskVXIImageAssistant::isBuiltIn(const QUrl &identifier)
{
    return identifier.scheme() == TriskVXIImageAssistantSchemeBuiltIn;
}

QUrl TriskVXIImageAssistant::UIIdentifierForEvent(const QVariant &event) const
{
    if (event.typeId() != QMetaType::QVariantMap)
        return QUrl();
    const QString image = event.toMap().value(kVXEventImage).toString();
    if (builtInImageNames().contains(image))
        return UIIdentifierForElementImage(image);
    if (QFileInfo(image).isAbsolute())
        return QUrl::fromLocalFile(image);
    return UIIdentifierForElementImage(kGenericEventImage);
}

QImage TriskVXIImageAssistant::imageForUIIdentifierScaleToFitVariation(const QUrl &identifier, const QSizeF &size,
                                                                       const QString &variation,
                                                                       qreal devicePixelRatio) const
{
    const QSize pixels = (size * devicePixelRatio).toSize();
    if (pixels.isEmpty())
        return QImage();
    QImage image;
    if (isBuiltIn(identifier)) {
        if (!builtInImageNames().contains(identifier.path()))
            return QImage();
        QSvgRenderer renderer(resourcePathOf(identifier.path()));
        if (!renderer.isValid())
            return QImage();
        const QSize fitted = renderer.defaultSize().scaled(pixels, Qt::KeepAspectRatio);
        image = QImage(fitted, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
    } else if (identifier.isLocalFile()) {
        QImageReader reader(identifier.toLocalFile());
        const QSize original = reader.size();
        if (original.isValid())
            reader.setScaledSize(original.scaled(pixels, Qt::KeepAspectRatio));
        image = reader.read();
        if (image.isNull())
            return QImage();
        image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    } else {
        return QImage();
    }
    if (variation == TriskVXIImageAssistantVariationDisabled) {
        QImage faint(image.size(), QImage::Format_ARGB32_Premultiplied);
        faint.fill(Qt::transparent);
        QPainter painter(&faint);
        painter.setOpacity(kDisabledOpacity);
        painter.drawImage(0, 0, image);
        painter.end();
        image = faint;
    }
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

QImage TriskVXIImageAssistant::tintedTemplateImage(const QImage &templateImage, const QColor &colour)
{
    QImage tinted = templateImage.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&tinted);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(tinted.rect(), colour);
    painter.end();
    tinted.setDevicePixelRatio(templateImage.devicePixelRatio());
    return tinted;
}
