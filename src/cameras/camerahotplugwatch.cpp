#include "cameras/camerahotplugwatch.h"

#include "baselib/globalconsole.h"
#include "cameras/camerawatcher.h"
#include "cameras/devicemonitor_p.h"
#include "cameras/webcamera.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int pollMs = 3000;
constexpr int toldPollMs = 30000;

// Another device may take the place of one that was unplugged, and its name in the system with it.
bool isSame(const QCameraInfo &a, const QCameraInfo &b)
{
    return a.deviceName() == b.deviceName() && a.description() == b.description();
}

bool contains(const QList<QCameraInfo> &devices, const QCameraInfo &wanted)
{
    return std::any_of(
        devices.cbegin(), devices.cend(), [&](const QCameraInfo &device) { return isSame(device, wanted); });
}

// The local cameras of the registry, each once.
QList<WebCamera *> localCameras()
{
    CameraWatcher *const registry = CameraWatcher::Instance();
    QList<WebCamera *> cameras;
    for (int i = 0; i < registry->count(); ++i) {
        auto *const camera = qobject_cast<WebCamera *>(registry->at(i));
        if (camera && !cameras.contains(camera))
            cameras.append(camera);
    }
    return cameras;
}

} // namespace

CameraHotplugWatch::CameraHotplugWatch(QObject *parent)
    : QObject(parent), monitor(new DeviceMonitor("video4linux", this))
{
    qRegisterMetaType<Camera *>();
    connect(monitor, &DeviceMonitor::changed, this, &CameraHotplugWatch::look);
    connect(&timer, &QTimer::timeout, this, &CameraHotplugWatch::look);
    look();
    setIntervalMs(isToldBySystem() ? toldPollMs : pollMs);
}

CameraHotplugWatch::~CameraHotplugWatch() = default;

bool CameraHotplugWatch::isToldBySystem() const
{
    return monitor->isFed();
}

void CameraHotplugWatch::setIntervalMs(int ms)
{
    timer.setInterval(std::max(0, ms));
    if (ms > 0)
        timer.start();
    else
        timer.stop();
}

int CameraHotplugWatch::intervalMs() const
{
    return timer.interval();
}

bool CameraHotplugWatch::isPresent(const Camera *camera) const
{
    return std::none_of(
        gone.cbegin(), gone.cend(), [&](const auto &other) { return camera && other == camera; });
}

QList<Camera *> CameraHotplugWatch::goneCameras() const
{
    QList<Camera *> cameras;
    for (const QPointer<WebCamera> &camera : gone) {
        if (camera && CameraWatcher::Instance()->indexOf(camera) >= 0)
            cameras.append(camera);
    }
    return cameras;
}

void CameraHotplugWatch::look()
{
    const QList<QCameraInfo> former = std::exchange(devices, QCameraInfo::availableCameras());
    const QList<WebCamera *> known = localCameras();
    QList<QPointer<WebCamera>> went;
    QList<QPointer<WebCamera>> cameBack;
    QList<QPointer<WebCamera>> joined;
    for (WebCamera *const camera : known) {
        const bool wasThere = isPresent(camera);
        const bool isThere = contains(devices, camera->deviceInfo());
        if (wasThere && !isThere)
            went.append(camera);
        else if (isThere && !wasThere)
            cameBack.append(camera);
    }
    for (const QCameraInfo &device : qAsConst(devices)) {
        const bool isServed = std::any_of(known.cbegin(), known.cend(),
            [&](const WebCamera *camera) { return isSame(camera->deviceInfo(), device); });
        if (isServed || contains(former, device) || CameraWatcher::isIgnored(device))
            continue;
        auto *const camera = new WebCamera(device, nullptr);
        CameraWatcher::Instance()->addCamera(camera);
        joined.append(camera);
    }
    for (const QPointer<WebCamera> &camera : qAsConst(cameBack))
        gone.removeAll(camera);
    gone.removeAll(nullptr);
    gone.append(went);

    // All is settled before the first receiver is called, which may do what it likes with the cameras.
    for (const QPointer<WebCamera> &camera : qAsConst(went)) {
        if (!camera)
            continue;
        tell(tr("Camera %1 is gone").arg(camera->getMoniker()));
        Q_EMIT cameraGone(camera);
    }
    for (const QPointer<WebCamera> &camera : qAsConst(cameBack)) {
        if (!camera)
            continue;
        tell(tr("Camera %1 is back").arg(camera->getMoniker()));
        Q_EMIT cameraReturned(camera);
        if (camera && restarts && camera->getIsRunning()) {
            camera->stop(); // what the device had begun before it went is no start
            camera->start();
        }
    }
    for (const QPointer<WebCamera> &camera : qAsConst(joined)) {
        if (!camera)
            continue;
        tell(tr("Camera %1 is new").arg(camera->getMoniker()));
        Q_EMIT cameraAdded(camera);
    }
}

void CameraHotplugWatch::tell(const QString &text) const
{
    GlobalConsole::writeLine(text, QDateTime::currentDateTime());
}
