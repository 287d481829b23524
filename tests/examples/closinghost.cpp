// Runs the window of examples/avrecord and closes it at a named moment: closinghost SOURCE FOLDER MOMENT
#include "../../examples/avrecord/window.h"

#include <FFMpegQueue>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTimer>

#include <iostream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc != 4)
        return 2;
    const QByteArray moment(argv[3]);
    Window window(QString::fromLocal8Bit(argv[1]), QDir(QString::fromLocal8Bit(argv[2])));
    VideoRecorder *const video = window.recorder();
    video->useResultFile = true;

    bool hasStopped = false;
    QObject::connect(video, &VideoRecorder::frameCountChanged, &window, [&](qulonglong frames) {
        if (frames < 10 || hasStopped)
            return;
        hasStopped = true;
        if (moment != "recording")
            window.record(false);
        if (moment != "ffmpeg")
            window.close();
    });
    QObject::connect(VideoRecorder::ffmpegQueue, &FFMpegQueue::jobStarted, &window, [&] {
        if (moment == "ffmpeg")
            window.close();
    });
    // The user reads what the window says and agrees.
    QTimer reader;
    QObject::connect(&reader, &QTimer::timeout, &window, [] {
        auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (!box)
            return;
        std::cout << "told: " << qPrintable(box->text()) << std::endl;
        box->button(box->standardButtons() & QMessageBox::Yes ? QMessageBox::Yes : QMessageBox::Ok)->click();
    });
    reader.start(50);
    window.show();
    window.record(true);
    return app.exec();
}
