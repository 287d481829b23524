#include "cameras/camerahealthwatch.h"
#include "cameras/cameraoptionscontrol.h"
#include "cameras/camerasettings.h"
#include "cameras/camerastatuswidget.h"
#include "cameras/camerawatcher.h"
#include "cameras/ipcamera.h"
#include "screenshots/sheet.h"
#include "support/virtualcameras.h"

#include <QtWidgets>

namespace {

QPixmap rowPicture(Camera *camera)
{
    QWidget window;
    auto *const row = new CameraOptionsControl;
    (new QVBoxLayout(&window))->addWidget(row);
    row->setCamera(camera);
    if (camera)
        Q_EMIT camera->frameRateChanged(29.97);
    return picture(&window, {500, window.sizeHint().height()});
}

QPixmap settingsPicture(Camera *camera)
{
    CameraOptionsControl row;
    row.setCamera(camera);
    QPixmap result;
    QObject::connect(&row, &CameraOptionsControl::settingsShown, [&](QDialog *dialog) {
        result = picture(dialog, dialog->sizeHint().expandedTo(dialog->minimumSize()));
    });
    row.showCameraSettings();
    return result;
}

QPixmap statusPicture(CameraHealthWatch::State state)
{
    qint64 nowMs = 0;
    Camera camera;
    CameraHealthWatch watch;
    watch.setClock([&] { return std::chrono::milliseconds(nowMs); });
    watch.setCamera(&camera);
    const auto wait = [&](int ms) {
        nowMs += ms;
        watch.check();
    };
    if (state != CameraHealthWatch::Off)
        camera.start();
    if (state >= CameraHealthWatch::Live)
        camera.setFrame(cv::Mat(4, 4, CV_8UC3));
    wait(state == CameraHealthWatch::Stalled ? 3000 : state == CameraHealthWatch::Offline ? 65000 : 0);
    QWidget window;
    (new QVBoxLayout(&window))->addWidget(new CameraStatusWidget(&watch));
    return picture(&window, {165, window.sizeHint().height()});
}

} // namespace

bool saveCameraSheets(const QString &folder, const QString &ending)
{
    virtualcameras::setDevices({{QStringLiteral("Bench camera"), {{640, 480}, {1280, 720}}},
        {QStringLiteral("Microscope"), {{1280, 720}}}});
    IPCamera gate(QStringLiteral("Gate"));
    gate.getSettings()->setProperty("Ip", QStringLiteral("192.168.1.20/stream1"));
    gate.getSettings()->setProperty("Login", QStringLiteral("viewer"));
    gate.getSettings()->setProperty("Password", QStringLiteral("not shown"));
    gate.finish();
    CameraWatcher::Instance()->addCamera(&gate);
    Camera *const bench = CameraWatcher::Instance()->at(0);

    Sheet rows(2);
    Sheet settings(4);
    Sheet status(5);
    for (Camera *const camera : {static_cast<Camera *>(nullptr), bench}) {
        for (const Look &look : looks)
            with(look, [&] { rows.add(QLatin1String(look.name), rowPicture(camera)); });
    }
    for (Camera *const camera : {bench, static_cast<Camera *>(&gate)}) {
        for (const Look &look : looks) {
            with(look, [&] {
                settings.add(camera->getMoniker() + QStringLiteral(": ") + QLatin1String(look.name),
                    settingsPicture(camera));
            });
        }
    }
    const QMetaEnum states = QMetaEnum::fromType<CameraHealthWatch::State>();
    for (const Look &look : looks) {
        for (int i = 0; i < states.keyCount(); ++i) {
            with(look, [&] {
                status.add(i == 0 ? QLatin1String(look.name) : QString(),
                    statusPicture(CameraHealthWatch::State(states.value(i))));
            });
        }
    }
    return rows.save(folder + QStringLiteral("/camera-row") + ending)
        && settings.save(folder + QStringLiteral("/camera-settings") + ending)
        && status.save(folder + QStringLiteral("/camera-status") + ending);
}
