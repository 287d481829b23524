#include "video/encodingqueue_p.h"

#include <algorithm>

EncodingQueue::EncodingQueue(cv::Size size, const VideoFileWriter::Options &options)
    : m_options([&options] {
          VideoFileWriter::Options given = options;
          if (given.threads < 1)
              given.threads = std::max(1, int(std::thread::hardware_concurrency()) - 1);
          given.queueLength = std::max(1, given.queueLength);
          return given;
      }()),
      m_converter(size, FrameEncoder::pixelFormat(options.codec))
{
}

EncodingQueue::~EncodingQueue()
{
    stop();
}

bool EncodingQueue::open(const QString &path, AVRational rate, AVRational timeBase, QString &reason)
{
    if (!m_muxer.choose(path, reason))
        return false;
    // One more than threads, for a caller that helps.
    m_encoders = std::vector<Encoder>(FrameEncoder::isIntra(m_options.codec) ? m_options.threads + 1 : 1);
    for (Encoder &each : m_encoders) {
        if (!each.encoder.open(
                m_options, m_converter.size(), rate, timeBase, m_muxer.wantsGlobalHeader(), reason))
            return false;
    }
    m_frameDuration = av_rescale_q(1, av_inv_q(rate), timeBase);
    m_last.reset(av_packet_alloc());
    if (!m_last || !m_muxer.start(*m_encoders.front().encoder.context(), reason))
        return false;
    const std::size_t threads = FrameEncoder::isIntra(m_options.codec) ? m_options.threads : 1;
    while (m_threads.size() < threads)
        m_threads.emplace_back(&EncodingQueue::work, this);
    return true;
}

bool EncodingQueue::append(av::Frame frame, qint64 time)
{
    Lock lock(m_mutex);
    while (m_jobs.size() >= std::size_t(m_options.queueLength) && m_failure.isEmpty()) {
        if (!encodeNext(lock) && !writeReady(lock))
            m_room.wait(lock);
    }
    if (!m_failure.isEmpty())
        return false;
    auto job = std::make_unique<Job>();
    job->time = time;
    if (!FrameEncoder::isIntra(m_options.codec)) {
        if (frame)
            m_lastFrame.reset(av_frame_clone(frame.get()));
        else
            frame.reset(av_frame_clone(m_lastFrame.get()));
    }
    job->state = frame ? Job::Waiting : Job::Done;
    job->frame = std::move(frame);
    m_jobs.push_back(std::move(job));
    m_work.notify_one();
    return true;
}

bool EncodingQueue::hasRoom() const
{
    const Lock lock(m_mutex);
    return m_jobs.size() < std::size_t(m_options.queueLength);
}

QString EncodingQueue::failure() const
{
    const Lock lock(m_mutex);
    return m_failure;
}

qint64 EncodingQueue::framesWritten() const
{
    const Lock lock(m_mutex);
    return m_written;
}

VideoFileWriter::Result EncodingQueue::close()
{
    {
        Lock lock(m_mutex);
        while (!m_jobs.empty() || m_isWriting) {
            if (!encodeNext(lock) && !writeReady(lock))
                m_room.wait(lock);
        }
    }
    stop();
    // No other thread is left.
    std::vector<av::Packet> rest;
    for (Encoder &each : m_encoders) {
        if (m_failure.isEmpty()) {
            int result = each.encoder.encode(nullptr, rest);
            if (result >= 0)
                result = writePackets(rest);
            if (result < 0)
                fail(av::reason(result));
            else
                m_written += result;
            rest.clear();
        }
    }
    VideoFileWriter::Result result;
    const int error = m_muxer.finish(m_options.keepsFragments, result.reason);
    if (error < 0 && m_failure.isEmpty())
        fail(av::reason(error));
    if (!m_failure.isEmpty())
        result.reason = m_failure;
    result.ok = m_failure.isEmpty();
    result.frames = m_written;
    return result;
}

void EncodingQueue::work()
{
    Lock lock(m_mutex);
    while (true) {
        if (encodeNext(lock) || writeReady(lock))
            continue;
        if (m_isStopping)
            return;
        waitForWork(lock);
    }
}

// False if no frame waits, or no encoder is free for it.
bool EncodingQueue::encodeNext(Lock &lock)
{
    const auto job = std::find_if(
        m_jobs.begin(), m_jobs.end(), [](const auto &each) { return each->state == Job::Waiting; });
    const auto encoder =
        std::find_if(m_encoders.begin(), m_encoders.end(), [](const Encoder &each) { return !each.isBusy; });
    if (job == m_jobs.end() || encoder == m_encoders.end())
        return false;
    Job &mine = **job; // stays where it is until it is done
    mine.state = Job::Encoding;
    encoder->isBusy = true;
    lock.unlock();
    mine.frame->pts = mine.time;
    const int error = encoder->encoder.encode(mine.frame.get(), mine.packets);
    mine.frame.reset();
    lock.lock();
    encoder->isBusy = false;
    mine.state = Job::Done;
    if (error < 0)
        fail(av::reason(error));
    writeReady(lock);
    return true;
}

// False if the oldest job is not done, or somebody writes it.
bool EncodingQueue::writeReady(Lock &lock)
{
    if (m_isWriting || m_jobs.empty() || m_jobs.front()->state != Job::Done)
        return false;
    m_isWriting = true;
    while (!m_jobs.empty() && m_jobs.front()->state == Job::Done) {
        const std::unique_ptr<Job> job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_room.notify_all();
        if (!m_failure.isEmpty())
            continue;
        lock.unlock();
        const int result = writeJob(*job);
        lock.lock();
        if (result < 0)
            fail(av::reason(result));
        else
            m_written += result;
    }
    stopWriting();
    return true;
}

void EncodingQueue::waitForWork(Lock &lock)
{
    if (m_isWriting || m_flushDue == VideoMuxer::Clock::time_point::max() || !m_failure.isEmpty()) {
        m_work.wait(lock);
        return;
    }
    m_work.wait_until(lock, m_flushDue);
    if (m_isWriting || VideoMuxer::Clock::now() < m_flushDue)
        return;
    // No frame has come for a while, so what is held back would be lost in a crash.
    m_isWriting = true;
    lock.unlock();
    const int error = m_muxer.flush();
    lock.lock();
    if (error < 0)
        fail(av::reason(error));
    stopWriting();
}

void EncodingQueue::stopWriting()
{
    m_isWriting = false;
    m_flushDue = m_muxer.flushDue();
    m_work.notify_one(); // a thread that has not waited for a flush so far
    m_room.notify_all();
}

// The number of packets written, or a negative error.
int EncodingQueue::writeJob(Job &job)
{
    if (!FrameEncoder::isIntra(m_options.codec))
        return writePackets(job.packets);
    if (!job.packets.empty()) {
        av_packet_unref(m_last.get());
        av_packet_move_ref(m_last.get(), job.packets.front().get());
    }
    std::vector<av::Packet> packets;
    packets.emplace_back(av_packet_clone(m_last.get()));
    if (!packets.front())
        return AVERROR(ENOMEM);
    packets.front()->pts = packets.front()->dts = job.time;
    return writePackets(packets);
}

int EncodingQueue::writePackets(std::vector<av::Packet> &packets)
{
    for (const av::Packet &packet : packets) {
        packet->duration = m_frameDuration;
        const int error = m_muxer.write(*packet);
        if (error < 0)
            return error;
    }
    return int(packets.size());
}

void EncodingQueue::fail(const QString &reason)
{
    if (m_failure.isEmpty())
        m_failure = reason;
    // Nothing is written any more, so nothing needs to be encoded.
    for (const auto &job : m_jobs) {
        if (job->state == Job::Waiting)
            job->state = Job::Done;
    }
}

void EncodingQueue::stop()
{
    {
        const Lock lock(m_mutex);
        m_isStopping = true;
        m_work.notify_all();
    }
    for (std::thread &each : m_threads)
        each.join();
    m_threads.clear();
}
