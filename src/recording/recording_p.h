#pragma once

#include "ffmpeg/recordingdelivery.h"
#include "image/framestamp.h"
#include "recording/framelistwriter_p.h"
#include "recording/framepacer_p.h"
#include "recording/frametimelog_p.h"
#include "recording/recordingresult.h"
#include "recording/recordingtempfile_p.h"

#include <opencv2/videoio.hpp>
#include <QElapsedTimer>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

/**
 * One recording of a VideoRecorder, from startRecord() until its files lie where they stay.
 *
 * A start before the former recording is finished makes a new object, so the two never share a member.
 *
 * | State | A pass of the worker | stopRecord() leads to | pauseRecord() leads to |
 * |---|---|---|---|
 * | Armed | waits for the first frame, then opens the file | Over | Armed (opens as Paused) |
 * | Active | writes a frame once a period | Finishing | Paused |
 * | Paused | waits | Finishing | Paused |
 * | Finishing | closes and delivers the files | Finishing | Finishing |
 * | Over | idles | Over | Over |
 */
struct Recording
{
    enum class State
    {
        Armed,
        Active,
        Paused,
        Finishing,
        Over
    };

    bool isWanted() const
    {
        return state == State::Armed || state == State::Active || state == State::Paused;
    }

    /** The report with its rate. Called with the recorder's mutex held. */
    VideoRecorder::Report currentReport() const;

    /** Completes the result with what became of the job, and writes the result file where it is wanted. */
    void endJob(const FFMpegJobVerdict &verdict);

    /** The video stays in the temporary folder for \a reason; without a file there, there is no video. */
    void keep(const QString &reason);

    /** Writes take.json, if the host asked for it. */
    void writeResultFile() const;

    // Guarded by the recorder's mutex.
    State state = State::Armed;
    bool isOpened = false; // the worker opens the file, or has done so: a finish follows
    bool showsCount = true; // getFrameCount() tells frames; not after the finish or a stop with a cut
    bool isRemoved = false; // the finish throws the recording away
    std::optional<VideoInterval> cut; // the finish keeps these frames only
    QDateTime armedAt; // when startRecord() was called; constant
    QString path; // the destination
    QString tempFilePath; // where the video grows, or stays
    double rateHz = 0.0; // nominal; that of the stop once it has come
    std::shared_ptr<RecordingTempFile> tempFile; // our claim on the temporary names
    VideoRecorder::Report report;
    std::optional<qint64> lastPassNs; // on the recorder's clock, none before the first pass and after a pause
    quint64 timedPasses = 0; // passes that report.wallClockSeconds covers
    FramePacer pacer;
    VideoRecorder::SoundMaker soundMaker; // if it is another than the recorder's present one

    // Guarded by logMutex, which setFrame() never takes: a disk that stalls must not stall cameras.
    std::mutex logMutex;
    std::unique_ptr<FrameTimeLog> log;
    std::unique_ptr<FrameListWriter> list;
    std::atomic<quint64> frames{0}; // in the file; changed under the lock, read without it
    quint64 insertedFrames = 0;

    // The worker's.
    cv::VideoWriter writer;
    QElapsedTimer sinceOpening; // origin of the times in the log
    QDateTime startedAt; // the same moment on the wall clock
    qint64 startedUs = -1; // and on the clock of FrameStamp
    QString logPath; // where the log is to lie; empty without one
    bool isCounted = false; // RecordingDeliveries has counted the stop; guarded by its lock
    bool isDestinationTaken = false; // another recording grows at the destination
    cv::Mat sampled; // the frame written last, ready for the writer
    bool isUsable = false; // and whether the writer takes it
    FrameStamp stamp; // of that frame
    bool wantsResultFile = false;

    // The worker's until a job is queued; then of the thread that ends the job, until that is over.
    RecordingResult result;
    int durationMs = 0; // what recordFinished() tells
};
