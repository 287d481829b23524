#include "cameras/camerasettings.h"

#include <QStandardPaths>

namespace {

QString settingsPath(const QString &name)
{
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)
        + QStringLiteral("/Varnhold/GantryView/Cameras/") + name + QStringLiteral("Settings.xml");
}

} // namespace

CameraSettings::CameraSettings(QString name, QObject *parent)
    : VTSettings(settingsPath(name), true, parent, VTSettingsFormat{})
{
    qRegisterMetaType<CameraSettings::CameraRotation>("CameraSettings::CameraRotation");
    qRegisterMetaType<CameraSettings::CameraFlip>("CameraSettings::CameraFlip");
}

void CameraSettings::setRotation(CameraRotation value)
{
    if (rotation == value)
        return;
    rotation = value;
    Q_EMIT changedRotation(value);
    changedProperty(QStringLiteral("Rotation"));
}

CameraSettings::CameraRotation CameraSettings::getRotation() const
{
    return rotation;
}

void CameraSettings::resetRotation()
{
    setRotation(defaultRotation);
}

void CameraSettings::setFlip(CameraFlip value)
{
    if (flip == value)
        return;
    flip = value;
    Q_EMIT changedFlip(value);
    changedProperty(QStringLiteral("Flip"));
}

CameraSettings::CameraFlip CameraSettings::getFlip() const
{
    return flip;
}

void CameraSettings::resetFlip()
{
    setFlip(defaultFlip);
}
