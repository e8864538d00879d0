#include "TriskVXIImageAssistant.h"

#include "TriskVXBundle.h"
#include "TriskVXConstants.h"
#include "TriskVXHalvaneLogging.h"
#include "TriskVXPngDecoder.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <iterator>

namespace {
const QString kGenericEventImage = QStringLiteral("event");
// Disabled images are drawn faint, as menus draw disabled icons.
const qreal kDisabledOpacity = 0.35;
const qsizetype kBuiltInCacheLimit = 256;
// Whether the image is a template, kept in the image's text so that it travels with every copy.
const QString kTemplateKey = QStringLiteral("TriskVXTemplate");

// Each built-in picture was rendered from its SVG source when the program was built, at the sizes the
// framework's CMakeLists.txt lists (ascending: every size where menus and panels ask, a few bigger ones):
// the size that fits side exactly, else the smallest bigger one (scaled down smoothly), else the biggest.
constexpr int kRenderedSizes[] = { HALVANE_IMAGE_SIZES };

int renderedSizeFor(int side)
{
    const auto fitting = std::lower_bound(std::begin(kRenderedSizes), std::end(kRenderedSizes), side);
    return fitting != std::end(kRenderedSizes) ? *fitting : kRenderedSizes[std::size(kRenderedSizes) - 1];
}

// The pictures are files of the resource folder, images/<size>/<name>.png, read only as they are asked
// for: the first folder of the bundle's search path that has them.
QString imagesFolder()
{
    static const QString folder = [] {
        const QStringList folders = TriskVXBundle::resourceSearchPath();
        for (const QString &candidate : folders) {
            const QFileInfo images(candidate + QStringLiteral("/images"));
            if (images.isDir())
                return images.absoluteFilePath();
        }
        qCWarning(lcHalvane).noquote() << QStringLiteral("no built-in pictures in %1: menus and the item show none")
                                              .arg(folders.join(QStringLiteral(", ")));
        return QString();
    }();
    return folder;
}

QString resourcePathOf(const QString &name, int side)
{
    return QStringLiteral("%1/%2/%3.png").arg(imagesFolder()).arg(renderedSizeFor(side)).arg(name);
}
} // namespace

TriskVXIImageAssistant *TriskVXIImageAssistant::imageAssistant()
{
    static TriskVXIImageAssistant assistant;
    return &assistant;
}

QStringList TriskVXIImageAssistant::builtInImageNames()
{
    // Asked for every menu item's picture: made once.
    static const QStringList names {
        kVXElementImage_None,    kVXElementImage_Stopped,     kVXElementImage_ActionCog,
        kGenericEventImage,      QStringLiteral("power-off"), QStringLiteral("restart"),
        QStringLiteral("sleep"), QStringLiteral("log-out"),   kVXElementImage_Disconnected
    };
    return names;
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

QString TriskVXIImageAssistant::builtInNameOf(const QUrl &identifier)
{
    // "halvane-image:none" names it in the path, "halvane-image://none" (the status menu's form) in the host.
    const QString path = identifier.path();
    return path.isEmpty() ? identifier.host() : path;
}

bool TriskVXIImageAssistant::isTemplate(const QImage &image)
{
    return image.text(kTemplateKey) == QLatin1String("1");
}

void TriskVXIImageAssistant::setTemplate(QImage &image, bool isTemplate)
{
    if (image.isNull() || TriskVXIImageAssistant::isTemplate(image) == isTemplate)
        return;
    image.setText(kTemplateKey, isTemplate ? QStringLiteral("1") : QString());
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
    QString cacheKey;
    if (isBuiltIn(identifier)) {
        const QString name = builtInNameOf(identifier);
        if (!builtInImageNames().contains(name))
            return QImage();
        // Built-in images never change and menus ask for the same few at every rebuild.
        cacheKey = QStringLiteral("%1|%2x%3|%4|%5")
                       .arg(name)
                       .arg(pixels.width())
                       .arg(pixels.height())
                       .arg(variation)
                       .arg(devicePixelRatio);
        const auto cached = m_builtInCache.constFind(cacheKey);
        if (cached != m_builtInCache.constEnd())
            return *cached;
        // The pictures are square: the side that fits the asked size.
        const int side = std::min(pixels.width(), pixels.height());
        QFile rendered(resourcePathOf(name, side));
        image = rendered.open(QIODevice::ReadOnly) ? TriskVXPngDecoder::decode(rendered.readAll()) : QImage();
        if (image.isNull())
            return QImage();
        if (image.width() != side)
            image = image.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
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
    if (!cacheKey.isEmpty()) {
        if (m_builtInCache.size() >= kBuiltInCacheLimit)
            m_builtInCache.clear();
        m_builtInCache.insert(cacheKey, image);
    }
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
