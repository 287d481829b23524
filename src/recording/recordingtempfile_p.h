#pragma once

#include "vtcv_export.h"

#include <QDateTime>
#include <QFile>
#include <QLockFile>
#include <QString>
#include <QStringList>

#include <memory>

/**
 * The claim of one recording on its name in the temporary folder: video, log, list of frames, result and
 * companion sound.
 *
 * While the object lives, no other recorder gets the name, in this process or in another one: a lock file
 * beside the video says that it is taken. The next claimant takes over the lock file of a program that was
 * killed. The claim outlasts the recorder where a job still reads the file.
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
     *
     * Passes over names with a symbolic link, with a file of another user, with a log, a list of
     * frames or a result of a video of another suffix, or with a video that an `ffmpeg` child still reads.
     * Where no lock file can be made, as on a full disk, it takes a name that no file has and writes a
     * console line.
     */
    static std::shared_ptr<RecordingTempFile> claim(const QString &destination);

    /** The folder that recordings ask for, with a slash at its end; see VideoRecorder::tempFolder(). */
    static QString wantedFolder();
    static void setWantedFolder(const QString &folder);

    /**
     * The existing folders in which recordings of this user may lie, each with a slash at its end: the wanted
     * one, the default one, and those that replace a folder that cannot be used.
     */
    static QStringList folders();

    /** True while a recording of this or another process grows at \a videoPath, or an `ffmpeg` child reads
     * that file. */
    static bool isInUse(const QString &videoPath);

    /** The suffixes of temporary videos, in lower case with the dot. */
    static QStringList videoSuffixes();

    /** What the names of the other files of a recording end in: log, list of frames, result, sound. */
    static QStringList companionSuffixes();

    /** True for a regular file, no link, of the user who runs this process. */
    static bool isOwnFile(const QString &path);

    ~RecordingTempFile();

    QString videoPath() const { return folder + baseName + suffix; }
    QString logPath() const { return folder + baseName + QStringLiteral(".log"); }
    /** The list of the frames with their sources and times. */
    QString framesPath() const { return folder + baseName + QStringLiteral(".frames.csv"); }
    /** The sound that a host may have placed beside the video. */
    QString audioPath() const { return folder + baseName + QStringLiteral(".wav"); }
    /** What the name was claimed for. */
    QString destination() const { return claimedFor; }

    /**
     * Renames what a crashed program has left under our name: a video, also an empty one, with its log, its
     * list of frames, its result and its sound.
     *
     * A log without a video stays. Without a video, a list of frames and a result are moved all the same. A
     * sound that was written after \a startedAt, the time of startRecord(), belongs to the recording that
     * begins and stays; the time of the claim counts where it is earlier, or \a startedAt is not valid.
     *
     * \return false if a file could not be renamed. The name must not be used then.
     */
    bool moveLeftoversAside(const QDateTime &startedAt = {}) const;

private:
    RecordingTempFile() = default;
    Q_DISABLE_COPY(RecordingTempFile)

    static QString usableFolder();
    bool tryClaim();
    bool reserve();
    bool isStale(const QString &sound, const QDateTime &startedAt) const;

    QString claimedFor;
    QString folder; // with a slash at its end
    QString baseName; // without suffix
    QString suffix; // with the dot
    QDateTime claimedAt; // on the clock of the folder's file system
    std::unique_ptr<QLockFile> lock;
    std::unique_ptr<QFile> reservation; // the empty video that keeps the name where there is no lock
};
