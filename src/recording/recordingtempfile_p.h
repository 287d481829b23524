#pragma once

#include "vtcv_export.h"

#include <QLockFile>
#include <QString>

#include <memory>

/**
 * The claim of one recording on its name in the temporary folder: video, log and companion sound.
 *
 * While the object lives, no other recorder gets the name, in this process (by a list of names) or in another
 * one (by a lock file beside the video, which the next claimant takes over if its owner was killed). The
 * claim outlasts the recorder where a job still reads the file.
 *
 * \thread Any; one object on one thread at a time.
 */
class VTCV_TEST_EXPORT RecordingTempFile
{
public:
    /**
     * Claims a name for a recording that is to become \a destination: its own name, or the next free numbered
     * one.
     *
     * A destination whose suffix cannot hold Motion-JPEG that reads back is recorded into an ".avi" file.
     */
    static std::shared_ptr<RecordingTempFile> claim(const QString &destination);

    /** The folder that recordings ask for, with a slash at its end; see VideoRecorder::tempFolder(). */
    static QString wantedFolder();
    static void setWantedFolder(const QString &folder);

    ~RecordingTempFile();

    QString videoPath() const { return folder + baseName + suffix; }
    QString logPath() const { return folder + baseName + QStringLiteral(".log"); }
    /** The sound that a host may have placed beside the video. */
    QString audioPath() const { return folder + baseName + QStringLiteral(".wav"); }
    /** What the name was claimed for. */
    QString destination() const { return claimedFor; }

    /**
     * Renames a video that a crashed program left under our name, with its log, and its sound unless that is
     * newer than the video and so belongs to the recording that begins. A log that stands alone stays.
     */
    void moveLeftoversAside() const;

private:
    RecordingTempFile() = default;
    Q_DISABLE_COPY(RecordingTempFile)

    static QString usableFolder();
    bool tryClaim();
    QString key() const;

    QString claimedFor;
    QString folder; // with a slash at its end
    QString baseName; // without suffix
    QString suffix; // with the dot
    std::unique_ptr<QLockFile> lock;
};
