// What the players add to the library calls that they consist of, and what they save of them.
//
// A second way to move a few frames ahead is the point of "ForwardBy5": its baseline seeks, as
// "RandomSeek"'s.

#include "playback/playerprogress_p.h"
#include "playback/simplevideoplayer.h"
#include "playback/videoplayerwidget.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include <functional>
#include <vector>

namespace {

constexpr int frameCount = 400;
constexpr int step = 5;
// There is no time between two frames where it would be less than 1 ms.
const QString noPause = QStringLiteral("2000");

// Something that moves over something that does not, with the noise of a camera.
cv::Mat picture(int index)
{
    static const cv::Mat ground = [] {
        cv::Mat noise(720, 1280, CV_8UC3);
        cv::theRNG().state = 1;
        cv::randu(noise, 0, 255);
        cv::Mat smooth;
        cv::GaussianBlur(noise, smooth, {31, 31}, 0);
        return smooth;
    }();
    static const std::vector<cv::Mat> grains = [] {
        std::vector<cv::Mat> all(5);
        for (cv::Mat &grain : all) {
            grain.create(ground.size(), CV_8UC3);
            cv::randn(grain, 8, 4);
        }
        return all;
    }();
    cv::Mat frame = ground + grains[size_t(index) % grains.size()];
    cv::circle(frame, {100 + index * 3 % 1100, 360}, 80, {40, 200, 90}, cv::FILLED);
    return frame;
}

using Move = std::function<bool(int)>; // to a frame; false if it is not there

// Far from each other in both directions, the same ones for both sides.
void seeks(benchmark::State &state, const Move &move)
{
    int index = 0;
    for (auto _ : state) {
        index = (index + 237) % frameCount;
        if (!move(index))
            return state.SkipWithError("a frame is missing");
    }
}

// Through the part where a seek has all the frames before it that it decodes.
void stepsAhead(benchmark::State &state, const Move &move)
{
    constexpr int first = 100;
    move(first);
    int index = first;
    for (auto _ : state) {
        index += step;
        if (index >= frameCount) {
            state.PauseTiming();
            move(first);
            state.ResumeTiming();
            index = first + step;
        }
        if (!move(index))
            return state.SkipWithError("a frame is missing");
    }
}

void ours(benchmark::State &state, const QString &path, void (*run)(benchmark::State &, const Move &))
{
    SimpleVideoPlayer viewer;
    viewer.setVideo(path);
    run(state, [&](int index) {
        viewer.setPosition(index);
        return viewer.getPosition() == index;
    });
}

void bare(benchmark::State &state, const QString &path, void (*run)(benchmark::State &, const Move &))
{
    cv::VideoCapture capture(path.toStdString(), cv::CAP_FFMPEG);
    run(state, [&](int index) {
        cv::Mat frame;
        capture.set(cv::CAP_PROP_POS_FRAMES, index);
        return capture.read(frame);
    });
}

// With the GUI thread showing what it can, as it does in an application.
void play(benchmark::State &state, const QString &path)
{
    VideoPlayerWidget player(path);
    player.resize(640, 480);
    player.show();
    auto *const progress = player.findChild<PlayerProgress *>();
    QEventLoop loop;
    QObject::connect(progress, &PlayerProgress::shown, &loop, [&](int frame) {
        if (frame == 0 && !player.isPlaying())
            loop.quit();
    });
    QObject::connect(progress, &PlayerProgress::playingChanged, &loop, [&](bool isPlaying) {
        if (!isPlaying)
            loop.quit();
    });
    loop.exec();
    for (auto _ : state) {
        player.setPlaying(true);
        loop.exec();
        if (player.getPosition() != frameCount - 1)
            return state.SkipWithError("not played to the end");
        state.PauseTiming();
        player.setPosition(0);
        loop.exec();
        state.ResumeTiming();
    }
}

void readAll(benchmark::State &state, const QString &path)
{
    cv::VideoCapture capture(path.toStdString(), cv::CAP_FFMPEG);
    cv::Mat frame;
    capture.read(frame); // the player has shown it already
    for (auto _ : state) {
        int count = 1;
        while (capture.read(frame))
            ++count;
        if (count != frameCount)
            return state.SkipWithError("a frame is missing");
        state.PauseTiming();
        capture.set(cv::CAP_PROP_POS_FRAMES, 0);
        capture.read(frame);
        state.ResumeTiming();
    }
}

void transcode(const QString &from, const char *options, const QString &to)
{
    QProcess::execute(QStringLiteral("ffmpeg"),
        QStringList{"-v", "error", "-r", noPause, "-i", from, "-vsync", "passthrough"}
            + QString::fromLatin1(options).split(' ') + QStringList{to});
}

void measure(const std::string &name, std::function<void(benchmark::State &)> function)
{
    benchmark::RegisterBenchmark(name.c_str(), std::move(function))
        ->Unit(benchmark::kMicrosecond)
        ->MeasureProcessCPUTime()
        ->UseRealTime();
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}); // a trace a move
    QApplication application(argc, argv);
    const QTemporaryDir dir;
    const QString written = dir.filePath(QStringLiteral("written.avi"));
    const QString mjpg = dir.filePath(QStringLiteral("video.avi"));
    const QString h264 = dir.filePath(QStringLiteral("video.mp4"));
    {
        cv::VideoWriter writer(written.toStdString(), cv::CAP_FFMPEG,
            cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 25.0, {1280, 720});
        for (int i = 0; i < frameCount; ++i)
            writer.write(picture(i));
    }
    transcode(written, "-c:v copy", mjpg);
    transcode(written,
        "-c:v libx264 -preset veryfast -pix_fmt yuv420p -x264-params keyint=250:scenecut=0:bframes=3", h264);

    const std::pair<const char *, QString> files[] = {{"MJPG", mjpg}, {"H264", h264}};
    for (const auto &file : files) {
        const QString path = file.second;
        const std::string suffix = std::string("/1280x720/") + file.first;
        const auto pair = [&](const char *name, std::function<void(benchmark::State &)> subject,
                              std::function<void(benchmark::State &)> baseline) {
            measure(name + suffix, std::move(subject));
            measure(name + suffix + "/baseline", std::move(baseline));
        };
        pair(
            "BM_Play", [path](auto &state) { play(state, path); },
            [path](auto &state) { readAll(state, path); });
        pair(
            "BM_RandomSeek", [path](auto &state) { ours(state, path, seeks); },
            [path](auto &state) { bare(state, path, seeks); });
        pair(
            "BM_ForwardBy5", [path](auto &state) { ours(state, path, stepsAhead); },
            [path](auto &state) { bare(state, path, stepsAhead); });
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
