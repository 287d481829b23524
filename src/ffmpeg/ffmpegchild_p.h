#pragma once

#include "vtcv_export.h"

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

class FFMpegChildProcess;

/**
 * One run of `ffmpeg` as a child process; may be used again after its end.
 *
 * The program is looked up on the search path under the name "ffmpeg". Its input is closed, so that it fails
 * where it would ask a question. Both its channels are drained; the last lines of the error channel are kept
 * as a terminal would show them. It runs in a process group of its own, so that Ctrl-C in a terminal does not
 * reach it, and holds a shared lock on its source (see FileInUse).
 *
 * **Exit code 0 is not enough.** `ffmpeg` 5.1 ends with it when the last block or the trailer of the output
 * no longer fits on the disk. So a run succeeds only if, besides, its text reports no failed write, and the
 * output exists, is not empty, and holds as many video frames as `ffmpeg` last counted. What cannot be
 * counted (sound, single pictures) is not held against it.
 *
 * \thread The one that created the object. It must deliver events, except for waitFor().
 */
class VTCV_TEST_EXPORT FFMpegChild : public QObject
{
    Q_OBJECT

public:
    /** What a run makes of its files. */
    struct Files
    {
        QString output; // looked at after the end; empty: not looked at
        QString source; // locked while the child lives; empty: none
        bool countFrames = true; // of the output; not while waitFor() waits
    };

    struct Result
    {
        bool ok = false;
        int code = -1; // exit code, the number of the signal after a crash, -1 if it could not be started
        bool crashed = false;
        bool cancelled = false;
        QString fault; // why a run with exit code 0 is not ok
        QString text; // the last 20 lines of the error channel, or why the program could not be started
    };

    explicit FFMpegChild(QObject *parent = nullptr);

    /** Ends a child that still runs as cancel() does, and waits for that. No signal follows. */
    ~FFMpegChild() override;

    /** Starts the program. The paths among \a arguments have to be absolute: see path(). */
    void start(const QStringList &arguments, const Files &files);

    /** True until just before finished(). */
    bool isRunning() const { return running; }

    /** True from a cancel() of the present or last run. */
    bool isCancelled() const { return cancelled; }

    /** Asks the child to end and kills it two seconds later; finished() follows. */
    void cancel();

    /** Kills the child at once and waits for its end. */
    void kill();

    /**
     * Waits for the end without delivering events, and ends the child when the time is up.
     *
     * \param limitMs below 0: no limit. \param isCancelled is asked ten times a second; true ends the child.
     * \return false if the child did not end by itself in time, or could not be started.
     */
    bool waitFor(int limitMs, const std::function<bool()> &isCancelled = {});

    /** Valid after the end. */
    const Result &result() const { return outcome; }

    /** The last 20 lines of the error channel so far. */
    QString lastLines() const;

    /** Removes the output if the child has begun to write it: a regular file that has changed since start().
     */
    void removeTouchedOutput() const;

    /** \a path as `ffmpeg` takes it for a file, whatever it looks like: absolute. Empty for an empty one. */
    static QString path(const QString &path);

Q_SIGNALS:
    /** The program runs. */
    void started();

    /** It wrote to its error channel. \a lines are those that ended, overwritten ones included. */
    void said(const QByteArray &chunk, const QStringList &lines);

    /** It wrote to its standard output. */
    void printed(const QByteArray &chunk);

    /** The run is over; another one may be started. Never comes from within start(). */
    void finished();

private:
    struct Stamp
    {
        bool isFile = false;
        qint64 bytes = 0;
        QDateTime changed;
    };

    static Stamp stampOf(const QString &path);
    void readErrors();
    QStringList takeIn(const QByteArray &chunk);
    void look(const QString &line);
    void processEnded(int code, bool crashed);
    QString faultOfOutput() const;
    bool startCounting();
    void counted(qint64 found);
    void end();
    void stop();

    std::unique_ptr<FFMpegChildProcess> process;
    QTimer killTimer{this}; // runs while a cancelled child has time to end by itself
    Files job;
    Stamp before; // of the output
    Result outcome;
    int run = 0; // a number, so that a late message of a former run is recognised
    bool running = false;
    bool cancelled = false;
    std::thread counter; // of the output's frames
    std::atomic<bool> countIsUnwanted{false};

    QStringList lines; // the last whole lines of the error channel
    QByteArray begun; // the line that follows them
    bool returned = false; // a carriage return: what comes next overwrites the line
    qint64 frames = -1; // of the output, as the program counted them last
    QString writeFault; // the first line that reports a failed write
};
