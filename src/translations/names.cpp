// Names that are looked up while the program runs, so that tools/translations finds them. Never compiled.

// Properties and groups of settings.
QT_TRANSLATE_NOOP("Generic", "CameraSettings")
QT_TRANSLATE_NOOP("Generic", "Rotation")
QT_TRANSLATE_NOOP("Generic", "Flip")
QT_TRANSLATE_NOOP("Generic", "WebCameraSettings")
QT_TRANSLATE_NOOP("Generic", "Exposure")
QT_TRANSLATE_NOOP("Generic", "UseCalibration")
QT_TRANSLATE_NOOP("Generic", "CalibrationFile")
QT_TRANSLATE_NOOP("Generic", "IPCameraSettings")
QT_TRANSLATE_NOOP("Generic", "Ip")
QT_TRANSLATE_NOOP("Generic", "Login")
QT_TRANSLATE_NOOP("Generic", "Password")

// Enumerations, each in a context of its name.
QT_TRANSLATE_NOOP("CameraRotation", "Rotate0")
QT_TRANSLATE_NOOP("CameraRotation", "Rotate90")
QT_TRANSLATE_NOOP("CameraRotation", "Rotate180")
QT_TRANSLATE_NOOP("CameraRotation", "Rotate270")
QT_TRANSLATE_NOOP("CameraFlip", "FlipNone")
QT_TRANSLATE_NOOP("CameraFlip", "FlipX")
QT_TRANSLATE_NOOP("CameraFlip", "FlipY")
QT_TRANSLATE_NOOP("CameraFlip", "FlipXY")

// The unit behind a frame rate.
QT_TRANSLATE_NOOP("VideoRecorderWidget", "Hz")
