#pragma once

#include <QColor>
#include <QHash>
#include <QImage>
#include <QSizeF>
#include <QStringList>
#include <QUrl>
#include <QVariant>

// Names the image of each event and element, and draws it: built-in images are monochrome pictures
// (template images, black on transparent, rendered from SVG at build time) that the caller tints; other
// identifiers are image files.
class TriskVXIImageAssistant
{
public:
    static TriskVXIImageAssistant *imageAssistant();

    // halvane-image:<name> for a built-in element image (kVXElementImage_...).
    static QUrl UIIdentifierForElementImage(const QString &name);
    // The event's image: its "Image" field when that names a built-in image or a file, else the
    // generic event image. nil (empty) for a nil or non-dictionary event.
    QUrl UIIdentifierForEvent(const QVariant &event) const;

    // The image scaled to fit the size (in device-independent pixels, at the device pixel ratio),
    // keeping its aspect ratio. Unknown identifiers give a null image.
    QImage imageForUIIdentifierScaleToFitVariation(const QUrl &identifier, const QSizeF &size, const QString &variation,
                                                   qreal devicePixelRatio = 1.0) const;

    static bool isBuiltIn(const QUrl &identifier);
    static QString builtInNameOf(const QUrl &identifier);
    // The template flag: a template image is drawn in the colour of where it stands.
    static bool isTemplate(const QImage &image);
    static void setTemplate(QImage &image, bool isTemplate);
    static QStringList builtInImageNames();
    // A template image drawn in a colour (the panel's or menu's text colour), alpha kept.
    static QImage tintedTemplateImage(const QImage &templateImage, const QColor &colour);

private:
    mutable QHash<QString, QImage> m_builtInCache;
};
