#include "playback/annotationnamelist.h"
#include "playback/annotationnames.h"
#include "playback/annotationoverlay.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoannotations.h"
#include "playback/videoplayercontroller.h"
#include "playback/videoplayerwidget.h"
#include "screenshots/sheet.h"

#include <QtTest>
#include <QtWidgets>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

namespace {

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

bool savePlaybackSheets(const QString &folder, const QString &ending)
{
    const QTemporaryDir home;
    const QString scene = home.filePath(QStringLiteral("scene.avi"));
    const QString junction = home.filePath(QStringLiteral("junction.avi"));
    if (!writeScene(scene) || !writeJunction(junction))
        qFatal("no video to show");
    Sheet annotations(2);
    Sheet players(3);
    Sheet viewers(2);
    for (const Look &look : looks)
        with(look, [&] { annotations.add(QLatin1String(look.name), annotationPicture(junction)); });
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
    return annotations.save(folder + QStringLiteral("/annotation-overlay") + ending)
        && players.save(folder + QStringLiteral("/player") + ending)
        && viewers.save(folder + QStringLiteral("/frame-viewer") + ending);
}
