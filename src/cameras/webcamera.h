#pragma once

#include "cameras/camera.h"

#include <QCameraInfo>
#include <QMutex>

#include <memory>

class CameraGrabber; // cameras/cameragrabber_p.h
class QCamera;
class WebCameraSettings; // cameras/webcamerasettings_p.h
class WebCameraStarter; // cameras/webcamerastarter_p.h

/**
 * Gives the frames of a device that the platform's multimedia layer knows. CameraWatcher makes one for each.
 *
 *     Camera *camera = CameraWatcher::Instance()->getByName(QStringLiteral("Bench camera"));
 *     connect(camera, &Camera::frameChanged, this, &Inspection::look);
 *     camera->start();
 *
 * A new camera is loaded and not started. Its sizes are those of the device up to a width of 1920 pixels, in
 * the reverse of the device's order, and the first of them is the current one. Frames have the size that the
 * device delivers, turned and mirrored by the settings: Rotate0 turns the delivered frame upside down,
 * Rotate180 leaves it as it is, Rotate90 turns it counterclockwise and Rotate270 clockwise; the flip comes
 * after that. getFrameSize() does not follow a rotation.
 *
 * start() returns at once, also where the device takes seconds: a thread of its own starts it. A stop(), a
 * finish() or another size that come meanwhile take effect when the device has come back, through the event
 * loop of the camera's thread. A camera that is deleted meanwhile leaves its device behind, to be stopped
 * and freed then. A device that is not available gives no frames and no error; see device().
 *
 * Each frame ticks the rate counter twice. While GlobalConsole::FullOptimization is true frames go to the
 * consumers of frameChanged() alone: no imageChanged() is emitted, and the frame rate stands still.
 *
 * Frames that the camera's thread does not take wait for it in its event queue: 120 of them at most, those
 * that come after are lost with a console line.
 *
 * \thread The camera's own, which needs an event loop. frameChanged() and imageChanged() are emitted there.
 */
class VTCV_EXPORT WebCamera : public Camera
{
    Q_OBJECT

public:
    /** Loads the device of \a info, which may take as long as the device needs. */
    explicit WebCamera(QCameraInfo info, QObject *parent = nullptr);
    ~WebCamera() override;

    /** The current frame; null before the first. */
    QImage getImage() override;

    /** Holds \a frame and emits frameChanged() and, if viewers count, imageChanged(); see above. */
    void setFrame(const cv::Mat &frame);

    /**
     * Tells whether frames are converted to CV_8UC3 (blue, green, red), as they are by default.
     *
     * With false they stay CV_8UC4, and a frame that is neither turned nor mirrored refers to the memory of
     * the multimedia layer. That memory stays valid as long as somebody holds the frame, and must not be
     * written to. The layer has few such buffers: do not keep many frames.
     *
     * \thread Any. Counts from the next frame on.
     */
    void useCVTColor(bool use);

    /**
     * The device. Connect to its signals (errors, state); start, stop and resize it through this class alone.
     *
     * \ownership The camera's. If the camera is deleted while the device starts, the device lives on until
     * it has started.
     */
    QCamera *device() const { return camera; }

    /** What the camera was made with. */
    QCameraInfo deviceInfo() const { return info; }

    /**
     * Copies of what the last file in the setting `CalibrationFile` held: four distortion coefficients (4x1,
     * CV_32F), and the 3x3 CV_32F camera matrix, in pixels. Empty before a file was read. A path that is
     * already in the settings when the camera is made is not read. See FrameUndistorter.
     *
     * \thread Any.
     */
    cv::Mat getDistortionCoeffs() const;
    cv::Mat getCameraMatrix() const;

    /** Does nothing. */
    void operator()();

public Q_SLOTS:
    /** Takes a frame from the device; the same as setFrame(). */
    void imageReady(cv::Mat frame);

protected:
    void internalSetFrameSize(int width, int height) override;
    void internalStart() override;
    void internalStop() override;
    void internalFinish() override;

private:
    enum class AfterStart
    {
        Nothing,
        Start,
        Stop
    };

    static bool LoadCamInstrinsics(QString path, cv::Mat *distortion, cv::Mat *matrix);
    static QList<QSize> usableSizes(const QList<QSize> &offered);
    void loadCalibration(const QString &path);
    void copyOrientation();
    void startEnded();
    void releaseDevice();

    std::unique_ptr<cv::Mat> distortionCoeffs; // null until a calibration was read
    std::unique_ptr<cv::Mat> cameraMatrix;
    const QCameraInfo info;
    QCamera *camera = nullptr; // a child, as the grabber; the starter's while it runs
    CameraGrabber *grabber = nullptr;
    WebCameraSettings *webSettings = nullptr; // owned; the same object as `settings`
    WebCameraStarter *starter = nullptr; // owned; null when startEnded() has seen its end
    AfterStart afterStart = AfterStart::Nothing; // what came while the starter runs, the latest alone
    QSize sizeAfterStart; // invalid if none came
    mutable QMutex calibrationMutex; // guards distortionCoeffs and cameraMatrix
};
