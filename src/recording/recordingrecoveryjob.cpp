#include "recording/recordingrecoveryjob.h"

#include <QCoreApplication>
#include <QMutex>
#include <QtConcurrent>
#include <QThreadPool>

#include <atomic>
#include <exception>
#include <utility>

namespace {

constexpr double progressStep = 0.001; // thousands of frames give no thousands of events
constexpr int jobsAtATime = 2; // each reads a disk at full speed and decodes

std::atomic<bool> isQuitting{false};

// Not the global pool, which is the host's and often has two threads. Never destroyed: jobs outlive statics.
QThreadPool &pool()
{
    static QThreadPool *const instance = [] {
        auto *const made = new QThreadPool;
        made->setMaxThreadCount(jobsAtATime);
        return made;
    }();
    return *instance;
}

// Otherwise a child process and half a file would outlive the application.
void endWithTheApplication()
{
    static std::atomic<bool> isAdded{false}; // Qt calls a routine once
    if (isAdded.exchange(true))
        return;
    qAddPostRoutine([] {
        isAdded = false;
        isQuitting = true;
        pool().waitForDone();
        isQuitting = false;
    });
}

} // namespace

struct RecordingRecoveryJob::Shared
{
    QMutex mutex;
    RecordingRecoveryJob *job; // guarded; null once the job is gone
    std::atomic<bool> isCancelled{false};

    // Events for a job that is deleted go with it.
    template <typename Function> void post(Function function)
    {
        const QMutexLocker locker(&mutex);
        if (job)
            QMetaObject::invokeMethod(job, std::move(function), Qt::QueuedConnection);
    }
};

RecordingRecoveryJob::RecordingRecoveryJob(Operation operation, QObject *parent)
    : QObject(parent), shared(std::make_shared<Shared>())
{
    qRegisterMetaType<RecordingRecovery::Result>("RecordingRecovery::Result");
    shared->job = this;
    endWithTheApplication();
    QtConcurrent::run(&pool(), [job = this, state = shared, operation = std::move(operation)] {
        double told = 0.0;
        const auto hear = [&](double done) {
            if (done >= told + progressStep) {
                told = done;
                state->post([job, done] { Q_EMIT job->progress(done); });
            }
            return !state->isCancelled && !isQuitting;
        };
        RecordingRecovery::Result ended;
        try {
            ended = operation(hear);
        } catch (const std::exception &error) {
            ended.reason = QString::fromLocal8Bit(error.what());
        }
        state->post([job, ended] { job->end(ended); });
    });
}

RecordingRecoveryJob::~RecordingRecoveryJob()
{
    shared->isCancelled = true;
    const QMutexLocker locker(&shared->mutex);
    shared->job = nullptr;
}

bool RecordingRecoveryJob::isRunning() const
{
    return running;
}

RecordingRecovery::Result RecordingRecoveryJob::result() const
{
    return lastResult;
}

void RecordingRecoveryJob::cancel()
{
    shared->isCancelled = true;
}

void RecordingRecoveryJob::end(const RecordingRecovery::Result &ended)
{
    lastResult = ended;
    running = false;
    Q_EMIT finished(lastResult);
}

RecordingRecoveryJob *RecordingRecovery::inspectAsync(const Set &set, QObject *parent)
{
    return new RecordingRecoveryJob(
        [set](const Progress &progress) { return inspect(set, progress); }, parent);
}

RecordingRecoveryJob *RecordingRecovery::repairAsync(const Set &set, QObject *parent)
{
    return new RecordingRecoveryJob(
        [set](const Progress &progress) { return repair(set, progress); }, parent);
}

RecordingRecoveryJob *RecordingRecovery::deliverAsync(
    const Set &set, const QString &destination, QObject *parent)
{
    return new RecordingRecoveryJob(
        [set, destination](const Progress &progress) { return deliver(set, destination, progress); }, parent);
}

RecordingRecoveryJob *RecordingRecovery::removeAsync(const Set &set, QObject *parent)
{
    return new RecordingRecoveryJob([set](const Progress &) { return remove(set); }, parent);
}
