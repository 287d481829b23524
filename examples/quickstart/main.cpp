// Records five seconds of a video file, a stream or a device: quickstart SOURCE DESTINATION
#include <CameraSettings>
#include <IPCamera>
#include <RecordingDelivery>
#include <RecordingResult>
#include <VideoRecorder>

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>
#include <QVariant>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        qCritical("usage: quickstart SOURCE DESTINATION");
        return 2;
    }
    const QString source = QString::fromLocal8Bit(argv[1]);
    const QString destination = QString::fromLocal8Bit(argv[2]);

    //! [quickstart]
    VideoRecorder::setTempFolder(QFileInfo(destination).absolutePath() + QStringLiteral("/.recording"));
    VideoRecorder recorder(destination, 25.0); // outlives the camera, which calls it from its own thread
    recorder.setDelivery(RecordingDelivery::quality());
    IPCamera camera(QStringLiteral("Quick start"));
    camera.getSettings()->setProperty("Ip", source); // a file, "rtsp://...", or the number of a device
    QObject::connect(&camera, &Camera::frameChanged, &recorder,
        qOverload<const cv::Mat &>(&VideoRecorder::setFrame), Qt::DirectConnection);
    const auto end = [&] {
        const RecordingResult result = recorder.lastResult();
        app.exit(result.outcome == RecordingResult::Delivered && result.isWhole ? 0 : 1);
    };
    QObject::connect(&recorder, &VideoRecorder::recordFinished, &app, end);
    recorder.startRecord();
    camera.start();
    const auto finish = [&] { recorder.getFrameCount() > 0 ? recorder.stopRecord() : app.exit(1); };
    QTimer::singleShot(5000, &app, finish);
    return app.exec();
    //! [quickstart]
}
