#pragma once

#include "ffmpeg/ffmpegjobwatch.h"
#include "ffmpeg/ffmpegqueue.h"
#include "recording/recording_p.h"

#include <QObject>

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/** What the ends of jobs may touch of a recorder that can be destroyed meanwhile. */
class RecorderLink
{
public:
    explicit RecorderLink(VideoRecorder *recorder) : recorder(recorder) { }

    /** Makes the worker's next pass begin at once and look for ended recordings. */
    void wake();

    /** The recorder is being destroyed. */
    void leave();
    bool isLeft() const;

    /** True once after wake(). */
    bool takeNews() { return hasNews.exchange(false); }

    void setLast(const RecordingResult &result);
    RecordingResult getLast() const;

private:
    mutable std::mutex mutex; // guards the two below
    VideoRecorder *recorder;
    RecordingResult last;
    std::atomic<bool> hasNews{false};
};

/**
 * Follows the recordings of all recorders from the stop until their files lie where they stay, and outlives
 * the recorders.
 *
 * \thread Any. The signal comes from the thread on which the change happened.
 */
class RecordingDeliveries : public QObject
{
    Q_OBJECT

public:
    /** Never destroyed: jobs may still end while the process does. */
    static RecordingDeliveries &instance();

    /** \a recording was asked to stop. Counted once, however often this is called. */
    void begin(const std::shared_ptr<Recording> &recording);

    /** Queues the job that makes the destination; the end of the job completes the recording's result. */
    void queueJob(const std::shared_ptr<Recording> &recording, const FFMpegJob &job, FFMpegQueue &queue,
        const std::shared_ptr<RecorderLink> &link);

    /** A recording that has begun here has ended without a job; its result is complete. */
    void end();

    /** A result, and whether it is the first one of its recording: a held job that is released gives another.
     */
    using News = std::pair<RecordingResult, bool>;

    /** The results of ended recordings of \a link, in the order of their ends, that were not taken yet. */
    std::vector<News> takeResults(const RecorderLink &link);

    /** What recordFinished() tells of a recording, and its result. */
    struct Ended
    {
        RecordingResult result;
        int durationMs = 0;
    };

    /** The recordings of \a link whose end may be announced, since the queue has nothing more to do. */
    std::vector<Ended> takeAnnounced(const RecorderLink &link);

    /** How many recordings are being finished. */
    int pending() const;

    /** Waits until \a isDone. On the GUI thread events are delivered meanwhile, but for the user's input.
     * False when the time is up. */
    bool waitUntil(const std::function<bool()> &isDone, int limitMs);

Q_SIGNALS:
    /** \a done of \a all recordings that were stopped since the last quiet moment are finished. */
    void progressed(int done, int all);

private:
    struct Entry
    {
        std::shared_ptr<Recording> recording;
        std::shared_ptr<RecorderLink> link;
        const FFMpegQueue *queue = nullptr; // for comparison only
        quint64 ticket = 0;
        RecordingResult result; // the newest one
        int results = 0; // that the job has given
        int taken = 0; // of them, by takeResults()
        bool isHeld = false; // the job may be released and give another result
        bool mayAnnounce = false; // the queue has run dry since the end
        bool isAnnounced = false;
    };

    RecordingDeliveries() = default;
    void watch(FFMpegQueue &queue);
    void jobOver(const FFMpegQueue *queue, quint64 ticket, const FFMpegJobVerdict &verdict);
    void queueIsDry(const FFMpegQueue *queue);
    void queueIsGone(const FFMpegQueue *queue);
    void removeSpent();

    mutable std::mutex mutex; // guards all below
    std::condition_variable changed;
    std::list<Entry> entries;
    std::vector<const FFMpegQueue *> watched;
    int all = 0; // recordings that were stopped since the last quiet moment
    int done = 0; // of them, those that are finished
};
