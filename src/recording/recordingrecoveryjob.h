#pragma once

#include "recording/recordingrecovery.h"
#include "vtcv_export.h"

#include <QObject>

#include <functional>
#include <memory>

/**
 * One operation of RecordingRecovery that runs on a thread pool.
 *
 * Deleting a job cancels its operation, and nothing more is signalled; so does the end of the application.
 *
 * \thread The one that has started it, which must deliver events.
 * \ownership The parent's or the caller's. A job may be deleted at any time, from its own signals too.
 */
class VTCV_EXPORT RecordingRecoveryJob : public QObject
{
    Q_OBJECT

public:
    ~RecordingRecoveryJob() override;

    /** True until just before finished(). */
    bool isRunning() const;

    /** What finished() has told. */
    RecordingRecovery::Result result() const;

public Q_SLOTS:
    /** Ends the operation as soon as possible; the set stays as it is. finished() follows. */
    void cancel();

Q_SIGNALS:
    /** \a done, from 0 to 1 and growing, of the work is done. Stays at 0 while the number of frames cannot be
     * guessed. */
    void progress(double done);

    /** The operation has ended; comes once, never before control has returned to the event loop. */
    void finished(const RecordingRecovery::Result &result);

private:
    friend class RecordingRecovery;
    using Operation = std::function<RecordingRecovery::Result(const RecordingRecovery::Progress &)>;
    struct Shared; // with the thread that works

    RecordingRecoveryJob(Operation operation, QObject *parent);

    void end(const RecordingRecovery::Result &ended);

    std::shared_ptr<Shared> shared;
    RecordingRecovery::Result lastResult;
    bool running = true;
};
