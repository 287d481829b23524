#pragma once

#include "ffmpeg/ffmpegjobwatch.h"
#include "recording/videorecorder.h"
#include "vtcv_export.h"

#include <QDateTime>
#include <QJsonObject>
#include <QMetaType>
#include <QString>

#include <optional>

/**
 * Tells how one recording of a VideoRecorder ended, and where its files lie.
 *
 *     const RecordingResult result = recorder.lastResult();
 *     if (result.outcome == RecordingResult::Delivered && result.isWhole)
 *         play(result.videoPath);
 *     else
 *         warn(result.reason);
 *
 * A value: copy it as you like.
 */
struct VTCV_EXPORT RecordingResult
{
    enum Outcome
    {
        Delivered, // the video lies at its destination
        KeptInTemporaryFolder, // it could not be delivered, or was not to be; see videoPath and reason
        Discarded, // it was thrown away on request
        Empty // there is no video: no frame was written, or the file is gone
    };

    Outcome outcome = Empty;
    QString destination; // as given to startRecord()
    QString videoPath; // where the video lies now; empty if there is none
    QString logPath; // where the frame time log lies now; empty if there is none
    QString framesPath; // where the list of frames lies now; empty if there is none
    QString soundPath; // where sound lies that is not in the video; empty if there is none
    quint64 framesCounted = 0; // frames that the recorder has written, those that were kept after a cut
    qint64 framesFound = -1; // frames in the temporary video as it was closed and cut; -1 if not counted
    bool isWhole = false; // the video has all frames that were counted
    QString reason; // why it was not delivered, or is not whole: a sentence for users; empty otherwise
    std::optional<FFMpegJobVerdict> job; // what ffmpeg made of it; none if no job was queued
    VideoRecorder::Report report;
    QDateTime startedAt; // UTC; when the video was opened, the origin of the times in the log
    qint64 startedUs = -1; // the same moment on the clock of FrameStamp
    quint64 insertedFrames = 0; // of framesCounted, those from insertFramesOverride()
    quint64 logShift = 0; // the number that the log has for the video's first frame; above 0 after a cut

    /** The result as it is written beside the video; the file format is described in docs/file-formats.md. */
    QJsonObject toJson() const;
};
Q_DECLARE_METATYPE(RecordingResult)
