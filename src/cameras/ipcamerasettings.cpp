#include "cameras/ipcamerasettings_p.h"

#include <utility>

IPCameraSettings::IPCameraSettings(QString name, QObject *parent)
    : CameraSettings(std::move(name), parent) { }

void IPCameraSettings::setIp(const QString &value)
{
    if (ip == value)
        return;
    ip = value;
    Q_EMIT changedIp(ip);
    changedProperty(QStringLiteral("Ip"));
}

QString IPCameraSettings::getIp() const
{
    return ip;
}

void IPCameraSettings::setLogin(const QString &value)
{
    if (login == value)
        return;
    login = value;
    Q_EMIT changedLogin(login);
    changedProperty(QStringLiteral("Login"));
}

QString IPCameraSettings::getLogin() const
{
    return login;
}

void IPCameraSettings::setPassword(const QString &value)
{
    if (password == value)
        return;
    password = value;
    Q_EMIT changedPassword(password);
    changedProperty(QStringLiteral("Password"));
}

QString IPCameraSettings::getPassword() const
{
    return password;
}
