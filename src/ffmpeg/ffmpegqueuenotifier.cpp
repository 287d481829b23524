#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include "common/console_p.h"

#include <QDeadlineTimer>
#include <QFileInfo>

#include <algorithm>
#include <utility>

FFMpegQueueNotifier::FFMpegQueueNotifier(std::function<void()> wake) : wakeWorker(std::move(wake))
{
    qRegisterMetaType<FFMpegJobVerdict>("FFMpegJobVerdict");
}

quint64 FFMpegQueueNotifier::appendJob(const FFMpegJob &job, std::shared_ptr<void> held, Existing existing)
{
    Job added;
    added.job = job;
    added.held = std::move(held);
    added.existing = existing;
    {
        const QMutexLocker lock(&mutex);
        added.ticket = ++lastTicket;
        jobs << added;
    }
    wakeWorker();
    return added.ticket;
}

bool FFMpegQueueNotifier::isPending(quint64 ticket) const
{
    const QMutexLocker lock(&mutex);
    return std::any_of(jobs.cbegin(), jobs.cend(),
        [=](const Job &job) { return job.ticket == ticket && job.state != Entry::Held; });
}

bool FFMpegQueueNotifier::isBusy() const
{
    const QMutexLocker lock(&mutex);
    return std::any_of(jobs.cbegin(), jobs.cend(), [](const Job &job) { return job.state != Entry::Held; });
}

quint64 FFMpegQueueNotifier::currentTicket() const
{
    const QMutexLocker lock(&mutex);
    return running() ? running()->ticket : 0;
}

// A ticket instead of "the current job", so that the next job is not hit if this one has just ended.
bool FFMpegQueueNotifier::cancel(quint64 ticket)
{
    {
        const QMutexLocker lock(&mutex);
        if (!running() || running()->ticket != ticket)
            return false;
        jobs.first().isCancelled = true;
        news.wakeAll();
    }
    wakeWorker();
    return true;
}

int FFMpegQueueNotifier::cancelAll()
{
    QList<Job> dropped; // outlives the lock, because it releases what the jobs held
    int count = 0;
    {
        const QMutexLocker lock(&mutex);
        QList<Job> kept;
        for (Job &job : jobs) {
            switch (job.state) {
            case Entry::Running:
                job.isCancelled = true;
                ++count;
                kept << job;
                break;
            case Entry::Waiting:
                ends << End{job.ticket, job.job, Verdict::Cancelled};
                dropped << job;
                break;
            case Entry::Held:
                kept << job;
                break;
            }
        }
        jobs.swap(kept);
        count += dropped.size();
        news.wakeAll();
    }
    wakeWorker();
    return count;
}

int FFMpegQueueNotifier::waitingCount() const
{
    const QMutexLocker lock(&mutex);
    return int(std::count_if(
        jobs.cbegin(), jobs.cend(), [](const Job &job) { return job.state == Entry::Waiting; }));
}

QList<FFMpegJobEntry> FFMpegQueueNotifier::entries() const
{
    const QMutexLocker lock(&mutex);
    QList<Entry> all;
    for (const Job &job : jobs)
        all << job;
    return all;
}

bool FFMpegQueueNotifier::move(quint64 ticket, int position)
{
    const QMutexLocker lock(&mutex);
    const auto job = waitingOrHeld(ticket);
    if (job == jobs.end())
        return false;
    const int first = running() ? 1 : 0;
    const int last = int(jobs.size()) - 1;
    jobs.move(int(job - jobs.begin()), qBound(first, first + qBound(0, position, last), last));
    return true;
}

bool FFMpegQueueNotifier::hold(quint64 ticket)
{
    {
        const QMutexLocker lock(&mutex);
        const auto job = waitingOrHeld(ticket);
        if (job == jobs.end() || job->state == Entry::Held)
            return false;
        job->state = Entry::Held;
        ends << End{ticket, job->job, Verdict::Held};
        news.wakeAll();
    }
    wakeWorker();
    return true;
}

bool FFMpegQueueNotifier::release(quint64 ticket)
{
    {
        const QMutexLocker lock(&mutex);
        const auto job = waitingOrHeld(ticket);
        if (job == jobs.end() || job->state != Entry::Held)
            return false;
        job->state = Entry::Waiting;
        forgetEnd(ticket);
    }
    wakeWorker();
    return true;
}

bool FFMpegQueueNotifier::remove(quint64 ticket)
{
    Job removed; // outlives the lock, because it releases what the job held
    {
        const QMutexLocker lock(&mutex);
        const auto job = waitingOrHeld(ticket);
        if (job == jobs.end())
            return false;
        removed = *job;
        jobs.erase(job);
        forgetEnd(ticket);
        ends << End{ticket, removed.job, Verdict::Removed};
        news.wakeAll();
    }
    writeConsole(
        tr("The job for %1 was removed, the video stays in %2").arg(removed.job.dest, removed.job.source));
    wakeWorker();
    return true;
}

bool FFMpegQueueNotifier::takeNext(Job &job)
{
    const QMutexLocker lock(&mutex);
    const auto next =
        std::find_if(jobs.begin(), jobs.end(), [](const Job &one) { return one.state == Entry::Waiting; });
    if (next == jobs.end())
        return false;
    next->state = Entry::Running;
    std::rotate(jobs.begin(), next, next + 1);
    job = jobs.first();
    job.held.reset();
    return true;
}

bool FFMpegQueueNotifier::currentIsCancelled() const
{
    const QMutexLocker lock(&mutex);
    return running() && running()->isCancelled;
}

void FFMpegQueueNotifier::waitForNews(int limitMs)
{
    const QDeadlineTimer end(limitMs);
    QMutexLocker lock(&mutex);
    while (!(running() && running()->isCancelled) && ends.isEmpty() && news.wait(&mutex, end)) { }
}

void FFMpegQueueNotifier::endCurrent(const Verdict &verdict)
{
    Job ended;
    {
        const QMutexLocker lock(&mutex);
        if (!running())
            return;
        ended = jobs.takeFirst();
    }
    ended.held.reset();
    Q_EMIT jobOver(ended.ticket, verdict);
}

void FFMpegQueueNotifier::reportEnds()
{
    QList<End> all;
    {
        const QMutexLocker lock(&mutex);
        all.swap(ends);
    }
    for (const End &end : qAsConst(all))
        Q_EMIT jobOver(end.ticket, verdictOn(end.job, end.outcome));
}

FFMpegJobVerdict FFMpegQueueNotifier::verdictOn(const FFMpegJob &job, Verdict::Outcome outcome)
{
    Verdict verdict;
    verdict.job = job;
    verdict.outcome = outcome;
    const QFileInfo source(job.source);
    if (source.isFile()) {
        verdict.sourceSize = source.size();
        verdict.sourceTime = source.lastModified();
    }
    return verdict;
}

// Called with the mutex held.
const FFMpegQueueNotifier::Job *FFMpegQueueNotifier::running() const
{
    return !jobs.isEmpty() && jobs.first().state == Entry::Running ? &jobs.first() : nullptr;
}

// Called with the mutex held.
QList<FFMpegQueueNotifier::Job>::iterator FFMpegQueueNotifier::waitingOrHeld(quint64 ticket)
{
    return std::find_if(jobs.begin(), jobs.end(),
        [=](const Job &job) { return job.ticket == ticket && job.state != Entry::Running; });
}

// Called with the mutex held.
void FFMpegQueueNotifier::forgetEnd(quint64 ticket)
{
    ends.erase(std::remove_if(ends.begin(), ends.end(), [=](const End &end) { return end.ticket == ticket; }),
        ends.end());
}
