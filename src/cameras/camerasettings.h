#pragma once

#include "baselib/vtsettings.h"
#include "vtcv_export.h"

#include <atomic>

/**
 * Keeps what every camera has, a rotation and a flip, in a file that is found again by the camera's name.
 *
 * The file is "Varnhold/GantryView/Cameras/" + name + "Settings.xml" in the user's documents folder. The name
 * is used as it is, whatever it holds; cameras of the same name share a file. Each change is written at once,
 * reload() reads the file.
 *
 * \thread The settings object's own. The getters of rotation and flip: any.
 */
class VTCV_EXPORT CameraSettings : public VTSettings
{
    Q_OBJECT
    Q_CLASSINFO("RotationEditable", "true")
    Q_CLASSINFO("RotationDefault", "CameraSettings::CameraRotation::Rotate0")
    Q_CLASSINFO("FlipEditable", "true")
    Q_CLASSINFO("FlipDefault", "CameraSettings::CameraFlip::FlipNone")
    Q_PROPERTY(
        CameraRotation Rotation READ getRotation WRITE setRotation RESET resetRotation NOTIFY changedRotation)
    Q_PROPERTY(CameraFlip Flip READ getFlip WRITE setFlip RESET resetFlip NOTIFY changedFlip)

public:
    /** In degrees. The direction is the camera kind's. */
    enum CameraRotation
    {
        Rotate0 = 0,
        Rotate90 = 1,
        Rotate180 = 2,
        Rotate270 = 3
    };
    Q_ENUM(CameraRotation)

    enum CameraFlip
    {
        FlipNone = 0,
        FlipX = 1,
        FlipY = 2,
        FlipXY = 3
    };
    Q_ENUM(CameraFlip)

    /** \param name that of the camera, see Camera::getMoniker(). Reads nothing; call reload(). */
    CameraSettings(QString name, QObject *parent);

    // Setters do nothing where the value is the stored one. Otherwise they emit the signal and write the
    // file.
    PROPERTY_TAG Q_INVOKABLE void setRotation(CameraRotation value);
    PROPERTY_TAG Q_INVOKABLE CameraRotation getRotation() const;
    PROPERTY_TAG Q_INVOKABLE void resetRotation();
    PROPERTY_TAG Q_INVOKABLE void setFlip(CameraFlip value);
    PROPERTY_TAG Q_INVOKABLE CameraFlip getFlip() const;
    PROPERTY_TAG Q_INVOKABLE void resetFlip();

Q_SIGNALS:
    void changedRotation(CameraRotation value);
    void changedFlip(CameraFlip value);

private:
    // Atomic where a grab loop reads the value while the owner of the camera changes it.
    CameraRotation defaultRotation = Rotate0;
    std::atomic<CameraRotation> rotation{Rotate0};
    CameraFlip defaultFlip = FlipNone;
    std::atomic<CameraFlip> flip{FlipNone};
};
