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
 * \thread None of its own and no lock: the recorder calls it under its mutex.
 */
class VTCV_TEST_EXPORT FrameTimeLog
{
public:
    explicit FrameTimeLog(const QString &path);
    ~FrameTimeLog();

    /** Opens the file, creates it if it is missing, and reads or writes the 16-byte header. */
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
     * \return false if the log is not open, if the key exists and \a overwrite is not set, or if the file has
     * reached the 4 GiB that its offsets can tell. A full disk gives false as well.
     */
    bool write(quint32 key, const qint64 &value, bool overwrite);

    /** Closes the file and, with \a remove, deletes it. The counts stay readable. */
    void close(bool remove);

    bool isOpen() const;
    quint32 getRecordCount() const { return recordCount; }
    quint32 getHighestKey() const { return highestKey; }
    QString getTitle() const { return title; }

private:
    Q_DISABLE_COPY(FrameTimeLog)

    bool writeFileHeader();

    QString path;
    QMap<quint32, quint32> index; // frame number to offset of its record
    quint32 highestKey = 0;
    quint32 formatTag;
    quint32 recordCount = 0;
    quint32 titleOffset;
    quint32 reserved = 0;
    QString title;
    std::unique_ptr<QFile> file;
};
