// Renders one built-in picture from its SVG source to PNG files at the given sizes, at build time, so that
// the programs draw the pictures without an SVG renderer mapped into them.
// Usage: trisk-render-image SOURCE.svg FOLDER NAME SIZE...   (writes FOLDER/SIZE/NAME.png)
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char *argv[])
{
    // No display is needed to paint into an image.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    if (arguments.size() < 5) {
        std::fprintf(stderr, "usage: trisk-render-image SOURCE.svg FOLDER NAME SIZE...\n");
        return 2;
    }
    QSvgRenderer renderer(arguments.at(1));
    if (!renderer.isValid()) {
        std::fprintf(stderr, "trisk-render-image: %s is not a readable SVG picture\n", qPrintable(arguments.at(1)));
        return 1;
    }
    for (const QString &text : arguments.mid(4)) {
        bool number = false;
        const int size = text.toInt(&number);
        if (!number || size <= 0) {
            std::fprintf(stderr, "trisk-render-image: %s is not a size in pixels\n", qPrintable(text));
            return 2;
        }
        // Drawn as the program drew it from the SVG before: fitted into the square, transparent around it.
        QImage image(renderer.defaultSize().scaled(size, size, Qt::KeepAspectRatio),
                     QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter);
        painter.end();
        // One folder per size: the resource compiler stores a folder's files side by side, so the
        // pictures a menu reads at one size lie in the same few pages of the program.
        const QDir folder(arguments.at(2) + QLatin1Char('/') + text);
        const QString output = folder.filePath(arguments.at(3) + QStringLiteral(".png"));
        if (!folder.mkpath(QStringLiteral(".")) || !image.save(output, "PNG")) {
            std::fprintf(stderr, "trisk-render-image: cannot write %s\n", qPrintable(output));
            return 1;
        }
    }
    return 0;
}
