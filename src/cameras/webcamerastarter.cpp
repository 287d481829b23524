#include "cameras/webcamerastarter_p.h"

#include <QCamera>

WebCameraStarter::WebCameraStarter(QCamera *camera) : camera(camera)
{
    setObjectName(QStringLiteral("WebCameraStarter"));
}

WebCameraStarter::~WebCameraStarter() = default;

void WebCameraStarter::run()
{
    // After an error a QCamera counts as unavailable for ever, whether its device is back or not.
    if (camera->error() != QCamera::NoError)
        camera->unload();
    if (camera->isAvailable())
        camera->start();
}
