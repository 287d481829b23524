#include "cameras/webcamerasettings_p.h"

#include <utility>

WebCameraSettings::WebCameraSettings(QString name, QObject *parent) : CameraSettings(std::move(name), parent)
{
}

int WebCameraSettings::getExposure() const
{
    return exposure;
}

void WebCameraSettings::setExposure(int value)
{
    const int limited = qBound(minimumExposure, value, maximumExposure);
    if (exposure == limited)
        return;
    exposure = limited;
    Q_EMIT changedExposure(limited);
    changedProperty(QStringLiteral("Exposure"));
}

void WebCameraSettings::resetExposure()
{
    setExposure(defaultExposure);
}

void WebCameraSettings::setUseCalibration(bool value)
{
    if (useCalibration == value)
        return;
    useCalibration = value;
    Q_EMIT changedUseCalibration(value);
    changedProperty(QStringLiteral("UseCalibration"));
}

bool WebCameraSettings::getUseCalibration() const
{
    return useCalibration;
}

void WebCameraSettings::setCalibrationFile(const QString &value)
{
    if (calibrationFile == value)
        return;
    calibrationFile = value;
    Q_EMIT changedCalibrationFile(calibrationFile);
    changedProperty(QStringLiteral("CalibrationFile"));
}

QString WebCameraSettings::getCalibrationFile() const
{
    return calibrationFile;
}
