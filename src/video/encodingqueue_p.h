#pragma once

#include "video/frameconverter_p.h"
#include "video/frameencoder_p.h"
#include "video/videofilewriter.h"
#include "video/videomuxer_p.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

/**
 * Encodes frames on a few threads, and writes the packets in the order in which the frames came.
 *
 * Whoever completes the oldest frame writes it, and those behind it that are ready; one thread at a time. A
 * caller that finds the queue full encodes as well.
 */
class EncodingQueue
{
public:
    explicit EncodingQueue(cv::Size size, const VideoFileWriter::Options &options);
    ~EncodingQueue();

    /** Opens file and encoders and starts the threads; false with a reason. */
    bool open(const QString &path, AVRational rate, AVRational timeBase, QString &reason);

    FrameConverter &converter() { return m_converter; } // the caller's

    /** Appends \a frame, or for null a repeat of the last one; false after a failure. */
    bool append(av::Frame frame, qint64 time);

    bool hasRoom() const;
    QString failure() const; // empty if there is none
    qint64 framesWritten() const;

    VideoFileWriter::Result close();

private:
    using Lock = std::unique_lock<std::mutex>;

    struct Job
    {
        av::Frame frame; // null for a repeat
        qint64 time = 0;
        enum State
        {
            Waiting,
            Encoding,
            Done
        } state = Waiting;
        std::vector<av::Packet> packets;
    };
    struct Encoder
    {
        FrameEncoder encoder;
        bool isBusy = false;
    };

    void work();
    bool encodeNext(Lock &lock);
    bool writeReady(Lock &lock);
    void waitForWork(Lock &lock);
    int writeJob(Job &job);
    int writePackets(std::vector<av::Packet> &packets);
    void stopWriting();
    void fail(const QString &reason);
    void stop();

    const VideoFileWriter::Options m_options;
    FrameConverter m_converter;
    qint64 m_frameDuration = 1; // in the time base of the packets
    std::vector<std::thread> m_threads;

    mutable std::mutex m_mutex; // guards all below
    std::condition_variable m_work; // something to do for a thread
    std::condition_variable m_room; // a job has left
    std::deque<std::unique_ptr<Job>> m_jobs;
    std::vector<Encoder> m_encoders; // the encoder itself belongs to whoever has set isBusy
    bool m_isWriting = false; // a thread uses the next two, without the lock
    VideoMuxer m_muxer;
    av::Packet m_last; // the last packet written
    VideoMuxer::Clock::time_point m_flushDue = VideoMuxer::Clock::time_point::max();
    av::Frame m_lastFrame; // of the last job, where a repeat is encoded
    qint64 m_written = 0;
    QString m_failure;
    bool m_isStopping = false;
};
