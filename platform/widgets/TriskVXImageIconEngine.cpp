#include "TriskVXImageIconEngine.h"

#include <QPainter>

TriskVXImageIconEngine::TriskVXImageIconEngine(const QPixmap &pixmap)
    : m_pixmap(pixmap)
    , m_derived(pixmap)
{
}

QIcon TriskVXImageIconEngine::iconWithImage(const QImage &image)
{
    if (image.isNull())
        return QIcon();
    return QIcon(new TriskVXImageIconEngine(QPixmap::fromImage(image)));
}

QSize TriskVXImageIconEngine::actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    Q_UNUSED(mode)
    Q_UNUSED(state)
    // Scaled down to fit, never up, as every other icon of one picture.
    QSize actual = m_pixmap.size();
    if (actual.width() > size.width() || actual.height() > size.height())
        actual.scale(size, Qt::KeepAspectRatio);
    return actual;
}

QPixmap TriskVXImageIconEngine::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state)
{
    if (mode != QIcon::Normal)
        return m_derived.pixmap(size, mode, state);
    const QSize actual = actualSize(size, mode, state);
    if (actual == m_pixmap.size())
        return m_pixmap;
    return m_pixmap.scaled(actual, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QPixmap TriskVXImageIconEngine::scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale)
{
    return pixmap(size * scale, mode, state);
}

void TriskVXImageIconEngine::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state)
{
    const qreal scale = painter->device() ? painter->device()->devicePixelRatio() : 1.0;
    painter->drawPixmap(rect, scaledPixmap(rect.size(), mode, state, scale));
}

QList<QSize> TriskVXImageIconEngine::availableSizes(QIcon::Mode mode, QIcon::State state)
{
    Q_UNUSED(mode)
    Q_UNUSED(state)
    return { m_pixmap.size() };
}

QIconEngine *TriskVXImageIconEngine::clone() const
{
    return new TriskVXImageIconEngine(m_pixmap);
}

QString TriskVXImageIconEngine::key() const
{
    return QStringLiteral("TriskVXImageIconEngine");
}

bool TriskVXImageIconEngine::isNull()
{
    return m_pixmap.isNull();
}
