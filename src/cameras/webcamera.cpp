#include "cameras/webcamera.h"

#include "baselib/frameratecounter.h"
#include "baselib/globalconsole.h"
#include "cameras/cameracalibration_p.h"
#include "cameras/cameragrabber_p.h"
#include "cameras/webcamerasettings_p.h"
#include "cameras/webcamerastarter_p.h"
#include "image/racecheck_p.h"

#include <QCamera>
#include <QFile>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace {

constexpr int maxWidth = 1920;

void resize(QCamera *camera, QSize size)
{
    QCameraViewfinderSettings viewfinder;
    viewfinder.setResolution(size);
    camera->setViewfinderSettings(viewfinder);
}

} // namespace

WebCamera::WebCamera(QCameraInfo info, QObject *parent) : Camera(parent), info(info)
{
    settings = webSettings = new WebCameraSettings(info.description(), nullptr);
    webSettings->reload();
    connect(webSettings, &WebCameraSettings::changedCalibrationFile, this, &WebCamera::loadCalibration,
        Qt::DirectConnection);
    qRegisterMetaType<cv::Mat>("cv::Mat");
    setMoniker(info.description());

    grabber = new CameraGrabber(this);
    grabber->setObjectName(info.description());
    connect(webSettings, &CameraSettings::changedRotation, this, &WebCamera::copyOrientation,
        Qt::DirectConnection);
    connect(
        webSettings, &CameraSettings::changedFlip, this, &WebCamera::copyOrientation, Qt::DirectConnection);
    copyOrientation();

    camera = new QCamera(info, this);
    camera->setViewfinder(grabber);
    camera->load();
    setFrameSizes(usableSizes(camera->supportedViewfinderResolutions(QCameraViewfinderSettings())));

    // Frames that are on their way are counted before the slot and after it, on either side of the queue.
    std::atomic<int> *const waiting = &grabber->framesWaiting;
    connect(
        grabber, &CameraGrabber::imageReady, grabber, [waiting] { ++*waiting; }, Qt::DirectConnection);
    connect(grabber, SIGNAL(imageReady(cv::Mat)), this, SLOT(imageReady(cv::Mat)));
    connect(grabber, &CameraGrabber::imageReady, this, [waiting] { --*waiting; });

    if (getFrameSizeCount() > 0)
        setFrameSize(getFrameSizeAt(0));
    frameRateCounter->restart();
}

WebCamera::~WebCamera()
{
    finish(); // while the hooks are those of this class
    releaseDevice();
    settings = nullptr;
    delete webSettings;
}

QImage WebCamera::getImage()
{
    return ImageCvMatHolder::getImage(); // null for an empty frame
}

void WebCamera::setFrame(const cv::Mat &frame)
{
    const QPointer<WebCamera> alive(this); // a receiver may delete the camera
    holdFrame(frame);
    Q_EMIT frameChanged(getFrame());
    if (!alive || GlobalConsole::FullOptimization)
        return;
    Q_EMIT imageChanged();
    if (alive)
        frameRateCounter->nextFrame();
}

void WebCamera::useCVTColor(bool use)
{
    if (grabber)
        grabber->useCVTColor = use;
}

cv::Mat WebCamera::getDistortionCoeffs() const
{
    const RaceCheck::Locker lock(&calibrationMutex);
    return distortionCoeffs ? distortionCoeffs->clone() : cv::Mat();
}

cv::Mat WebCamera::getCameraMatrix() const
{
    const RaceCheck::Locker lock(&calibrationMutex);
    return cameraMatrix ? cameraMatrix->clone() : cv::Mat();
}

void WebCamera::operator()() { }

void WebCamera::imageReady(cv::Mat frame) // NOLINT(performance-unnecessary-value-param)
{
    setFrame(frame);
}

void WebCamera::internalSetFrameSize(int width, int height)
{
    if (starter)
        sizeAfterStart = QSize(width, height);
    else
        resize(camera, QSize(width, height));
}

void WebCamera::internalStart()
{
    if (starter) {
        afterStart = AfterStart::Start;
        return;
    }
    starter = new WebCameraStarter(camera);
    connect(starter, &QThread::finished, this, &WebCamera::startEnded);
    RaceCheck::release(starter);
    starter->start(QThread::InheritPriority);
}

void WebCamera::internalStop()
{
    if (starter)
        afterStart = AfterStart::Stop;
    else if (camera)
        camera->stop();
}

void WebCamera::internalFinish()
{
    internalStop();
}

bool WebCamera::LoadCamInstrinsics(QString path, cv::Mat *distortion, cv::Mat *matrix)
{
    return CameraCalibration::read(path, distortion, matrix);
}

QList<QSize> WebCamera::usableSizes(const QList<QSize> &offered)
{
    QList<QSize> sizes;
    for (const QSize &size : offered) {
        if (size.width() <= maxWidth && !sizes.contains(size))
            sizes.prepend(size);
    }
    return sizes;
}

void WebCamera::loadCalibration(const QString &path)
{
    if (!QFile::exists(path))
        return;
    try {
        auto distortion = std::make_unique<cv::Mat>(cv::Mat::zeros(4, 1, CV_32F));
        auto matrix = std::make_unique<cv::Mat>(cv::Mat::zeros(3, 3, CV_32F));
        if (!LoadCamInstrinsics(path, distortion.get(), matrix.get()))
            return;
        const RaceCheck::Locker lock(&calibrationMutex);
        distortionCoeffs = std::move(distortion);
        cameraMatrix = std::move(matrix);
    } catch (const std::exception &) { // the camera keeps its former calibration
    }
}

void WebCamera::copyOrientation()
{
    grabber->rotation = webSettings->getRotation();
    grabber->flip = webSettings->getFlip();
}

// Comes through the event queue, so behind everything that the device has queued to the QCamera while it
// started. A stop before that would be undone by a "started" that is still on its way.
void WebCamera::startEnded()
{
    starter->wait();
    delete std::exchange(starter, nullptr);
    if (sizeAfterStart.isValid())
        resize(camera, std::exchange(sizeAfterStart, QSize()));
    switch (std::exchange(afterStart, AfterStart::Nothing)) {
    case AfterStart::Start:
        internalStart();
        break;
    case AfterStart::Stop:
        camera->stop();
        break;
    case AfterStart::Nothing:
        break;
    }
}

// The device goes before the grabber that it delivers to.
void WebCamera::releaseDevice()
{
    QCamera *const device = std::exchange(camera, nullptr);
    CameraGrabber *const surface = std::exchange(grabber, nullptr);
    WebCameraStarter *const running = std::exchange(starter, nullptr);
    if (running) {
        device->setParent(nullptr);
        surface->setParent(nullptr);
        connect(running, &QThread::finished, device, [device, surface, running] {
            device->stop();
            device->deleteLater();
            surface->deleteLater();
            running->deleteLater();
        });
        // Looked at after the connection, so the end is either seen here or calls the function above.
        if (!running->isFinished())
            return;
        running->wait();
        device->stop();
    }
    delete device;
    delete surface;
    delete running;
}
