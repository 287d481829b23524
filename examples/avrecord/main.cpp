// Records a camera, a stream or a video file together with a microphone: avrecord SOURCE [FOLDER]
#include "window.h"

#include <QApplication>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc < 2) {
        qCritical("usage: avrecord SOURCE [FOLDER]; SOURCE is a file, rtsp://... or the number of a device");
        return 2;
    }
    const QDir folder(argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral("."));
    Window window(QString::fromLocal8Bit(argv[1]), folder);
    window.resize(640, 560);
    window.show();
    return app.exec();
}
