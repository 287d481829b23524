#pragma once

#include "vtcv_export.h"

#include <QList>
#include <QObject>
#include <QString>

class Camera;
class QCameraInfo;

/**
 * Lists the cameras of an application: one WebCamera for each local device, and what the application adds.
 *
 *     CameraWatcher *cameras = CameraWatcher::Instance();
 *     cameras->addCamera(new IPCamera(QStringLiteral("Gate"), this));
 *     Camera *camera = cameras->getByName(QStringLiteral("Gate"));
 *
 * The first Instance() looks for devices, loads each and can take as long as they need. Devices that come
 * later are seen by CameraHotplugWatch alone; one whose description starts with "Logi Capture" is left out,
 * as it is another device's picture once more.
 *
 * The list owns no camera. The WebCamera objects that it makes live until the application deletes them; a
 * camera that is deleted leaves the list. The same camera may be in it twice.
 *
 * \thread That of the first Instance() call, and its cameras with it.
 */
class VTCV_EXPORT CameraWatcher : public QObject
{
    Q_OBJECT

public:
    /** The one instance, which the first call makes. */
    static CameraWatcher *Instance();

    /** Deletes the instance and none of the cameras; the next Instance() makes new ones. */
    void removeWatcher();

    /** Tells whether devices such as \a device are left out. */
    static bool isIgnored(const QCameraInfo &device);

    /** Appends \a camera; null is ignored. */
    void addCamera(Camera *camera);

    /** Tells whether a camera has this name, whatever the case; false for an empty one. */
    bool containsCamera(QString name);

    Q_INVOKABLE int count() const;

    /** The first index of \a cam; -1 if it is not in the list. */
    Q_INVOKABLE int indexOf(Camera *cam);

    /** The camera at \a id, from 0; null outside of the list. */
    Q_INVOKABLE Camera *getByIndex(int id);
    Q_INVOKABLE Camera *at(int id);

    /** The first camera of exactly this name; null if there is none. */
    Q_INVOKABLE Camera *getByName(QString name);

    /** The name of the camera at \a index; null outside of the list. */
    Q_INVOKABLE QString getCameraNameByIndex(int index);

public Q_SLOTS:
    /** Tells the application by cameraPicked() that the user has picked a camera; does nothing else. */
    void pickCamera(QString name, QString providerName = "");

Q_SIGNALS:
    void cameraPicked(QString name, QString providerName = "");

protected:
    explicit CameraWatcher(QObject *parent = nullptr);

    static CameraWatcher *static_instance; // null before Instance() and after removeWatcher()

private:
    QList<Camera *> cameras; // in the order of registration; owned by others
};
