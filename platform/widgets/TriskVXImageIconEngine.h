#pragma once

#include <QIcon>
#include <QIconEngine>
#include <QPixmap>

// An icon of one picture that hands out its pixels without Qt's process-wide pixmap cache: an insertion
// there arms a flush timer that wakes an otherwise idle program half a minute later.
class TriskVXImageIconEngine : public QIconEngine
{
public:
    explicit TriskVXImageIconEngine(const QPixmap &pixmap);

    // The icon of the picture, drawn as is in the normal mode.
    static QIcon iconWithImage(const QImage &image);

    QSize actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale) override;
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
    QIconEngine *clone() const override;
    QString key() const override;
    bool isNull() override;

private:
    QPixmap m_pixmap;
    // The other modes (disabled, selected) are derived by the style, as for any icon; only menus drawn
    // as windows ask for them.
    QIcon m_derived;
};
