// How well a recording keeps its pace, and how long its source waits.

#include "recordingload.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace recordingload;

namespace {

// VTCV_PACE_SECONDS=60 bench_recorderpace
void BM_RecordPace(benchmark::State &state)
{
    bool ok = false;
    const int asked = qEnvironmentVariableIntValue("VTCV_PACE_SECONDS", &ok);
    const int seconds = ok && asked > 0 ? asked : 3;
    QTemporaryDir folder;
    VideoRecorder::setTempFolder(folder.path());
    pictures();
    for (auto _ : state) {
        Waits setFrameWaits;
        Waits copyWaits;
        VideoRecorder recorder(folder.filePath(QStringLiteral("out/take.avi")), recordHz);
        recorder.startRecord();
        feed(recorder, int(seconds * recordHz), &setFrameWaits, &copyWaits);
        recorder.stopRecord(true);
        const VideoRecorder::Report report = recorder.getReport();
        state.counters["passes_per_s"] = report.measuredRateHz;
        state.counters["off_percent"] = (report.measuredRateHz / (1000.0 / 33.0) - 1.0) * 100.0;
        state.counters["gap_ms"] = report.longestGapMs;
        state.counters["setFrame_p99_ms"] = setFrameWaits.percentile(0.99);
        state.counters["setFrame_max_ms"] = setFrameWaits.percentile(1.0);
        state.counters["copy_p99_ms"] = copyWaits.percentile(0.99);
        state.counters["copy_max_ms"] = copyWaits.percentile(1.0);
    }
}
BENCHMARK(BM_RecordPace)->Name("BM_RecordPace/1280x720")->Iterations(1)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv); // workers need it for their events
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
