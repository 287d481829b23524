#pragma once

#include "recording/framelist.h"

#include <QByteArray>
#include <QFile>
#include <QString>

/**
 * Writes the list of frames beside a recording, line by line as it grows; FrameList reads it.
 *
 * Nothing is buffered: each line goes to the system in one call, so a killed program leaves whole lines.
 *
 * \thread None of its own and no lock.
 */
class VTCV_TEST_EXPORT FrameListWriter
{
public:
    using Source = FrameList::Source;
    static constexpr Source New = FrameList::New;
    static constexpr Source Repeated = FrameList::Repeated;
    static constexpr Source Inserted = FrameList::Inserted;

    explicit FrameListWriter(const QString &path) : file(path) { }

    /** Begins a new file, in place of one that lies there. False, with a console line, if that fails. */
    bool open();

    /** Appends a line; \a timeMs is rounded to 1 us, and stays empty if it is no number. */
    void add(quint64 frame, double timeMs, Source source, const FrameStamp &stamp);

    /** Closes the file and, with \a remove, deletes it. */
    void close(bool remove);

    /** True once the file could not be opened or written. Nothing is written from then on, and one console
     * line says so; all lines before lie whole in the file. */
    bool hasFailed() const { return failed; }

private:
    Q_DISABLE_COPY(FrameListWriter)

    bool append(const QByteArray &bytes);
    void fail(const QString &reason);

    QFile file;
    qint64 end = 0; // size of the file
    quint64 lines = 0;
    QByteArray line; // keeps its memory from one line to the next
    QString camera; // of the line before
    QByteArray quotedCamera;
    bool failed = false;
};
