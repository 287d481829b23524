#pragma once

#include "cameras/camera.h"
#include "vtcv_export.h"

#include <atomic>
#include <memory>

class IPCameraSettings; // cameras/ipcamerasettings_p.h
class LoopControl; // cameras/loopcontrol_p.h

/**
 * Reads frames from a network stream, a video file that plays in a loop, or a device number.
 *
 * The setting `Ip` names the source:
 *
 * | `Ip` | Source |
 * |---|---|
 * | ends in ".avi" or ".mp4", in any case | that file, in a loop and at its own rate at the most |
 * | starts with "rtsp://" | that address as it stands; `Login` and `Password` are not used |
 * | one or two characters | one: the device of that number; two: a file of that name |
 * | all else, as `host/stream` | "rtsp://", then "login:password@" as far as they are given, then `Ip` |
 *
 * `Login` and `Password` go into the address unescaped, so they must not hold '/', '?' or '#'; write them
 * percent-encoded.
 *
 *     IPCamera camera(QStringLiteral("Front door"));
 *     camera.getSettings()->setProperty("Ip", QStringLiteral("192.168.1.20/stream1"));
 *     connect(&camera, &Camera::frameChanged, ...);
 *     camera.start();
 *
 * A source that cannot be opened, or that breaks, is no error: the camera tries again once a second until it
 * is stopped, and frames resume by themselves. A device is not opened again. A change of `Ip`, `Login` or
 * `Password` restarts the grabbing, and starts it if the camera was idle. A network source is opened a tenth
 * of a second after the last start or change, so that address, login and password can be set one by one.
 *
 * Every second frame of the source is handed on, turned and mirrored by the settings `Rotation` and `Flip`.
 * `Rotate90` turns clockwise, `Rotate270` counterclockwise; `Rotate180` and `FlipX` turn the picture upside
 * down, `FlipY` mirrors it left to right. Each frame has pixels of its own, which never change while somebody
 * holds them; a frame that cannot be read is not handed on.
 *
 * Threads: the frames are read on a thread of QThreadPool::globalInstance(), which emits frameChanged() and
 * imageChanged(); its place in the pool is given back meanwhile. Receivers on other threads get them queued.
 * A direct receiver runs on that thread. It may stop or restart the camera, but must not destroy it: use
 * deleteLater().
 *
 * Stopping: stop(), finish() and a restart never wait. The loop ends within 1.5 s, whatever the source does,
 * and no frame is begun to be handed on once they have returned; waitForLoop() tells when the last one is
 * over. A call that hangs inside OpenCV is left behind and finishes on its own. At the program's end such a
 * call may still be under way for up to readTimeoutMs.
 */
class VTCV_EXPORT IPCamera : public Camera
{
    Q_OBJECT

public:
    /** Loads the settings of the camera \a name, which becomes the moniker. The camera is idle. */
    explicit IPCamera(const QString &name, QObject *parent = nullptr);

    /**
     * Stops the camera and waits for its loop: for 1.5 s at most, and for a direct receiver that still works
     * on a frame. Such a receiver must not wait for the thread that destroys the camera.
     */
    ~IPCamera() override;

    /**
     * Bound for connecting to a network source and opening it, in ms. 0 leaves it to the back end (30 s). For
     * all cameras, from the next opening on.
     *
     * A host that does not answer costs others nothing. One that answers at first and then falls silent keeps
     * all of OpenCV's users in the process from opening anything for this long.
     */
    static std::atomic<int> openTimeoutMs;

    /** Bound for waiting for the next frame of a network source, in ms. 0 leaves it to the back end (30 s).
     */
    static std::atomic<int> readTimeoutMs;

    /**
     * Whether the debug line "CAMERA URL" shows "***" in place of a password. Off by default: it shows the
     * address in full.
     */
    static std::atomic<bool> hidePasswordInLog;

    /** True from the start until the grab loop has ended, which is later than stop(). \thread Any. */
    bool isLoopRunning() const;

    /**
     * Waits until the grab loop has ended; call stop() before. No frame is handed on by a loop that has
     * ended.
     *
     * \param timeoutMs bound in ms; negative waits without one.
     * \return false if the time is up, and at once on the loop's own thread.
     * \thread Any.
     */
    bool waitForLoop(int timeoutMs);

protected:
    /** Does nothing: the settings save themselves on each change. */
    void saveSettings();

    void internalSetFrameSize(int width, int height) override;
    void internalStart() override;
    void internalStop() override;
    void internalFinish() override;

private:
    std::shared_ptr<LoopControl> control; // guards itself
    IPCameraSettings *ipSettings = nullptr; // the same object as settings; a Qt child
};
