#include "cameras/camerawatcher.h"

#include "cameras/webcamera.h"

#include <QCameraInfo>
#include <QDebug>

#include <algorithm>

CameraWatcher *CameraWatcher::static_instance = nullptr;

CameraWatcher::CameraWatcher(QObject *parent) : QObject(parent)
{
    const QList<QCameraInfo> devices = QCameraInfo::availableCameras(QCamera::UnspecifiedPosition);
    for (const QCameraInfo &device : devices) {
        qDebug() << device.description();
        if (!isIgnored(device))
            addCamera(new WebCamera(device, nullptr));
    }
}

CameraWatcher *CameraWatcher::Instance()
{
    if (!static_instance)
        static_instance = new CameraWatcher;
    return static_instance;
}

void CameraWatcher::removeWatcher()
{
    delete std::exchange(static_instance, nullptr);
}

bool CameraWatcher::isIgnored(const QCameraInfo &device)
{
    return device.description().startsWith(QLatin1String("Logi Capture"));
}

void CameraWatcher::addCamera(Camera *camera)
{
    if (!camera)
        return;
    cameras.append(camera);
    connect(camera, &QObject::destroyed, this, [this, camera] { cameras.removeAll(camera); });
}

bool CameraWatcher::containsCamera(QString name) // NOLINT(performance-unnecessary-value-param)
{
    if (name.isEmpty())
        return false;
    const QString wanted = name.toLower();
    return std::any_of(cameras.cbegin(), cameras.cend(),
        [&](const Camera *camera) { return camera->getMoniker().toLower() == wanted; });
}

int CameraWatcher::count() const
{
    return cameras.size();
}

int CameraWatcher::indexOf(Camera *cam)
{
    return cameras.indexOf(cam);
}

Camera *CameraWatcher::getByIndex(int id)
{
    return cameras.value(id, nullptr);
}

Camera *CameraWatcher::at(int id)
{
    return getByIndex(id);
}

Camera *CameraWatcher::getByName(QString name) // NOLINT(performance-unnecessary-value-param)
{
    const auto found = std::find_if(
        cameras.cbegin(), cameras.cend(), [&](const Camera *camera) { return camera->getMoniker() == name; });
    return found == cameras.cend() ? nullptr : *found;
}

QString CameraWatcher::getCameraNameByIndex(int index)
{
    Camera *const camera = getByIndex(index);
    return camera ? camera->getMoniker() : QString();
}

void CameraWatcher::pickCamera(QString name, QString providerName)
{
    Q_EMIT cameraPicked(name, providerName);
}
