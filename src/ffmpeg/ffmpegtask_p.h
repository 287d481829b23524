#pragma once

#include "ffmpeg/ffmpegmp4_p.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QProcess;
class QTemporaryDir;

/**
 * What a tool of FFMPEGHelper does before and after its run of `ffmpeg`: checks, arguments, and files to tidy
 * up. Blocking functions and jobs differ only in how they wait between the two, and in what they take for
 * success.
 */
class FFMpegTask
{
public:
    enum class State
    {
        Ready, // to be started
        Refused, // for the reason in `error`
        Unneeded // done already
    };

    FFMpegTask(FFMpegTask &&other) noexcept;
    ~FFMpegTask();

    static FFMpegTask convert(
        const QString &source, const QString &destination, const QString &parameters, bool overwrite);
    static FFMpegTask convertToMP4(const QString &path, bool removeSource);
    static FFMpegTask changeVolume(const QString &source, const QString &destination, float volume);
    static FFMpegTask crop(const QString &source, const QString &destination, int durationMs);
    static FFMpegTask join(const QStringList &sources, const QString &destination, bool safe);

    /** The reason of a run that has taken longer than \a timeoutMs. */
    static QString timeoutError(unsigned int timeoutMs);

    /** Starts the child; nobody can answer its questions. */
    void start(QProcess &process);

    /** Writes to the debug stream what a convert has made of its source. */
    void reportSizes() const;

    /** Removes the list of a join, and its links. */
    void removeList();

    /** Removes the destination if the child has begun to write it. */
    void removeHalfMade() const;

    State state = State::Ready;
    QString error;
    QStringList sources;
    QString destination;
    qint64 sourceBytes = 0; // before the run, of all sources; of a convert and a join only
    int limitMs = -1; // the length of the destination at most; -1: that of the source
    bool copies = false; // the destination grows to about sourceBytes
    std::optional<FFMpegMP4> mp4;

private:
    struct Stamp
    {
        bool exists;
        qint64 bytes;
        qint64 changedMs;
    };

    FFMpegTask(const QStringList &from, const QString &to);

    void refuse(const QString &reason);
    void refuseOneFile();
    bool readsDestination() const;
    Stamp stampOfDestination() const;
    bool writeList();
    QString nameInList(int index);

    QStringList arguments;
    bool tellsArguments = false;
    QString listFile; // absolute; of a join
    std::unique_ptr<QTemporaryDir> links; // to sources that a list cannot name
    Stamp before{}; // of the destination
};
