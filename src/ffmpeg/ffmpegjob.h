#pragma once

#include "ffmpeg/recordingdelivery.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>

/** What a job of FFMpegQueue does. */
enum FFMpegJobType : int
{
    Optimize = 0, // rewrites the source in place
    Convert = 1, // makes dest from source
    JoinVideoAndAudio = 2 // makes dest from source and audio
};

/** One job of FFMpegQueue. */
struct FFMpegJob
{
    QString source; // the video to process
    QString audio; // the sound of a JoinVideoAndAudio, empty otherwise
    QString dest; // the file wanted
    FFMpegJobType type = Optimize;
    RecordingDelivery delivery; // how dest is made
};

/** A job in the list of FFMpegQueue. */
struct FFMpegJobEntry
{
    enum State
    {
        Running, // starts or runs
        Waiting,
        Held // not started until it is released
    };

    quint64 ticket = 0; // above 0, never used twice in one queue
    FFMpegJob job;
    State state = Waiting;
};

/** How one job of FFMpegQueue ended. */
struct FFMpegJobVerdict
{
    enum Outcome
    {
        Done, // dest is ready, the source consumed
        Failed, // ffmpeg failed, or could not be started; the source is kept
        Cancelled, // by cancelCurrent() or cancelAll(), while it ran or before; the source is kept
        NothingStarted, // the source is no video, or the audio does not exist
        Held, // by holdJob(); another verdict follows after releaseJob()
        Removed // by removeJob(); the source and the audio are kept
    };

    FFMpegJob job;
    Outcome outcome = Failed;
    int exitCode = -1; // of ffmpeg, the number of the signal after a crash; -1 if it was not started
    bool hasCrashed = false; // the child did not end by itself
    QString text; // the last 20 lines of ffmpeg's error channel: the reason of a failure
    qint64 durationMs = 0; // from the start of the child until the queue noticed its end
    // For requeue() only, which recognises the source by them:
    qint64 sourceSize = -1; // bytes, after the end of the job
    QDateTime sourceTime; // of the last change
};
Q_DECLARE_METATYPE(FFMpegJobVerdict)
