// What a recording costs beside the bare encoder.

#include "recordingload.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace recordingload;

namespace {

constexpr int framesARound = 90;

void BM_RecordFrame(benchmark::State &state)
{
    QTemporaryDir folder;
    VideoRecorder::setTempFolder(folder.path());
    pictures();
    for (auto _ : state) {
        VideoRecorder recorder(folder.filePath(QStringLiteral("out/take.avi")), recordHz);
        recorder.startRecord();
        feed(recorder, framesARound);
        recorder.stopRecord(true);
    }
    state.SetItemsProcessed(state.iterations() * framesARound);
}
BENCHMARK(BM_RecordFrame)
    ->Name("BM_RecordFrame/1280x720")
    ->MeasureProcessCPUTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

void BM_RecordFrameBaseline(benchmark::State &state)
{
    QTemporaryDir folder;
    pictures();
    for (auto _ : state) {
        cv::VideoWriter writer = VideoRecorder::createWriter(
            folder.filePath(QStringLiteral("take.avi")).toStdString(), recordHz, size);
        // The same pictures as the recorder samples: every second one of the source.
        for (int i = 0; i < framesARound; ++i)
            writer.write(pictures()[size_t(2 * i) % pictures().size()]);
    }
    state.SetItemsProcessed(state.iterations() * framesARound);
}
BENCHMARK(BM_RecordFrameBaseline)
    ->Name("BM_RecordFrame/1280x720/baseline")
    ->MeasureProcessCPUTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv); // workers need it for their events
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
