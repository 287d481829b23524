#pragma once

#include "image/framestamp.h"
#include "vtcv_export.h"

#include <QString>
#include <QVector>

/**
 * Reads the list of frames that a recording with VideoRecorder::useFrameList leaves beside its video: when
 * each frame of the file was written, where it came from, and when its picture was taken.
 *
 *     FrameList list;
 *     if (list.open(QStringLiteral("take1.frames.csv")))
 *         for (const FrameList::Entry &entry : list.entries())
 *             qInfo() << entry.frame << entry.stamp.timeUs;
 *
 * \thread One object on one thread at a time; any thread.
 */
class VTCV_EXPORT FrameList
{
public:
    /** Where a frame of the file came from. */
    enum Source
    {
        New, // a picture that had not been written before
        Repeated, // the picture before once more: no newer one had come, or the encoder was late
        Inserted // VideoRecorder::insertFramesOverride()
    };

    /** One frame of the recording. */
    struct Entry
    {
        quint64 frame = 0; // from 0; after a cut still that of the uncut video
        double timeMs = -1.0; // when it was written, since the video was opened; -1 if unknown
        Source source = New;
        FrameStamp stamp; // when its picture was taken; fields are unknown where the host has given none
    };

    /**
     * Reads the list at \a path; what was read before is dropped, also on failure. A last line that has no
     * end, as a power failure leaves it, is passed over.
     *
     * \return false if the file cannot be read or a line of it is none of such a list; errorString() tells
     * why. The entries in front of that line are there all the same.
     */
    bool open(const QString &path);

    /** Why the last open() was false, for a log line; empty after success. */
    QString errorString() const { return error; }

    /** All frames in the order in which they were written. */
    const QVector<Entry> &entries() const { return list; }

private:
    QVector<Entry> list;
    QString error;
};
