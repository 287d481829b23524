#pragma once

#include "playback/frameinfo.h"
#include "vtcv_export.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>

class QFileDevice;
class QIODevice;

/**
 * Keeps the records of one video and the text line of each, and writes the lines as a whole file.
 *
 * It watches its records: a change renews the line of that record and, with autoSave, the file. Records tell
 * their changes through this object's signals as well.
 *
 * The file may hold lines that are no record. They are kept as they are, each at its place among the records,
 * and written back. So is a line of which a record holds only a part, in front of the record's own line, and
 * the one of two lines of the same frame that gives way: the earlier one, or that which has no frame number
 * of its own. Reading takes the later line again, so a file that is read and written stays as it is.
 *
 * \thread One object on one thread, that of its records.
 */
class VTCV_TEST_EXPORT FramedAnnotation : public QObject
{
    Q_OBJECT

public:
    explicit FramedAnnotation(const QString &path, QObject *parent = nullptr);
    /** Deletes all records; it does not save. */
    ~FramedAnnotation() override;

    /**
     * Reads the file in place of what is held. No file is no fault: there are no records then.
     *
     * \return false if the file cannot be read whole, is above 1 GiB or has a line above 16 MiB. What was
     * read until then is held, but saving does not touch the file before setCanSave(true).
     */
    bool load();

    /** Reads what load() reads from an open device of any kind; it may have been read to some point. */
    bool read(QIODevice *device);

    /** The record of a frame, made if there is none. \ownership This object's. */
    FrameInfo *frame(int number);
    /** The record of a frame, null if there is none. \ownership This object's. */
    FrameInfo *find(int number);
    /** The numbers of all records, ascending. */
    QList<int> getFrames() const;
    /** The names that a kind has in any record, ascending, each once. */
    QStringList getNames(FrameInfo::InfoDataType type) const;

    /** Holds a record from now on, in place of the one of the same number, which is deleted soon. */
    void put(std::unique_ptr<FrameInfo> record);
    /** Gives a record away, with its line; null if there is none. */
    std::unique_ptr<FrameInfo> take(int number);

    /** Gives away the lines of a frame that are kept in front of its record's. */
    QByteArrayList takeKeptLines(int number);
    void putKeptLines(int number, const QByteArrayList &lines);
    bool hasKeptLines(int number) const;

    QString getPath() const;
    void setAutoSave(bool value);
    void setCanSave(bool value);
    /** How many lines, not blank, were kept because a record does not hold them or not whole. */
    int getSkippedLines() const;
    /** Why the last load() or write failed, for the user; empty after success. */
    QString getError() const;

    /** save(false) that also tells why a file could not be opened. */
    bool saveInPlace();
    /** As saveInPlace(), but any failure leaves an older file whole. */
    bool saveAtomically();

Q_SIGNALS:
    void percentChanged(int frame, QString name, int value);
    void valueChanged(int frame, QString name, double value);
    void rectChanged(int frame, QString name, QRect value);
    void commentChanged(int frame, QString name, QString value);
    void somethingChanged(int frame);

public Q_SLOTS:
    /**
     * Writes the file; a full disk leaves it cut, and all lines in memory.
     *
     * Does nothing where canSave is false or the file cannot be opened.
     *
     * \param rebuild makes all lines anew, which is needed with autoSave only: without it they always are.
     */
    void save(bool rebuild = false);

private Q_SLOTS:
    void frameInfoChanged(int frame);
    void signFrame(FrameInfo *f);

protected: // for the tests
    void rebuildLines();

    QMap<int, FrameInfo *> frames; // owned
    QMap<int, QString> lines; // toJsonString() of each record when it was last looked at
    bool autoSave = false; // write at each change
    QString path;
    bool canSave = true;

private:
    // The part of the file from one frame number up to that of the next block, as it was last written or
    // read. A save makes anew only those with a change.
    struct Block
    {
        QByteArray bytes;
        int records = 0;
        bool changed = false;
    };
    using Blocks = std::map<qint64, Block>; // by first number; changeMark needs addresses that stay

    void clear();
    void readLine(const QByteArray &line);
    void append(std::unique_ptr<FrameInfo> record, const QByteArray &line);
    Block &blockOf(qint64 number);
    void build(Blocks::iterator at);
    bool write(QFileDevice *file, bool rebuild);
    bool fail(const QString &reason);

    Blocks blocks; // without gaps, from the lowest number on
    QMap<qint64, QByteArrayList> strayLines; // by the frame number that they go in front of
    QMap<qint64, QByteArrayList> frameLines; // by the frame that they annotate, in front of its line
    qint64 nextNumber = 0; // while reading: one above the number of the line before
    QSet<int> partlyRead; // while reading: frames whose whole line is among frameLines
    int skippedLines = 0;
    QString error;
};
