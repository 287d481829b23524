#pragma once

#include "vtcv_export.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QSize>
#include <QString>
#include <QStringList>

#include <functional>

class RecordingRecoveryJob;

/**
 * Finds recordings that a program has left in the temporary folders, and delivers them.
 *
 *     for (const RecordingRecovery::Set &set : RecordingRecovery::list()) {
 *         const QString target = videos.filePath(set.name + QStringLiteral(".mkv"));
 *         RecordingRecoveryJob *job = RecordingRecovery::deliverAsync(set, target, this);
 *         connect(job, &RecordingRecoveryJob::finished, this, &Window::showRecovered);
 *     }
 *
 * A recording stays in a temporary folder where its program was killed or crashed, or where it could not be
 * delivered. list() is cheap and changes nothing. The other functions work for as long as it takes to read
 * the video, hold the lock file of the set meanwhile, so that neither a recorder nor another program takes
 * it, and refuse a set that is in use. The `...Async` forms do the same on a thread pool.
 *
 * \thread Any, also side by side.
 */
class VTCV_EXPORT RecordingRecovery
{
    Q_DECLARE_TR_FUNCTIONS(RecordingRecovery)

public:
    RecordingRecovery() = delete;

    /** The files of one recording. A path is empty where there is no such file. */
    struct Set
    {
        QString folder; // absolute, with a slash at its end
        QString name; // of the files, without suffix; ends in "_aside1" and so on where a recorder moved them
        QString videoPath;
        QString logPath; // the frame time log
        QString framesPath; // the list of frames
        QString soundPath;
        QString resultPath;
        qint64 videoBytes = 0; // 0 if the program ended before the first block was written
        qint64 bytes = 0; // of all files
        QDateTime lastWritten; // the newest of the files
        bool isInterrupted = false; // the lock file of a program that has ended lies beside them

        /** The paths of all files that there are. */
        QStringList files() const;
    };

    /** What the video and the log of a set hold. */
    struct Contents
    {
        qint64 frames = -1; // frames that decode; -1 if not counted
        double rateHz = 0.0; // the nominal rate; 0 if unknown
        double lengthS = 0.0; // of the video at that rate
        QSize size; // of a frame in pixels
        bool hasHeader = false; // the header tells that number of frames; repair() makes it do so
        int logRecords = 0; // whole records of the log
    };

    /** How an operation ended. */
    struct Result
    {
        bool ok = false;
        QString reason; // a sentence for users where not ok, or where something could not be done as asked
        Set files; // where the files lie now
        Contents contents; // of the source
    };

    /** Hears of the part that is done, from 0 to 1 and growing; returning false cancels the operation. */
    using Progress = std::function<bool(double done)>;

    /**
     * The sets that no process uses, the newest first: in \a folder, or in all folders in which recordings of
     * this user may lie.
     *
     * Lists empty videos, and logs and lists of frames without a video, too. Leaves out files of other users
     * and links. A set is in use while a recording grows there, or an `ffmpeg` child reads it, also one whose
     * program has ended. In a folder that recordings are delivered to as well, finished videos are listed
     * like others.
     */
    static QList<Set> list(const QString &folder = QString());

    /** Counts the frames that decode and the records of the log. Reads the whole video. */
    static Result inspect(const Set &set, const Progress &progress = {});

    /**
     * Rewrites the video's header and index where it lies, without re-encoding. Needs `ffmpeg`, and room for
     * a second copy.
     *
     * The former file is replaced once the new one holds at least the frames that decode.
     */
    static Result repair(const Set &set, const Progress &progress = {});

    /**
     * Delivers the set to \a destination, without re-encoding the picture: the video under that name with the
     * sound in it, log, list of frames and result beside it.
     *
     * The suffix chooses the container. Sound that cannot be joined is placed beside the video. A missing
     * folder is made. Without `ffmpeg`, a video that keeps its suffix is copied as it is.
     *
     * Nothing is overwritten: fails if one of the files exists at the destination. The set is removed once
     * the delivered video holds at least the frames that decode, and stays otherwise, with nothing left at
     * the destination. A video without a single frame is not delivered.
     */
    static Result deliver(const Set &set, const QString &destination, const Progress &progress = {});

    /** Deletes all files of the set. */
    static Result remove(const Set &set);

    /**
     * The same on a thread pool.
     *
     * \thread One that delivers events.
     * \ownership The parent's or the caller's.
     */
    static RecordingRecoveryJob *inspectAsync(const Set &set, QObject *parent = nullptr);
    static RecordingRecoveryJob *repairAsync(const Set &set, QObject *parent = nullptr);
    static RecordingRecoveryJob *deliverAsync(
        const Set &set, const QString &destination, QObject *parent = nullptr);
    static RecordingRecoveryJob *removeAsync(const Set &set, QObject *parent = nullptr);
};
Q_DECLARE_METATYPE(RecordingRecovery::Set)
Q_DECLARE_METATYPE(RecordingRecovery::Result)
