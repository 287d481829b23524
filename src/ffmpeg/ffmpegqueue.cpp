#include "ffmpeg/ffmpegqueue.h"

#include "common/samefile_p.h"
#include "ffmpeg/ffmpegprocessor.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QDebug>
#include <QFile>

namespace {

constexpr int pauseAfterStartMs = 1000;

// A join in place writes a side file, and its sound is not to be lost.
void removeDestinationOfJoin(const FFMpegJob &job)
{
    if (job.type == JoinVideoAndAudio && !SameFile::leadToOne(job.dest, job.source)
        && !SameFile::leadToOne(job.dest, job.audio))
        QFile::remove(job.dest);
}

} // namespace

// Runs when the library is loaded, before any application object: nothing here may need a thread or an
// event loop.
FFMpegQueue::FFMpegQueue() : jobs(std::make_unique<FFMpegQueueNotifier>([this] { wake(); })) { }

FFMpegQueue::~FFMpegQueue()
{
    stopAndWait();
}

int FFMpegQueue::jobsCount() const
{
    return jobs->waitingCount();
}

void FFMpegQueue::addJob(FFMpegJobType type, const QString &source, const QString &dest, const QString &audio)
{
    addJob({source, audio, dest, type, {}});
}

quint64 FFMpegQueue::addJob(const FFMpegJob &job)
{
    return jobs->appendJob(job);
}

QList<FFMpegQueue::Entry> FFMpegQueue::entries() const
{
    return jobs->entries();
}

bool FFMpegQueue::moveJob(quint64 ticket, int position)
{
    return jobs->move(ticket, position);
}

bool FFMpegQueue::holdJob(quint64 ticket)
{
    return jobs->hold(ticket);
}

bool FFMpegQueue::releaseJob(quint64 ticket)
{
    return jobs->release(ticket);
}

bool FFMpegQueue::removeJob(quint64 ticket)
{
    return jobs->remove(ticket);
}

bool FFMpegQueue::cancelCurrent()
{
    return jobs->cancel(jobs->currentTicket());
}

int FFMpegQueue::cancelAll()
{
    return jobs->cancelAll();
}

FFMpegQueueNotifier *FFMpegQueue::notifier() const
{
    return jobs.get();
}

void FFMpegQueue::startwork() { }

void FFMpegQueue::process()
{
    if (!processor)
        makeProcessor();
    jobs->reportEnds();
    if (processor->isRunning()) {
        if (jobs->currentIsCancelled())
            processor->cancel();
        return;
    }
    FFMpegQueueNotifier::Job next;
    if (!jobs->takeNext(next))
        return;
    currentJob = next.job;
    startJob(next.existing == FFMpegQueueNotifier::Existing::Replaced);
    jobs->waitForNews(pauseAfterStartMs);
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

void FFMpegQueue::startJob(bool replacesDestination)
{
    const FFMpegJob job = currentJob;
    qDebug() << "STARTING FFMPEG JOB" << int(job.type) << job.source << job.dest << job.audio;
    jobClock.start();
    const bool isWanted = !jobs->currentIsCancelled();
    if (isWanted) {
        if (replacesDestination)
            removeDestinationOfJoin(job);
        switch (job.type) {
        case Optimize:
            processor->convert(job.source, job.source, job.delivery);
            break;
        case Convert:
            processor->convert(job.source, job.dest, job.delivery);
            break;
        case JoinVideoAndAudio:
            processor->joinVideoAndAudio(job.source, job.audio, job.dest, job.delivery);
            break;
        }
    }
    Q_EMIT jobStarted(jobsCount() + 1);
    if (!processor->isRunning()) {
        jobs->endCurrent(FFMpegQueueNotifier::verdictOn(
            job, isWanted ? FFMpegJobVerdict::NothingStarted : FFMpegJobVerdict::Cancelled));
    }
}

void FFMpegQueue::reportProgress(int frame, int frameCount)
{
    Q_EMIT jobProgress(jobsCount() + 1, frame, frameCount);
}

void FFMpegQueue::reportEnd()
{
    const bool succeeded = processor->exitCode() == 0 && !processor->hasCrashed();
    FFMpegJobVerdict verdict = FFMpegQueueNotifier::verdictOn(currentJob,
        processor->wasCancelled() ? FFMpegJobVerdict::Cancelled
            : succeeded           ? FFMpegJobVerdict::Done
                                  : FFMpegJobVerdict::Failed);
    verdict.exitCode = processor->exitCode();
    verdict.hasCrashed = processor->hasCrashed();
    verdict.text = processor->lastText();
    verdict.durationMs = jobClock.elapsed();
    jobs->endCurrent(verdict);
    Q_EMIT jobFileFinished(currentJob.dest);
    Q_EMIT jobFinished(jobsCount());
    wake();
}
