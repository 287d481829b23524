// Runs the window of examples/avrecord and closes it at a named moment: closinghost SOURCE FOLDER MOMENT
// FRAMES
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
    if (argc != 5)
        return 2;
    const QByteArray moment(argv[3]);
    const auto wanted = QByteArray(argv[4]).toULongLong();
    Window window(QString::fromLocal8Bit(argv[1]), QDir(QString::fromLocal8Bit(argv[2])));
    VideoRecorder *const video = window.recorder();
    video->useResultFile = true;

    bool hasStopped = false;
    QObject::connect(video, &VideoRecorder::frameCountChanged, &window, [&](qulonglong frames) {
        if (frames < wanted || hasStopped)
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
