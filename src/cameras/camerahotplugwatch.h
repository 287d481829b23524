#pragma once

#include "vtcv_export.h"

#include <QCameraInfo>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

class Camera;
class DeviceMonitor; // cameras/devicemonitor_p.h
class WebCamera;

/**
 * Looks for local cameras again while the application runs: new ones join CameraWatcher, and signals tell
 * what came and went.
 *
 *     auto *hotplug = new CameraHotplugWatch(this);
 *     connect(hotplug, &CameraHotplugWatch::cameraAdded, row, &CameraOptionsControl::updateCameraList);
 *     connect(hotplug, &CameraHotplugWatch::cameraGone, this, &Panel::warn);
 *
 * A camera whose device is still there keeps its object. One whose device is gone stays in CameraWatcher, so
 * the places of the others do not change, and isPresent() is false for it. When the same device comes back,
 * which has the same name in the system and the same description, the same object serves it again, and is
 * started anew if it was flagged as running; see setRestartsCameras(). A device that comes back under another
 * name, as happens while a program holds the old one open, is a new camera.
 *
 * A camera that the application deletes is not made again until its device is plugged in anew. Each coming
 * and going is told in one console line.
 *
 * Where the system reports devices (udev on Linux, if the library was built with it), a report is followed
 * within half a second, and the timer is a second line of defence; elsewhere there is the timer alone.
 *
 * \thread That of CameraWatcher, which needs an event loop. Looking asks the platform for its devices and may
 *         take a few milliseconds; a new device is loaded, which takes as long as it needs.
 */
class VTCV_EXPORT CameraHotplugWatch : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int intervalMs READ intervalMs WRITE setIntervalMs)
    Q_PROPERTY(bool restartsCameras READ restartsCameras WRITE setRestartsCameras)

public:
    /** Makes CameraWatcher's instance if there is none, and looks for the first time. */
    explicit CameraHotplugWatch(QObject *parent = nullptr);
    ~CameraHotplugWatch() override;

    /** True if the system reports devices, so that they are seen at once. */
    bool isToldBySystem() const;

    /** The time between two looks, at first 30000 ms where isToldBySystem(), 3000 ms elsewhere. 0: none. */
    void setIntervalMs(int ms);
    int intervalMs() const;

    /** Whether a camera that is flagged as running is stopped and started when its device is back. True. */
    void setRestartsCameras(bool value) { restarts = value; }
    bool restartsCameras() const { return restarts; }

    /** False for a camera whose device was gone at the last look(); true for all that have no device. */
    bool isPresent(const Camera *camera) const;

    /** The cameras of CameraWatcher whose devices are gone, in the order in which they went. */
    QList<Camera *> goneCameras() const;

public Q_SLOTS:
    /** Looks now. The signals come before it returns. */
    void look();

Q_SIGNALS:
    /** \a camera is new and in CameraWatcher's list. \ownership As of all cameras that CameraWatcher lists.
     */
    void cameraAdded(Camera *camera);

    /** The device of \a camera is gone. The camera stays flagged as it was. */
    void cameraGone(Camera *camera);

    /** The device of \a camera is back. Comes before the camera is started anew. */
    void cameraReturned(Camera *camera);

private:
    void tell(const QString &text) const;

    DeviceMonitor *monitor; // a child
    QTimer timer;
    bool restarts = true;
    QList<QCameraInfo> devices; // at the last look
    QList<QPointer<WebCamera>> gone; // since the last look
};
