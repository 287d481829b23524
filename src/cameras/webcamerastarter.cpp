#include "cameras/webcamerastarter_p.h"

#include <QCamera>

WebCameraStarter::WebCameraStarter(QCamera *camera) : camera(camera)
{
    setObjectName(QStringLiteral("WebCameraStarter"));
}

WebCameraStarter::~WebCameraStarter() = default;

void WebCameraStarter::run()
{
    if (camera->isAvailable())
        camera->start();
}
