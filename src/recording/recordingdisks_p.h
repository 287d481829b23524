#pragma once

#include "recording/recordingmeter_p.h"

#include <QElapsedTimer>
#include <QFutureWatcher>

#include <functional>

/**
 * Asks the disks of a recording how full they are, on threads of a pool, since a network disk may not answer.
 *
 * \thread That of its owner, which needs an event loop.
 */
class RecordingDisks
{
public:
    /** \a answered is called on the owner's thread when answer() is there. */
    explicit RecordingDisks(std::function<void()> answered);

    /** Completes \a sample: the time, the size of \a file, and the free space of both disks. Does nothing
     * while a former question about \a file has no answer. */
    void ask(RecordingMeter::Sample sample, const QString &file, const QString &destinationFolder);

    /** Drops what is known and what is still to come. */
    void forget();

    RecordingMeter::Sample answer() const { return sample; }

private:
    struct Disk
    {
        qint64 freeBytes = -1;
        QByteArray name; // equal for folders on one disk
    };
    struct Look
    {
        RecordingMeter::Sample sample;
        Disk disk; // of the temporary file
    };

    static Disk diskOf(const QString &folder);
    void take(const Look &look);

    const std::function<void()> answered;
    QElapsedTimer clock;
    QFutureWatcher<Look> looks;
    QFutureWatcher<Disk> destinations; // apart, so that a destination that hangs hides no full temporary disk
    RecordingMeter::Sample sample;
    Disk destination;
};
