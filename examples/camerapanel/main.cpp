// Shows local cameras, and network cameras of the given addresses, in a window: camerapanel [ADDRESS...]
#include <CameraHealthWatch>
#include <CameraHotplugWatch>
#include <CameraOptionsControl>
#include <CameraSettings>
#include <CameraStatusWidget>
#include <CameraWatcher>
#include <ImageHolderViewer>
#include <IPCamera>

#include <QApplication>
#include <QTranslator>
#include <QVariant>
#include <QVBoxLayout>

#include <memory>
#include <vector>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QTranslator texts; // the library installs none by itself
    if (texts.load(QLocale(), QStringLiteral("VTCV"), QStringLiteral("_"), QStringLiteral(":/translations")))
        QCoreApplication::installTranslator(&texts);

    std::vector<std::unique_ptr<IPCamera>> networkCameras;
    for (int i = 1; i < argc; ++i) {
        networkCameras.push_back(std::make_unique<IPCamera>(QStringLiteral("Network camera %1").arg(i)));
        networkCameras.back()->getSettings()->setProperty("Ip", QString::fromLocal8Bit(argv[i]));
        networkCameras.back()->finish(); // a new address starts the camera
        CameraWatcher::Instance()->addCamera(networkCameras.back().get());
    }

    QWidget window;
    auto *const row = new CameraOptionsControl;
    auto *const viewer = new ImageHolderViewer;
    auto *const health = new CameraHealthWatch(nullptr, &window);
    auto *const layout = new QVBoxLayout(&window);
    layout->addWidget(row);
    layout->addWidget(viewer, 1);
    layout->addWidget(new CameraStatusWidget(health));

    // The row asks; what happens to the cameras is decided here.
    QObject::connect(row, &CameraOptionsControl::cameraChangeQuery, row, [=](Camera *wanted) {
        if (Camera *const former = row->getCamera())
            former->stop();
        row->setCamera(wanted);
        if (wanted)
            wanted->start();
    });
    QObject::connect(row, &CameraOptionsControl::cameraChanged, viewer, &ImageHolderViewer::setImageHolder);
    QObject::connect(row, &CameraOptionsControl::cameraChanged, health, &CameraHealthWatch::setCamera);

    CameraHotplugWatch hotplug;
    QObject::connect(
        &hotplug, &CameraHotplugWatch::cameraAdded, row, &CameraOptionsControl::updateCameraList);
    QObject::connect(&hotplug, &CameraHotplugWatch::cameraGone, health, [=](const Camera *camera) {
        if (health->camera() == camera)
            health->reportError(QStringLiteral("unplugged"));
    });

    window.resize(640, 560);
    window.show();
    return app.exec();
}
