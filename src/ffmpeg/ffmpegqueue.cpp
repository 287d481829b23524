#include "ffmpeg/ffmpegqueue.h"

#include "ffmpeg/ffmpegjobwatch.h"
#include "ffmpeg/ffmpegprocessor.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QFileInfo>

#include <utility>

namespace {

constexpr int pauseAfterStartMs = 1000;

} // namespace

// Runs when the library is loaded, before any application object: nothing here may need a thread or an
// event loop.
FFMpegQueue::FFMpegQueue() : jobNotifier(std::make_unique<FFMpegQueueNotifier>(*this)) { }

FFMpegQueue::~FFMpegQueue()
{
    stopAndWait();
}

int FFMpegQueue::jobsCount() const
{
    const QMutexLocker lock(&mutex);
    return jobs.size();
}

void FFMpegQueue::addJob(FFMpegJobType type, const QString &source, const QString &dest, const QString &audio)
{
    jobNotifier->appendJob(type, source, dest, audio);
}

bool FFMpegQueue::cancelCurrent()
{
    return cancel(jobNotifier->currentTicket());
}

int FFMpegQueue::cancelAll()
{
    QList<Ticket> dropped; // let go without the mutex
    int count = 0;
    {
        const QMutexLocker lock(&mutex);
        for (int i = 0; i < jobs.size(); ++i)
            withdrawn << Withdrawn{tickets.at(i).number, jobs.at(i)};
        jobs.clear();
        dropped.swap(tickets);
        count = dropped.size();
        if (currentTicket.number != 0) {
            cancelledTicket = currentTicket.number;
            ++count;
        }
        cancelling.wakeAll();
    }
    wake();
    return count;
}

// A ticket instead of "the current job", so that the next one is not hit where this one has just ended.
bool FFMpegQueue::cancel(quint64 number)
{
    {
        const QMutexLocker lock(&mutex);
        if (number == 0 || currentTicket.number != number)
            return false;
        cancelledTicket = number;
        cancelling.wakeAll();
    }
    wake();
    return true;
}

FFMpegQueueNotifier *FFMpegQueue::notifier() const
{
    return jobNotifier.get();
}

void FFMpegQueue::startwork() { }

void FFMpegQueue::process()
{
    if (!processor)
        makeProcessor();
    tellWithdrawnJobs();
    if (processor->isRunning()) {
        if (currentIsCancelled())
            processor->cancel();
        return;
    }
    if (!takeJob())
        return;
    startJob();
    pauseAfterStart();
}

void FFMpegQueue::pauseAfterStart()
{
    const QDeadlineTimer end(pauseAfterStartMs);
    QMutexLocker lock(&mutex);
    while (!isCancelled() && withdrawn.isEmpty() && cancelling.wait(&mutex, end)) { }
}

void FFMpegQueue::tellWithdrawnJobs()
{
    QList<Withdrawn> all;
    {
        const QMutexLocker lock(&mutex);
        all.swap(withdrawn);
    }
    for (const Withdrawn &one : qAsConst(all)) {
        FFMpegJobVerdict verdict = verdictOn(one.job);
        verdict.outcome = FFMpegJobVerdict::Cancelled;
        Q_EMIT jobNotifier->jobOver(one.number, verdict);
        Q_EMIT jobNotifier->jobDropped(one.number);
    }
}

FFMpegJobVerdict FFMpegQueue::verdictOn(const FFMpegJob &job)
{
    FFMpegJobVerdict verdict;
    verdict.job = job;
    const QFileInfo source(job.source);
    if (source.isFile()) {
        verdict.sourceSize = source.size();
        verdict.sourceTime = source.lastModified();
    }
    return verdict;
}

// Called with the mutex held.
bool FFMpegQueue::isCancelled() const
{
    return currentTicket.number != 0 && currentTicket.number == cancelledTicket;
}

bool FFMpegQueue::currentIsCancelled() const
{
    const QMutexLocker lock(&mutex);
    return isCancelled();
}

void FFMpegQueue::makeProcessor()
{
    processor = std::make_unique<FFMpegProcessor>();
    connect(processor.get(), &FFMpegProcessor::progress, this, &FFMpegQueue::reportProgress,
        Qt::DirectConnection);
    connect(processor.get(), &FFMpegProcessor::finished, this, &FFMpegQueue::reportEnd, Qt::DirectConnection);
    // The child process belongs to this thread and has to be ended on it, before the thread is gone.
    connect(
        this, &QThread::finished, processor.get(), [this] { processor.reset(); }, Qt::DirectConnection);
}

bool FFMpegQueue::takeJob()
{
    const QMutexLocker lock(&mutex);
    if (jobs.isEmpty())
        return false;
    currentJob = jobs.takeFirst();
    currentTicket = tickets.takeFirst();
    return true;
}

void FFMpegQueue::startJob()
{
    const FFMpegJob job = currentJob;
    qDebug() << "STARTING FFMPEG JOB" << int(job.type) << job.source << job.dest << job.audio;
    jobClock.start();
    const bool isWanted = !currentIsCancelled();
    if (isWanted) {
        switch (job.type) {
        case Optimize:
            processor->optimize(job.source);
            break;
        case Convert:
            processor->convert(job.source, job.dest);
            break;
        case JoinVideoAndAudio:
            processor->joinVideoAndAudio(job.source, job.audio, job.dest);
            break;
        }
    }
    Q_EMIT jobStarted(jobsCount() + 1);
    if (!processor->isRunning()) {
        const quint64 ticket = takeCurrentTicket();
        FFMpegJobVerdict verdict = verdictOn(job);
        verdict.outcome = isWanted ? FFMpegJobVerdict::NothingStarted : FFMpegJobVerdict::Cancelled;
        Q_EMIT jobNotifier->jobOver(ticket, verdict);
        Q_EMIT jobNotifier->jobDropped(ticket);
    }
}

quint64 FFMpegQueue::takeCurrentTicket()
{
    Ticket taken;
    {
        const QMutexLocker lock(&mutex);
        std::swap(taken, currentTicket);
    }
    return taken.number;
}

void FFMpegQueue::reportProgress(int frame, int frameCount)
{
    Q_EMIT jobProgress(jobsCount() + 1, frame, frameCount);
}

void FFMpegQueue::reportEnd()
{
    FFMpegJobVerdict verdict = verdictOn(currentJob);
    verdict.exitCode = processor->exitCode();
    verdict.hasCrashed = processor->hasCrashed();
    verdict.text = processor->lastText();
    verdict.durationMs = jobClock.elapsed();
    const bool succeeded = verdict.exitCode == 0 && !verdict.hasCrashed;
    verdict.outcome = processor->wasCancelled() ? FFMpegJobVerdict::Cancelled
        : succeeded                             ? FFMpegJobVerdict::Done
                                                : FFMpegJobVerdict::Failed;
    const quint64 ticket = takeCurrentTicket();
    Q_EMIT jobNotifier->jobOver(ticket, verdict);
    Q_EMIT jobNotifier->jobEnded(ticket, verdict.exitCode, verdict.hasCrashed, verdict.text);
    Q_EMIT jobFileFinished(currentJob.dest);
    Q_EMIT jobFinished(jobsCount());
    wake();
}
