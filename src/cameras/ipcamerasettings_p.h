#pragma once

#include "cameras/camerasettings.h"

/**
 * Adds what a network camera has: `Ip`, which may also be a device number, a file or a whole address, and the
 * login and password for it. The password stands in the file as plain text; the file is its owner's alone.
 */
class VTCV_TEST_EXPORT IPCameraSettings : public CameraSettings
{
    Q_OBJECT
    Q_CLASSINFO("IpEditable", "true")
    Q_CLASSINFO("LoginEditable", "true")
    Q_CLASSINFO("PasswordEditable", "true")
    Q_PROPERTY(QString Ip READ getIp WRITE setIp NOTIFY changedIp)
    Q_PROPERTY(QString Login READ getLogin WRITE setLogin NOTIFY changedLogin)
    Q_PROPERTY(QString Password READ getPassword WRITE setPassword NOTIFY changedPassword)

public:
    IPCameraSettings(QString name, QObject *parent);

    PROPERTY_TAG Q_INVOKABLE void setIp(const QString &value);
    PROPERTY_TAG Q_INVOKABLE QString getIp() const;
    PROPERTY_TAG Q_INVOKABLE void setLogin(const QString &value);
    PROPERTY_TAG Q_INVOKABLE QString getLogin() const;
    PROPERTY_TAG Q_INVOKABLE void setPassword(const QString &value);
    PROPERTY_TAG Q_INVOKABLE QString getPassword() const;

Q_SIGNALS:
    void changedIp(QString value);
    void changedLogin(QString value);
    void changedPassword(QString value);

private:
    QString ip;
    QString login;
    QString password;
};
