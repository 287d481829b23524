#include "ffmpeg/ffmpegqueue.h"

#include "ffmpeg/ffmpegprocessor.h"
#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QDebug>

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

FFMpegQueueNotifier *FFMpegQueue::notifier() const
{
    return jobNotifier.get();
}

void FFMpegQueue::startwork() { }

void FFMpegQueue::process()
{
    if (!processor)
        makeProcessor();
    if (processor->isRunning() || !takeJob())
        return;
    startJob();
    msleep(pauseAfterStartMs);
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
    Q_EMIT jobStarted(jobsCount() + 1);
    if (!processor->isRunning()) {
        const quint64 ticket = takeCurrentTicket();
        Q_EMIT jobNotifier->jobDropped(ticket);
    }
}

quint64 FFMpegQueue::takeCurrentTicket()
{
    const QMutexLocker lock(&mutex);
    return std::exchange(currentTicket, 0);
}

void FFMpegQueue::reportProgress(int frame, int frameCount)
{
    Q_EMIT jobProgress(jobsCount() + 1, frame, frameCount);
}

void FFMpegQueue::reportEnd()
{
    const quint64 ticket = takeCurrentTicket();
    Q_EMIT jobNotifier->jobEnded(
        ticket, processor->exitCode(), processor->hasCrashed(), processor->lastText());
    Q_EMIT jobFileFinished(currentJob.dest);
    Q_EMIT jobFinished(jobsCount());
    wake();
}
