#pragma once

#include "cameras/camerasettings.h"

/**
 * Adds what a local camera has. The three properties are stored and given to who asks; the library itself
 * acts on none but the calibration file, and no editor shows them.
 */
class VTCV_TEST_EXPORT WebCameraSettings : public CameraSettings
{
    Q_OBJECT
    Q_CLASSINFO("ExposureNotVisible", "true")
    Q_CLASSINFO("UseCalibrationNotVisible", "true")
    Q_CLASSINFO("CalibrationFileNotVisible", "true")
    Q_CLASSINFO("ExposureEditable", "true")
    Q_CLASSINFO("ExposureDefault", "-6")
    Q_CLASSINFO("ExposureMinimum", "-12")
    Q_CLASSINFO("ExposureMaximum", "0")
    Q_CLASSINFO("ExposureStep", "1")
    Q_CLASSINFO("UseCalibrationEditable", "true")
    Q_CLASSINFO("CalibrationFileEditable", "true")
    Q_PROPERTY(int Exposure READ getExposure WRITE setExposure RESET resetExposure NOTIFY changedExposure)
    Q_PROPERTY(
        bool UseCalibration READ getUseCalibration WRITE setUseCalibration NOTIFY changedUseCalibration)
    Q_PROPERTY(QString CalibrationFile READ getCalibrationFile WRITE setCalibrationFile NOTIFY
            changedCalibrationFile)

public:
    WebCameraSettings(QString name, QObject *parent);

    PROPERTY_TAG Q_INVOKABLE int getExposure() const;

    /** Sets the exposure, the power of two of its time in seconds; limited to -12 to 0. */
    PROPERTY_TAG Q_INVOKABLE void setExposure(int value);
    PROPERTY_TAG Q_INVOKABLE void resetExposure();
    PROPERTY_TAG Q_INVOKABLE void setUseCalibration(bool value);

    /** False until set. */
    PROPERTY_TAG Q_INVOKABLE bool getUseCalibration() const;
    PROPERTY_TAG Q_INVOKABLE void setCalibrationFile(const QString &value);
    PROPERTY_TAG Q_INVOKABLE QString getCalibrationFile() const;

Q_SIGNALS:
    void changedExposure(int value);
    void changedUseCalibration(bool value);
    void changedCalibrationFile(QString value);

private:
    int defaultExposure = -6;
    int minimumExposure = -12;
    int maximumExposure = 0;
    [[maybe_unused]] int stepExposure = 1;
    int exposure = -6;
    bool useCalibration = false;
    QString calibrationFile;
};
