// Makes the pictures of the widgets for the documentation, on cameras without hardware:
//     screenshots FOLDER SUFFIX
#include "baselib/globalconsole.h"
#include "cameras/camerahealthwatch.h"
#include "cameras/cameraoptionscontrol.h"
#include "cameras/camerasettings.h"
#include "cameras/camerastatuswidget.h"
#include "cameras/camerawatcher.h"
#include "cameras/ipcamera.h"
#include "playback/annotationnamelist.h"
#include "playback/annotationnames.h"
#include "playback/annotationoverlay.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoannotations.h"
#include "playback/videoplayercontroller.h"
#include "playback/videoplayerwidget.h"
#include "support/virtualcameras.h"

#include <QtTest>
#include <QtWidgets>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <functional>
#include <vector>

namespace {

constexpr int gap = 12;

struct Look
{
    const char *name;
    const char *language;
    bool isDark;
};

constexpr Look looks[] = {
    {"English, light", "en_US", false},
    {"English, dark", "en_US", true},
    {"Russian, light", "ru_RU", false},
    {"Russian, dark", "ru_RU", true},
};

QPalette darkPalette()
{
    QPalette palette(QColor(0x35, 0x35, 0x3a), QColor(0x2d, 0x2d, 0x31));
    palette.setColor(QPalette::Base, QColor(0x1f, 0x1f, 0x23));
    palette.setColor(QPalette::AlternateBase, QColor(0x2a, 0x2a, 0x2e));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7d, 0xd8));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x7a, 0xb0, 0xff));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, QColor(0xe6, 0xe6, 0xe6));
        palette.setColor(QPalette::Disabled, role, QColor(0x8a, 0x8a, 0x90));
    }
    return palette;
}

// Calls `make` while the application looks so.
void with(const Look &look, const std::function<void()> &make)
{
    QTranslator translator;
    if (!translator.load(QStringLiteral(":/translations/VTCV_%1.qm").arg(QLatin1String(look.language))))
        qFatal("no texts in %s", look.language);
    QCoreApplication::installTranslator(&translator);
    QApplication::setPalette(look.isDark ? darkPalette() : QApplication::style()->standardPalette());
    QLocale::setDefault(QLocale(QLatin1String(look.language)));
    make();
    QCoreApplication::removeTranslator(&translator);
}

// A widget as it looks on a window of its palette.
QPixmap picture(QWidget *widget, QSize size = {})
{
    widget->resize(size.isValid() ? size : widget->sizeHint());
    widget->show();
    QCoreApplication::processEvents();
    return widget->grab();
}

// Puts pictures under their captions into a sheet of `columns`, and saves it.
class Sheet
{
public:
    explicit Sheet(int columns) : columns(columns) { }

    void add(const QString &caption, const QPixmap &picture) { cells.push_back({caption, picture}); }

    bool save(const QString &path) const
    {
        const qreal ratio = cells.front().picture.devicePixelRatio();
        const int captionHeight = QFontMetrics(QApplication::font()).height() + gap / 3;
        const int rows = (int(cells.size()) + columns - 1) / columns;
        QVector<int> widths(columns);
        QVector<int> heights(rows);
        for (int i = 0; i < int(cells.size()); ++i) {
            const QSize size = cells[size_t(i)].picture.size() / ratio;
            widths[i % columns] = std::max(widths[i % columns], size.width());
            heights[i / columns] = std::max(heights[i / columns], captionHeight + size.height());
        }
        const QVector<int> left = edges(widths);
        const QVector<int> top = edges(heights);
        QImage sheet(QSize(left.last(), top.last()) * ratio, QImage::Format_RGB32);
        sheet.setDevicePixelRatio(ratio);
        sheet.fill(QColor(0xbf, 0xc5, 0xcc));
        QPainter painter(&sheet);
        painter.setPen(Qt::black);
        for (int i = 0; i < int(cells.size()); ++i) {
            const Cell &cell = cells[size_t(i)];
            const QPoint at(left[i % columns], top[i / columns]);
            painter.drawText(at + QPoint(0, QFontMetrics(painter.font()).ascent()), cell.caption);
            painter.drawPixmap(at + QPoint(0, captionHeight), cell.picture);
        }
        painter.end();
        return sheet.save(path, "PNG", 0);
    }

private:
    // Where stripes of these breadths begin, and where what is behind the last one does.
    static QVector<int> edges(const QVector<int> &breadths)
    {
        QVector<int> all{gap};
        for (int breadth : breadths)
            all << all.last() + breadth + gap;
        return all;
    }

    struct Cell
    {
        QString caption;
        QPixmap picture;
    };

    int columns;
    std::vector<Cell> cells;
};

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

// A ball on its way across a table.
bool writeScene(const QString &path)
{
    constexpr int count = 100;
    const cv::Size size(640, 360);
    cv::VideoWriter writer(
        path.toStdString(), cv::CAP_FFMPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25.0, size);
    for (int i = 0; i < count && writer.isOpened(); ++i) {
        cv::Mat frame(size, CV_8UC3, cv::Scalar(120, 130, 125));
        for (int x = 0; x < size.width; x += 40)
            cv::line(frame, {x, 260}, {x * 2 - size.width / 2, size.height}, cv::Scalar(90, 100, 95), 2,
                cv::LINE_AA);
        cv::line(frame, {0, 260}, {size.width, 260}, cv::Scalar(70, 80, 75), 2);
        const int height = int(180 * std::abs(std::sin(i * 0.09)));
        const cv::Point ball(40 + i * 56 / 10, 285 - height);
        cv::ellipse(frame, {ball.x, 318}, {30 - height / 10, 6}, 0, 0, 360, cv::Scalar(80, 85, 82),
            cv::FILLED, cv::LINE_AA);
        cv::circle(frame, ball, 30, cv::Scalar(40, 110, 235), cv::FILLED, cv::LINE_AA);
        cv::circle(frame, ball - cv::Point(9, 11), 8, cv::Scalar(150, 190, 250), cv::FILLED, cv::LINE_AA);
        writer.write(frame);
    }
    return writer.isOpened();
}

QPixmap playerPicture(const QString &path)
{
    VideoPlayerWidget player(path);
    player.setPosition(30);
    if (!QTest::qWaitFor([&] { return player.getPosition() == 30 || !player.getError().isEmpty(); }, 20000))
        qFatal("no picture comes");
    return picture(&player, {440, 300});
}

QPixmap viewerPicture(const QString &path)
{
    SimpleVideoPlayer viewer;
    viewer.setVideo(path);
    viewer.setPosition(55);
    return picture(&viewer, {440, 300});
}

// A junction from above: something that annotations have a meaning on.
bool writeJunction(const QString &path)
{
    const cv::Size size(640, 360);
    cv::VideoWriter video(
        path.toStdString(), cv::CAP_FFMPEG, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25, size);
    for (int frame = 0; frame < 250 && video.isOpened(); ++frame) {
        cv::Mat scene(size, CV_8UC3, cv::Scalar(60, 110, 70));
        const cv::Scalar asphalt(90, 90, 90);
        cv::rectangle(scene, {0, 140, 640, 110}, asphalt, cv::FILLED);
        cv::rectangle(scene, {430, 0, 90, 360}, asphalt, cv::FILLED);
        for (int x = -20; x < 640; x += 40) {
            if (x < 400 || x > 520)
                cv::rectangle(scene, {x, 193, 20, 4}, cv::Scalar(220, 220, 220), cv::FILLED);
        }
        cv::rectangle(scene, {100 + frame, 152, 74, 34}, cv::Scalar(60, 60, 200), cv::FILLED);
        cv::rectangle(scene, {120 + frame, 157, 30, 24}, cv::Scalar(50, 40, 40), cv::FILLED);
        cv::rectangle(scene, {360 - frame, 205, 110, 38}, cv::Scalar(190, 150, 60), cv::FILLED);
        cv::circle(scene, {475, 290 - frame}, 11, cv::Scalar(60, 200, 230), cv::FILLED, cv::LINE_AA);
        video.write(scene);
    }
    return video.isOpened();
}

QPixmap annotationPicture(const QString &video)
{
    VideoAnnotations annotations;
    annotations.open(video);
    const auto set = [&](FrameInfo::InfoDataType type, const char *name, const QVariant &value) {
        annotations.setValue(40, type, QString::fromUtf8(name), value);
    };
    set(FrameInfo::Rect, "car", QRect(140, 152, 74, 34));
    set(FrameInfo::Rect, "van", QRect(320, 205, 110, 38));
    set(FrameInfo::Points, "cyclist", QVariant::fromValue(QList<QPoint>{{475, 250}, {475, 300}, {470, 340}}));
    set(FrameInfo::Percent, "visible", 85);
    set(FrameInfo::Value, "speed", 12.5);
    set(FrameInfo::Comment, "note", QStringLiteral("van gives way"));

    QWidget window;
    auto *const player = new VideoPlayerWidget(video);
    VideoPlayerController controller(player);
    auto *const list = new AnnotationNameList;
    auto *const overlay = new AnnotationOverlay;
    overlay->setNames(list->getNames());
    overlay->setAnnotations(&annotations);
    overlay->setController(&controller);
    auto *const layout = new QGridLayout(&window);
    layout->addWidget(player, 0, 0);
    layout->addWidget(list, 0, 1);
    layout->addWidget(controller.createLabel(), 1, 0, 1, 2);
    layout->setColumnStretch(0, 4);
    layout->setColumnStretch(1, 1);
    window.resize(760, 400);
    window.show();
    controller.setCaptureTimes(
        [](int frame) { return 40 * frame; }, QDateTime(QDate(2026, 11, 24), QTime(14, 30)));
    controller.seek(40);
    QElapsedTimer timer;
    timer.start();
    while (controller.getPosition() != 40 && timer.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    overlay->select(FrameInfo::Rect, QStringLiteral("van"));
    return picture(&window, window.size());
}

} // namespace

int main(int argc, char **argv)
{
    const QTemporaryDir home; // for the settings of the cameras
    qputenv("HOME", QFile::encodeName(home.path()));
    QApplication app(argc, argv);
    if (argc != 3) {
        qCritical("usage: screenshots FOLDER SUFFIX");
        return 2;
    }
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
    QApplication::setCursorFlashTime(0);

    GlobalConsole::setSink([](const QString &, const QDateTime &) {}); // outages are what is shown

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
    Sheet annotations(2);
    const QString video = home.filePath(QStringLiteral("junction.avi"));
    if (!writeJunction(video))
        qFatal("no video can be written");
    for (const Look &look : looks)
        with(look, [&] { annotations.add(QLatin1String(look.name), annotationPicture(video)); });
    const QMetaEnum states = QMetaEnum::fromType<CameraHealthWatch::State>();
    for (const Look &look : looks) {
        for (int i = 0; i < states.keyCount(); ++i) {
            with(look, [&] {
                status.add(i == 0 ? QLatin1String(look.name) : QString(),
                    statusPicture(CameraHealthWatch::State(states.value(i))));
            });
        }
    }

    const QString scene = home.filePath(QStringLiteral("scene.avi"));
    if (!writeScene(scene))
        qFatal("no video to show");
    Sheet players(3);
    Sheet viewers(2);
    for (const Look &look : {looks[0], looks[1]}) {
        with(look, [&] {
            players.add(QLatin1String(look.name), playerPicture(scene));
            viewers.add(QLatin1String(look.name), viewerPicture(scene));
        });
    }
    with(looks[0], [&] {
        players.add(QStringLiteral("A file that cannot be opened"),
            playerPicture(home.filePath(QStringLiteral("none.avi"))));
    });

    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString ending = QString::fromLocal8Bit(argv[2]) + QStringLiteral(".png");
    const bool isSaved = annotations.save(folder + QStringLiteral("/annotation-overlay") + ending)
        && rows.save(folder + QStringLiteral("/camera-row") + ending)
        && settings.save(folder + QStringLiteral("/camera-settings") + ending)
        && status.save(folder + QStringLiteral("/camera-status") + ending)
        && players.save(folder + QStringLiteral("/player") + ending)
        && viewers.save(folder + QStringLiteral("/frame-viewer") + ending);
    return isSaved ? 0 : 1;
}
