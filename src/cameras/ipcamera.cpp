#include "cameras/ipcamera.h"

#include "cameras/ipcameraloop_p.h"
#include "cameras/ipcamerasettings_p.h"

#include <QtConcurrentRun>

std::atomic<int> IPCamera::openTimeoutMs{5000};
std::atomic<int> IPCamera::readTimeoutMs{5000};
std::atomic<bool> IPCamera::hidePasswordInLog{false};

IPCamera::IPCamera(const QString &name, QObject *parent)
    : Camera(parent), control(std::make_shared<LoopControl>()), ipSettings(new IPCameraSettings(name, this))
{
    settings = ipSettings;
    // Before the connections: what comes from the file starts nothing.
    ipSettings->reload();
    const auto restart = [this] {
        internalStop();
        internalStart();
    };
    connect(ipSettings, &IPCameraSettings::changedIp, this, restart, Qt::DirectConnection);
    connect(ipSettings, &IPCameraSettings::changedLogin, this, restart, Qt::DirectConnection);
    connect(ipSettings, &IPCameraSettings::changedPassword, this, restart, Qt::DirectConnection);
    setMoniker(name);
}

IPCamera::~IPCamera()
{
    // For good, since a direct receiver may be about to start the camera again.
    control->close();
    control->waitForEnd(-1);
}

bool IPCamera::isLoopRunning() const
{
    return control->isRunning();
}

bool IPCamera::waitForLoop(int timeoutMs)
{
    return control->waitForEnd(timeoutMs);
}

void IPCamera::saveSettings() { }

void IPCamera::internalSetFrameSize(int, int) { }

void IPCamera::internalStart()
{
    const auto source =
        IPCameraSource::fromSettings(ipSettings->getIp(), ipSettings->getLogin(), ipSettings->getPassword());
    const IPCameraLoop::Hooks hooks{
        [this] {
            return IPCameraOrientation{ipSettings->getRotation(), ipSettings->getFlip()};
        },
        [this](const cv::Mat &frame) { setFrame(frame); }};
    QtConcurrent::run(QThreadPool::globalInstance(), [=, control = control, generation = control->begin()] {
        IPCameraLoop::run(control, generation, source, hooks);
    });
}

void IPCamera::internalStop()
{
    control->end();
}

void IPCamera::internalFinish()
{
    // The capture belongs to the loop, which may be using it, and frees it at its end.
    control->end();
}
