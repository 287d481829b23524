#pragma once

#include "baselib/connectionhelper.h"
#include "vtcv_export.h"

#include <QPointer>
#include <QSize>
#include <QString>
#include <QWidget>

class Camera;
class FPSWidget;
class QComboBox;
class QDialog;
class QHBoxLayout;
class QPushButton;

/**
 * Lets the user choose a camera in a row of controls, and shows and steers the chosen one.
 *
 *     auto *row = new CameraOptionsControl;
 *     connect(row, &CameraOptionsControl::cameraChangeQuery, row, &CameraOptionsControl::changeCamera);
 *     connect(row, &CameraOptionsControl::cameraChanged, this, &Panel::showCamera);
 *
 * The row holds the cameras of CameraWatcher, the sizes of the shown camera, a snapshot button, a settings
 * button, the rotation and the frame rate. It neither switches nor starts or stops a camera: when the user
 * picks one it asks with cameraChangeQuery(), and the application answers with setCamera(), or not at all;
 * the row then shows the picked name until it is told of a camera.
 *
 * The cameras are listed once, by the constructor; see updateCameraList(). A camera that is not in the list
 * can be shown all the same. A shown camera may be deleted at any time: the row shows no camera then.
 *
 * The rotation is written to the camera's settings. A change made elsewhere is not followed.
 *
 * \thread GUI thread, and that of the cameras.
 */
class VTCV_EXPORT CameraOptionsControl : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(Camera *m_camera READ getCamera WRITE setCamera NOTIFY cameraChanged)

public:
    explicit CameraOptionsControl(QWidget *parent = nullptr);
    ~CameraOptionsControl() override;

    /** Shows \a value, or no camera for null. \ownership The caller's. */
    Q_INVOKABLE void setCamera(Camera *value);

    /** The shown camera; null for none. */
    Q_INVOKABLE Camera *getCamera() const;

    /** Disables the cameras in whose names \a filter does not stand, in any case; an empty one enables all.
     */
    void setCameraFilter(QString filter);

    /** Lists the cameras of CameraWatcher anew, for instance when CameraHotplugWatch has found one. */
    void updateCameraList();

    /** With true a file dialog asks where a snapshot goes; with false, as at first, see takeSnapshot(). */
    void setUserPicksSnapshotPath(bool value);

    // These count while a camera is shown; there is nothing to see of them without one.
    void showSnapshotButton(bool value);
    void showRotationCombo(bool value);
    void showFPSLabel(bool value);

    /** Shows or hides the frame rate until the next change of the camera or of the three above. */
    void showFPS(bool value);

Q_SIGNALS:
    /** The user, or selectCamera(), asks for this camera; null for none. Answer with setCamera(). */
    void cameraChangeQuery(Camera *m_camera);

    /** Comes at the end of each setCamera(), also where the camera was shown already. */
    void cameraChanged(Camera *m_camera);

    /** The settings dialog is shown. It frees itself when it is closed. */
    void settingsShown(QDialog *);

public Q_SLOTS:
    /** Asks for the camera in the row \a index of the list; row 0 stands for none. */
    void indexChanged(int index);

    /** Gives the shown camera the size at \a index of its list. */
    void resolutionIndexChanged(int index);

    /** Shows \a size as the current one. */
    void cameraResolutionChanged(QSize size);

    /** The same as setCamera(). */
    void changeCamera(Camera *m_camera);

    /**
     * Saves the current frame of the shown camera into the user's pictures folder, which is made where it is
     * missing, as a JPEG named after the time; or where the user wants, in the format of the file's ending.
     * An existing file is replaced by a whole one only. A failure is told in one console line. Nothing
     * happens while the camera has no frame.
     */
    void takeSnapshot();

    /** Shows the settings of the shown camera in a modal dialog, and returns at once. */
    void showCameraSettings();

    /** Turns the frames of the shown camera. \param rotation a CameraSettings::CameraRotation. */
    void changeRotation(int rotation);

    /** Asks for the camera of this \a name; see CameraWatcher::getByName(). */
    void selectCamera(QString name);

private:
    void updateCameraCombo();
    void updateVisual();
    void applyFilter();
    void followResolutionCombo();
    void ignoreResolutionCombo();
    void retranslate();

    QPointer<Camera> m_camera; // not owned
    QHBoxLayout *layout = nullptr;
    QComboBox *cameraCombo = nullptr; // row i + 1 is the registry's camera i
    QComboBox *resolutionCombo = nullptr; // row i is the camera's size i
    FPSWidget *fpsWidget = nullptr;
    QPushButton *snapshotButton = nullptr;
    QPushButton *settingsButton = nullptr;
    QComboBox *rotationCombo = nullptr; // row i is the CameraRotation i
    bool showSnapshot = true;
    bool showRotation = true;
    bool showFPSFlag = true;
    bool userPicksSnapshotPath = false;
    ConnectionHelper connections; // those of the shown camera
    QString filter;
};
