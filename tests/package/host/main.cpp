#include "cameras/camera.h"
#include <ImageHolder>
#include <VideoRecorder>

#include <QCoreApplication>

// Uses classes of both libraries across their border: in signals and in casts, with OpenCV beside them.
int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    Camera camera;
    VideoRecorder recorder(QStringLiteral("take1.avi"), 25.0);
    QObject::connect(
        &camera, &Camera::frameChanged, &recorder, qOverload<const cv::Mat &>(&VideoRecorder::setFrame));
    camera.setFrame(cv::Mat(48, 64, CV_8UC3, cv::Scalar(255, 0, 0)));

    ImageHolder &holder = camera;
    const bool works = recorder.getFrameSize() == cv::Size(64, 48)
        && dynamic_cast<ImageCvMatHolder *>(&holder) && holder.getImage().pixelColor(0, 0) == QColor(Qt::blue)
        && qobject_cast<VTThread *>(&recorder);
    return works ? 0 : 1;
}
