#pragma once

#include <QCoreApplication>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class FFMpegChild;
class QTemporaryDir;

/**
 * What a tool of FFMPEGHelper does before and after its run of `ffmpeg`: checks, arguments, and files to tidy
 * up. Blocking functions and jobs differ only in how they wait between the two, and in what they take for
 * success.
 *
 * Relative paths count from the folder that is current when the object is made. Texts name paths as they were
 * given.
 */
class FFMpegTask
{
    Q_DECLARE_TR_FUNCTIONS(FFMPEGHelperJob)

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

    /**
     * Starts the child, after having removed an old destination or written the list of a join. If that is not
     * possible, the task is refused instead.
     *
     * \param countFrames see FFMpegChild::Files.
     */
    void start(FFMpegChild &child, bool countFrames);

    bool destinationExists() const;

    /** Writes to the debug stream what a convert has made of its source. */
    void reportSizes() const;

    /** Removes the list of a join, and its links. */
    void removeList();

    /** Removes the destination if the child has begun to write it. */
    void removeHalfMade(const FFMpegChild &child) const;

    /** Brings the files of convertToMP4() to their places; `destination` is where the video lies then. */
    void settle(bool ok);

    State state = State::Ready;
    QString error;
    QString destination;
    qint64 sourceBytes = 0; // before the run, of all sources; of a convert and a join only
    int limitMs = -1; // the length of the destination at most; -1: that of the source
    bool copies = false; // the destination grows to about sourceBytes

private:
    FFMpegTask(const QStringList &sources, const QString &destination);

    void refuse(const QString &reason);
    void refuseOneFile();
    bool readsDestination() const;
    void prepareConvert();
    void prepareJoin();
    bool writeList();
    QString nameInList(int index);

    enum class Preparation
    {
        None,
        Convert,
        Join
    };
    struct MP4
    {
        bool inPlace; // the source is an MP4, which the new file replaces
        bool removesSource;
    };

    QStringList sources; // as given
    QStringList from; // the same, absolute
    QString to; // the destination, absolute
    QStringList arguments;
    Preparation preparation = Preparation::None;
    bool overwrites = false;
    bool tellsArguments = false;
    std::optional<MP4> mp4;
    QString folder; // of the list
    QString listFile; // absolute; of a join
    std::unique_ptr<QTemporaryDir> links; // to sources that a list cannot name
};
