#pragma once

#include "ffmpeg/ffmpeghelperjob.h"
#include "vtcv_export.h"

#include <QString>
#include <QStringList>

#include <cstddef>

/**
 * Runs `ffmpeg` once for a single file task: convert, change the volume, cut, join.
 *
 *     QString source = QStringLiteral("/sound/take1.wav");
 *     QString destination = QStringLiteral("/sound/take1.mp3");
 *     if (!FFMPEGHelper::convert(source, destination))
 *         qWarning() << FFMPEGHelper::lastError;
 *
 * **The functions that give a `bool` block** their caller until `ffmpeg` has ended, or the time limit has
 * passed; no event is delivered meanwhile. A window uses the `...Async` ones, whose job tells progress and
 * result by signals and can be cancelled.
 *
 * The program is looked up under the name "ffmpeg.exe" on Windows and "ffmpeg" elsewhere, on the search path.
 * Sources and destinations are files, whatever they look like: relative paths are passed as absolute ones. It
 * gets no answer on its input: where it would ask a question, it fails.
 *
 * **The result of a blocking function says that the destination exists** after `ffmpeg` has ended in time.
 * The exit code is not looked at: an older file that `ffmpeg` has left alone counts as success, and so does
 * the beginning of a file on a full disk. Jobs look at exit code and file, so use them for files that are not
 * to be lost. A child that is still there after the time limit is asked to end, and killed two seconds later;
 * what it has written stays.
 *
 * What overwrites its destination refuses one that is the source under another spelling ("./a.wav", a link),
 * because `ffmpeg` would empty the file that it reads.
 *
 * \thread Any, several at once too, but see lastError. Every time limit is in milliseconds.
 */
class VTCV_EXPORT FFMPEGHelper
{
public:
    /** Pass as timeoutMs to wait without a limit. */
    static constexpr unsigned int noTimeLimit = 4294967295U;

    /**
     * Why the last convert() has failed, in English; empty after one that has not.
     *
     * Only convert() and convertVideoToMP4() set it, never a job or another function.
     *
     * \thread The text belongs to the whole process. Calls on several threads at once do no harm to each
     * other, but whoever reads it while a call runs on another thread reads a text that is being written. So
     * read it on the thread of the call, before the next call anywhere, or use jobs, which carry their own
     * error().
     */
    static QString lastError;

    FFMPEGHelper() = delete;

    /**
     * Makes \a destination from \a source; the suffix of \a destination says what it becomes.
     *
     * \param parameters arguments between the two, separated by single blanks, "-r 25 -an". No quoting: an
     * argument cannot hold a blank, and two blanks in a row give an empty argument.
     * \param overwrite removes an old \a destination first, and fails where that is not possible. It does not
     * protect the file where it is false: `ffmpeg` then overwrites it.
     * \return false with a reason in lastError, which is empty where `ffmpeg` has just made no file. Neither
     * path is changed.
     */
    static bool convert(QString &source, QString &destination, QString parameters, bool overwrite = true,
        unsigned int timeoutMs = noTimeLimit);
    static bool convert(
        QString &source, QString &destination, bool overwrite = true, unsigned int timeoutMs = noTimeLimit);

    /** The same for \a parameters that are a literal, which would count as \a overwrite otherwise. */
    template <std::size_t size>
    static bool convert(QString &source, QString &destination, const char (&parameters)[size],
        bool overwrite = true, unsigned int timeoutMs = noTimeLimit)
    {
        return convert(source, destination, QString::fromUtf8(parameters), overwrite, timeoutMs);
    }

    /**
     * Makes an MP4 from the file at \a path: beside it, or in its place if its suffix is "mp4" already.
     *
     * The new file has the suffix ".mp4" for each occurrence of the old one in the path, in the names of
     * folders too. An MP4 is rewritten by way of a file with "_.mp4" in its name. Older files of these names
     * are overwritten.
     *
     * \param path becomes the path of the new file where that is another one, after success only.
     * \param removeSource removes the old file after success. A file rewritten in place is replaced anyway.
     * \return false where \a path does not exist (without a message) or convert() fails; the source stays.
     */
    static bool convertVideoToMP4(
        QString &path, bool removeSource = false, unsigned int timeoutMs = noTimeLimit);

    /**
     * Makes \a destination from \a source with its sound multiplied by \a volume, 0 (silent) to 2; what is
     * beyond counts as the nearer end.
     *
     * Where \a volume is 1 and both paths are equal without regard to case, nothing needs to be done. An old
     * \a destination is overwritten.
     */
    static bool changeVolume(
        QString source, QString destination, float volume, unsigned int timeoutMs = noTimeLimit);

    /** Makes \a destination, overwriting an old one, from the first \a durationMs of \a source. The length
     * reaches `ffmpeg` with six significant digits: to 0.1 s beyond 10000 s. */
    static bool crop(
        QString source, QString destination, int durationMs, unsigned int timeoutMs = noTimeLimit);

    /**
     * Makes \a destination from \a sources, one behind the other, without decoding them: they have to be
     * alike. An old \a destination stays as it is, and counts as success.
     *
     * The names are passed in a file "list" + date and time + ".txt" in the current folder, which each call
     * has for itself; it is removed at the end, but stays after the time limit has passed. Relative paths
     * count from that folder. A path with an apostrophe or a line break, which the list cannot hold, is
     * passed as a link (where there are none, as a copy) in a private folder beside the list.
     *
     * \param safe lets `ffmpeg` refuse absolute paths and unusual characters.
     */
    static bool joinAudio(
        QStringList sources, QString destination, bool safe = false, unsigned int timeoutMs = noTimeLimit);

    /**
     * Sets how many of the jobs below run at a time, 2 by default and at least 1. The others wait.
     *
     * \thread Any.
     */
    static void setMaxParallelJobs(int count);

    /**
     * Each starts what its namesake does, with the same checks and arguments, and returns at once.
     *
     * The job is never null: what is refused is told by its finished() as well.
     *
     * \thread One that delivers events; the job's signals come there.
     * \ownership The job belongs to \a parent, or to the caller if there is none. It may be deleted at any
     * time.
     */
    static FFMPEGHelperJob *convertAsync(const QString &source, const QString &destination,
        const QString &parameters = QString(), bool overwrite = true, unsigned int timeoutMs = noTimeLimit,
        QObject *parent = nullptr);
    static FFMPEGHelperJob *convertVideoToMP4Async(const QString &path, bool removeSource = false,
        unsigned int timeoutMs = noTimeLimit, QObject *parent = nullptr);
    static FFMPEGHelperJob *changeVolumeAsync(const QString &source, const QString &destination, float volume,
        unsigned int timeoutMs = noTimeLimit, QObject *parent = nullptr);
    static FFMPEGHelperJob *cropAsync(const QString &source, const QString &destination, int durationMs,
        unsigned int timeoutMs = noTimeLimit, QObject *parent = nullptr);
    static FFMPEGHelperJob *joinAudioAsync(const QStringList &sources, const QString &destination,
        bool safe = false, unsigned int timeoutMs = noTimeLimit, QObject *parent = nullptr);
};
