// What a frame costs in VideoFileWriter beside the bare encoder of OpenCV, and beside GStreamer's jpegenc.

#include "recordingload.h"
#include "video/videofilewriter.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <opencv2/videoio/registry.hpp>

namespace {

constexpr int framesARound = 150;
const cv::Size fullHd(1920, 1080);

enum Content
{
    Clean,
    Grain
};

// Drawn as clean as a screen, or with the grain of a camera.
const std::vector<cv::Mat> &pictures(Content content)
{
    static std::vector<cv::Mat> made[2];
    if (made[content].empty()) {
        for (cv::Mat picture : recordingload::pictures()) {
            if (content == Clean)
                cv::medianBlur(picture, picture, 5);
            cv::resize(picture, picture, fullHd, 0.0, 0.0, cv::INTER_CUBIC);
            if (content == Grain) {
                cv::Mat grain(fullHd, CV_8UC3);
                cv::randn(grain, 0, 5);
                picture += grain;
            }
            made[content].push_back(picture);
        }
    }
    return made[content];
}

template <typename Write> void writeRounds(benchmark::State &state, Content content, Write write)
{
    const std::vector<cv::Mat> &frames = pictures(content);
    const QTemporaryDir folder;
    for (auto _ : state) {
        if (!write(folder.filePath(QStringLiteral("take.avi")), frames))
            state.SkipWithError("the file could not be written");
    }
    state.SetItemsProcessed(state.iterations() * framesARound);
}

void BM_WriteVideo(benchmark::State &state, Content content)
{
    writeRounds(state, content, [](const QString &path, const std::vector<cv::Mat> &frames) {
        VideoFileWriter writer;
        writer.open(path, fullHd, recordingload::recordHz);
        for (int i = 0; i < framesARound; ++i)
            writer.write(frames[std::size_t(i) % frames.size()]);
        return writer.close().ok;
    });
}

bool writeAll(cv::VideoWriter &writer, const std::vector<cv::Mat> &frames)
{
    for (int i = 0; i < framesARound; ++i)
        writer.write(frames[std::size_t(i) % frames.size()]);
    return writer.isOpened();
}

void BM_WriteVideoBaseline(benchmark::State &state, Content content)
{
    writeRounds(state, content, [](const QString &path, const std::vector<cv::Mat> &frames) {
        cv::VideoWriter writer =
            VideoRecorder::createWriter(path.toStdString(), recordingload::recordHz, fullHd);
        return writeAll(writer, frames);
    });
}

void BM_WriteVideoGStreamer(benchmark::State &state, Content content)
{
    writeRounds(state, content, [](const QString &path, const std::vector<cv::Mat> &frames) {
        const QString pipeline =
            QStringLiteral("appsrc ! videoconvert ! jpegenc ! avimux ! filesink location=%1");
        cv::VideoWriter writer(
            pipeline.arg(path).toStdString(), cv::CAP_GSTREAMER, 0, recordingload::recordHz, fullHd);
        return writeAll(writer, frames);
    });
}

template <typename Function> void add(const char *name, Function function, Content content)
{
    benchmark::RegisterBenchmark(name, function, content)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

void BM_RepeatFrame(benchmark::State &state)
{
    const QTemporaryDir folder;
    VideoFileWriter writer;
    writer.open(folder.filePath(QStringLiteral("take.avi")), fullHd, recordingload::recordHz);
    writer.write(pictures(Grain).front());
    for (auto _ : state)
        writer.repeatLast();
    if (!writer.close().ok)
        state.SkipWithError("the file could not be written");
}
BENCHMARK(BM_RepeatFrame)
    ->Name("BM_RepeatFrame/1920x1080")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

void BM_RepeatFrameBaseline(benchmark::State &state)
{
    const QTemporaryDir folder;
    cv::VideoWriter writer = VideoRecorder::createWriter(
        folder.filePath(QStringLiteral("take.avi")).toStdString(), recordingload::recordHz, fullHd);
    for (auto _ : state)
        writer.write(pictures(Grain).front());
}
BENCHMARK(BM_RepeatFrameBaseline)
    ->Name("BM_RepeatFrame/1920x1080/baseline")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Iterations(20)
    ->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    add("BM_WriteVideo/clean/1920x1080", BM_WriteVideo, Clean);
    add("BM_WriteVideo/clean/1920x1080/baseline", BM_WriteVideoBaseline, Clean);
    add("BM_WriteVideo/grain/1920x1080", BM_WriteVideo, Grain);
    add("BM_WriteVideo/grain/1920x1080/baseline", BM_WriteVideoBaseline, Grain);
    if (cv::videoio_registry::hasBackend(cv::CAP_GSTREAMER)) {
        add("BM_WriteVideo/jpegenc/clean/1920x1080", BM_WriteVideoGStreamer, Clean);
        add("BM_WriteVideo/jpegenc/grain/1920x1080", BM_WriteVideoGStreamer, Grain);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
