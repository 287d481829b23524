#pragma once

#include "vtcv_export.h"

#include <QFile>
#include <QMap>
#include <QString>

#include <memory>

/**
 * The keyed record store beside a recording: frame number to milliseconds.
 *
 * Records lie in order of writing, can be rewritten in place and moved when they outgrow their slot; the
 * index is rebuilt by walking the file. The recorder stores 8-byte values only, so its rewrites always fit.
 *
 * Nothing is buffered: what write() has taken is the system's, so a killed program leaves it. The header
 * never counts a record that is not whole in the file. A program that is killed between a record and its
 * header leaves a log that FrameTimeLogReader salvages to that last record.
 *
 * \thread None of its own and no lock: the recorder gives each log a lock of its own.
 */
class VTCV_TEST_EXPORT FrameTimeLog
{
public:
    explicit FrameTimeLog(const QString &path);
    ~FrameTimeLog();

    /** Opens the file, creates it if it is missing, and reads or writes the 16-byte header. What the object
     * knew of a file before is dropped. */
    void open();

    /**
     * Rebuilds the index; opens first where that has not been done.
     *
     * \return true if every record lies whole inside the file and the header counts as many keys as there
     * are. Anything else, random bytes included, gives false in one pass over the file at most.
     */
    bool load();

    /**
     * Stores \a value under \a key.
     *
     * \return false if the log is not open, if the key exists and \a overwrite is not set, or if hasFailed().
     */
    bool write(quint32 key, const qint64 &value, bool overwrite);

    /** Closes the file. With \a remove deletes it and forgets all about it; otherwise the counts stay
     * readable. */
    void close(bool remove);

    bool isOpen() const;

    /**
     * True once the file could not be opened or a record could not be written: a full disk, a disk that is
     * gone, the 4 GiB that the offsets can tell. Nothing is written from then on, and one console line says
     * so; all records before lie whole in the file.
     */
    bool hasFailed() const { return failed; }

    quint32 getRecordCount() const { return recordCount; }
    quint32 getHighestKey() const { return highestKey; }
    QString getTitle() const { return title; }

private:
    Q_DISABLE_COPY(FrameTimeLog)

    void forget();
    bool writeFileHeader();
    bool writeRecord(qint64 position, quint32 key, quint32 nextOffset, const qint64 *value);
    bool append(quint32 key, qint64 value, bool isNew);
    bool fail(const QString &reason);

    QString path;
    QMap<quint32, quint32> index; // frame number to offset of its record
    quint32 highestKey = 0;
    quint32 formatTag;
    quint32 recordCount = 0;
    quint32 titleOffset;
    quint32 reserved = 0;
    QString title;
    std::unique_ptr<QFile> file;
    qint64 end = 0; // size of the file
    bool failed = false;
    bool isFailureTold = false; // by a console line
};
