#include "report.h"

#include <FFMpegProcessor>
#include <VideoRecorder>

#include <iostream>

int fail(const QString &reason)
{
    std::cerr << "\nvt-record: " << qPrintable(reason) << std::endl;
    return 1;
}

int report(const QString &path, const VideoRecorder &recorder)
{
    const VideoInfo video = FFMpegProcessor::getVideoInfo(path);
    if (!video.isValid || video.frameCount == 0)
        return fail(QStringLiteral("no video came out; see %1").arg(recorder.getTempFilePath()));
    const VideoRecorder::Report account = recorder.getReport();
    std::cout << qPrintable(path) << "\n  " << video.width << "x" << video.height << ", " << video.frameCount
              << " frames at " << video.frameRate << " Hz, " << video.fileSize << " bytes\n  nominal "
              << video.frameCount / video.frameRate << " s, wall clock " << account.wallClockSeconds << " s, "
              << account.measuredRateHz << " passes a second, longest gap " << account.longestGapMs
              << " ms\n  source frames: " << account.offered << " offered, " << account.overwritten
              << " lost, " << account.repeated << " repeated, " << account.refused << " refused" << std::endl;
    return 0;
}
