#include "cameras/webcamerastarter_p.h"

#include "image/racecheck_p.h"

#include <QCamera>

WebCameraStarter::WebCameraStarter(QCamera *camera) : camera(camera)
{
    setObjectName(QStringLiteral("WebCameraStarter"));
}

WebCameraStarter::~WebCameraStarter()
{
    RaceCheck::acquire(this); // whoever deletes it has seen its end
}

void WebCameraStarter::run()
{
    RaceCheck::acquire(this);
    // After an error a QCamera counts as unavailable for ever, whether its device is back or not.
    if (camera->error() != QCamera::NoError)
        camera->unload();
    if (camera->isAvailable())
        camera->start();
    RaceCheck::release(this);
}
