// The yardstick for bench_tray: a bare Qt tray application whose icon's tool tip changes once a second,
// with nothing else to do.
#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QSystemTrayIcon>
#include <QTime>
#include <QTimer>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QPixmap picture(22, 22);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, 2.0));
    painter.drawEllipse(QRectF(3, 3, 16, 16));
    painter.end();
    QSystemTrayIcon tray { QIcon(picture) };
    tray.show();
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, &tray, [&tray] {
        tray.setToolTip(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")));
    });
    tick.start(1000);
    return QApplication::exec();
}
