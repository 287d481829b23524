#include "recording/recordingdeliveries_p.h"

#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <chrono>

namespace {

constexpr int lookMs = 20;

} // namespace

void RecorderLink::wake()
{
    hasNews = true;
    const std::lock_guard<std::mutex> lock(mutex);
    if (recorder)
        recorder->wake();
}

void RecorderLink::leave()
{
    const std::lock_guard<std::mutex> lock(mutex);
    recorder = nullptr;
}

bool RecorderLink::isLeft() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return !recorder;
}

void RecorderLink::setLast(const RecordingResult &result)
{
    const std::lock_guard<std::mutex> lock(mutex);
    last = result;
}

RecordingResult RecorderLink::getLast() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return last;
}

RecordingDeliveries &RecordingDeliveries::instance()
{
    static RecordingDeliveries *const deliveries = new RecordingDeliveries;
    return *deliveries;
}

void RecordingDeliveries::begin(const std::shared_ptr<Recording> &recording)
{
    int nowDone = 0;
    int nowAll = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (recording->isCounted)
            return;
        recording->isCounted = true;
        if (done == all)
            done = all = 0; // a new round
        nowDone = done;
        nowAll = ++all;
    }
    Q_EMIT progressed(nowDone, nowAll);
}

void RecordingDeliveries::end()
{
    int nowDone = 0;
    int nowAll = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        nowDone = ++done;
        nowAll = all;
    }
    changed.notify_all();
    Q_EMIT progressed(nowDone, nowAll);
}

void RecordingDeliveries::queueJob(const std::shared_ptr<Recording> &recording, const FFMpegJob &job,
    FFMpegQueue &queue, const std::shared_ptr<RecorderLink> &link)
{
    watch(queue);
    std::shared_ptr<void> claim = std::move(recording->tempFile);
    // Held while the job is appended, so that its end finds the entry.
    const std::lock_guard<std::mutex> lock(mutex);
    Entry entry;
    entry.recording = recording;
    entry.link = link;
    entry.queue = &queue;
    entry.ticket =
        queue.notifier()->appendJob(job, std::move(claim), FFMpegQueueNotifier::Existing::Replaced);
    entries.push_back(std::move(entry));
}

void RecordingDeliveries::watch(FFMpegQueue &queue)
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (std::find(watched.begin(), watched.end(), &queue) != watched.end())
            return;
        watched.push_back(&queue);
    }
    const FFMpegQueue *const which = &queue;
    connect(
        queue.notifier(), &FFMpegQueueNotifier::jobOver, this,
        [this, which](quint64 ticket, const FFMpegJobVerdict &verdict) { jobOver(which, ticket, verdict); },
        Qt::DirectConnection);
    connect(
        &queue, &FFMpegQueue::jobFinished, this,
        [this, which](int jobsLeft) {
            if (jobsLeft == 0)
                queueIsDry(which);
        },
        Qt::DirectConnection);
    connect(
        &queue, &QObject::destroyed, this, [this, which] { queueIsGone(which); }, Qt::DirectConnection);
}

void RecordingDeliveries::jobOver(const FFMpegQueue *queue, quint64 ticket, const FFMpegJobVerdict &verdict)
{
    std::shared_ptr<Recording> recording;
    std::shared_ptr<RecorderLink> link;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (const Entry &entry : entries) {
            if (entry.queue == queue && entry.ticket == ticket) {
                recording = entry.recording;
                link = entry.link;
            }
        }
    }
    if (recording) {
        recording->endJob(verdict);
        link->setLast(recording->result);
        bool isFirst = false;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            for (Entry &entry : entries) {
                if (entry.recording == recording) {
                    entry.result = recording->result;
                    isFirst = entry.results++ == 0;
                    entry.isHeld = verdict.outcome == FFMpegJobVerdict::Held;
                }
            }
        }
        if (isFirst)
            end();
        link->wake();
    }
    // No jobFinished(0) follows a job that was not run, not even for those that ended before it.
    const bool wasRun =
        verdict.outcome == FFMpegJobVerdict::Done || verdict.outcome == FFMpegJobVerdict::Failed;
    if (!wasRun && !queue->notifier()->isBusy())
        queueIsDry(queue);
}

void RecordingDeliveries::queueIsDry(const FFMpegQueue *queue)
{
    std::vector<std::shared_ptr<RecorderLink>> links;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (Entry &entry : entries) {
            // An end that was told before a job was appended is none of that job's.
            if (entry.queue == queue && entry.results > 0) {
                entry.mayAnnounce = true;
                links.push_back(entry.link);
            }
        }
        removeSpent();
    }
    for (const std::shared_ptr<RecorderLink> &link : links)
        link->wake();
}

void RecordingDeliveries::queueIsGone(const FFMpegQueue *queue)
{
    std::vector<quint64> open;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        watched.erase(std::remove(watched.begin(), watched.end(), queue), watched.end());
        for (const Entry &entry : entries) {
            if (entry.queue == queue && entry.results == 0)
                open.push_back(entry.ticket);
        }
    }
    FFMpegJobVerdict verdict;
    verdict.outcome = FFMpegJobVerdict::Failed; // of the kinds that do not ask the queue any more
    for (quint64 ticket : open)
        jobOver(queue, ticket, verdict);
    queueIsDry(queue);
}

// Called with the mutex held.
void RecordingDeliveries::removeSpent()
{
    entries.remove_if([](const Entry &entry) {
        const bool isTold = entry.isAnnounced && entry.taken == entry.results;
        return entry.results > 0 && !entry.isHeld && (isTold || entry.link->isLeft());
    });
}

std::vector<RecordingDeliveries::News> RecordingDeliveries::takeResults(const RecorderLink &link)
{
    std::vector<News> news;
    const std::lock_guard<std::mutex> lock(mutex);
    for (Entry &entry : entries) {
        if (entry.link.get() == &link && entry.taken < entry.results) {
            news.emplace_back(entry.result, entry.taken == 0);
            entry.taken = entry.results;
        }
    }
    removeSpent();
    return news;
}

std::vector<RecordingDeliveries::Ended> RecordingDeliveries::takeAnnounced(const RecorderLink &link)
{
    std::vector<Ended> ended;
    const std::lock_guard<std::mutex> lock(mutex);
    for (Entry &entry : entries) {
        if (entry.link.get() == &link && entry.mayAnnounce && !entry.isAnnounced) {
            entry.isAnnounced = true;
            ended.push_back({entry.result, entry.recording->durationMs});
        }
    }
    removeSpent();
    return ended;
}

int RecordingDeliveries::pending() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return all - done;
}

bool RecordingDeliveries::waitUntil(const std::function<bool()> &isDone, int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    const QCoreApplication *const application = QCoreApplication::instance();
    const bool isGui = application && QThread::currentThread() == application->thread();
    while (!isDone()) {
        if (deadline.hasExpired())
            return false;
        if (isGui) {
            QEventLoop loop;
            QTimer::singleShot(lookMs, &loop, &QEventLoop::quit);
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        } else {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait_for(lock, std::chrono::milliseconds(lookMs));
        }
    }
    return true;
}
