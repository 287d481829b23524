#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QVector>

#include <functional>
#include <limits>

/**
 * Reads the frame time log that a recording leaves beside its video, and answers which frame was written
 * when.
 *
 *     FrameTimeLogReader log;
 *     if (log.open(QStringLiteral("take1.log")))
 *         qInfo() << "frame 100 was written" << log.timeOf(100) << "ms after the start";
 *
 * The file is opened read-only, read once and closed; it is never changed. Times are milliseconds since the
 * writer of the recording was opened, or what the host gave to VideoRecorder::sync(). They tell when a frame
 * was written, not when its picture was taken; FrameList does, where the recording has left one. Inserted
 * frames have the time 0.
 *
 * Memory: 24 bytes a frame. A file of random bytes gives false after one pass over it at most.
 *
 * \thread One object on one thread at a time; any thread.
 */
class VTCV_EXPORT FrameTimeLogReader
{
public:
    /** One frame of the recording. */
    struct Entry
    {
        quint32 frame;
        qint64 timeMs;
    };

    /** A stretch of time in which no frame was written. */
    struct Gap
    {
        quint32 lastFrame; // the frame before the gap
        quint32 nextFrame; // the frame that ends it
        qint64 startMs; // time of lastFrame
        qint64 lengthMs;
    };

    /** What to do with a file that is not whole, such as that of a program that was killed. */
    enum class Damage
    {
        Refuse, // open() is false
        Salvage, // open() takes all whole records before the fault and is true if there is one at least
    };

    /** The first frame's number that timesBeside() looks up itself. */
    static constexpr int AsRecorded = std::numeric_limits<int>::min();

    /**
     * Reads the log at \a path; what was read before is dropped, also on failure.
     *
     * \return false if the file cannot be read or is no frame time log; errorString() tells why.
     */
    bool open(const QString &path, Damage damage = Damage::Refuse);

    /**
     * Reads the log that a recording has left beside its video: the file of the same name that ends in
     * ".log".
     *
     * \param firstFrame the number that the log has for the video's first frame; not 0 after
     *                   VideoRecorder::stopAndCut(), where the log keeps the numbers of the uncut video.
     *                   With AsRecorded it comes from the result file ("take1.json") beside the video, and
     *                   is 0 without one.
     * \return a function that gives the time of a frame in ms, or -1 if it is unknown, which that of an
     * inserted frame is. An empty function if there is no log, or none with a whole record.
     */
    static std::function<qint64(int frame)> timesBeside(
        const QString &videoPath, int firstFrame = AsRecorded);

    /** Why the last open() was false, for a log line; empty after success. */
    QString errorString() const;

    /** The number of frames in the log. */
    int count() const;

    /** All frames in the order of their numbers. */
    const QVector<Entry> &entries() const;

    /** The frame's time in ms; -1, and false in \a ok, if the log does not know the frame. */
    qint64 timeOf(quint32 frame, bool *ok = nullptr) const;

    /** Whether the log marks the frame as inserted: it has the time 0 and is not the first. A first frame
     * that was inserted, and a frame that sync() gave the time 0, cannot be told from others here. */
    bool isInserted(quint32 frame) const;

    /** The frame that was current at \a timeMs: the newest one not later than it, inserted ones left out; -1
     * if there is none. O(log n). */
    qint64 frameAt(qint64 timeMs) const;

    /**
     * All stretches longer than \a thresholdMs between a frame and the next.
     *
     * A frame whose time lies before that of a frame in front of it (an inserted one, a host's own time) is
     * passed over.
     */
    QVector<Gap> gaps(qint64 thresholdMs) const;

    /** The list as text: a line "frame,time_ms", then one line a frame, each ended by a line feed. */
    QString toCsv() const;

    /** Writes toCsv() to \a path in UTF-8, in one step: a failure leaves an older file there untouched and
     * gives false. */
    bool writeCsv(const QString &path) const;

private:
    bool fail(const QString &reason);

    QVector<Entry> byFrame;
    QVector<Entry> byTime; // without inserted frames, sorted by time, then by frame
    QString error;
};
