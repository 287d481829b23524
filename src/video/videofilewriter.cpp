#include "video/videofilewriter.h"

#include "video/encodingqueue_p.h"

#include <cmath>

namespace {

constexpr int smallestSide = 2;
constexpr int largestSide = 16384;
constexpr double fastest = 10000.0;
constexpr int finestRational = 1000000;
constexpr AVRational microseconds = {1, 1000000};

bool isWithin(cv::Size size)
{
    return size.width >= smallestSide && size.height >= smallestSide && size.width <= largestSide
        && size.height <= largestSide;
}

} // namespace

VideoFileWriter::VideoFileWriter() = default;

VideoFileWriter::~VideoFileWriter()
{
    close();
}

VideoFileWriter::VideoFileWriter(VideoFileWriter &&other) noexcept = default;

VideoFileWriter &VideoFileWriter::operator=(VideoFileWriter &&other) noexcept
{
    close();
    m_queue = std::move(other.m_queue);
    m_reason = std::move(other.m_reason);
    m_timing = other.m_timing;
    m_lastTime = other.m_lastTime;
    return *this;
}

bool VideoFileWriter::open(const QString &path, cv::Size size, double rate, const Options &options)
{
    close();
    m_timing = options.timing;
    m_lastTime = -1;
    if (!isWithin(size))
        return refuse(QStringLiteral("the size is not within 2x2 and 16384x16384"));
    const AVRational rational = std::isfinite(rate) && rate > 0.0 && rate <= fastest
        ? av_d2q(rate, finestRational)
        : AVRational{0, 1};
    if (rational.num < 1)
        return refuse(QStringLiteral("the rate is not above 0 and up to 10000 Hz"));
    if (options.timing == Timing::OwnTimes && VideoMuxer::hasConstantRate(path))
        return refuse(QStringLiteral("this container has a constant rate only"));
    auto queue = std::make_unique<EncodingQueue>(size, options);
    QString reason;
    const AVRational timeBase = options.timing == Timing::OwnTimes ? microseconds : av_inv_q(rational);
    if (!queue->open(path, rational, timeBase, reason))
        return refuse(reason);
    m_queue = std::move(queue);
    m_reason.clear();
    return true;
}

bool VideoFileWriter::open(const QString &path, cv::Size size, double rate)
{
    return open(path, size, rate, Options());
}

bool VideoFileWriter::isOpen() const
{
    return m_queue != nullptr;
}

QString VideoFileWriter::reason() const
{
    return m_reason;
}

cv::Size VideoFileWriter::size() const
{
    return m_queue ? m_queue->converter().size() : cv::Size();
}

bool VideoFileWriter::write(const cv::Mat &frame)
{
    return append(&frame, Timing::ConstantRate, m_lastTime + 1);
}

bool VideoFileWriter::write(const cv::Mat &frame, qint64 timeUs)
{
    return append(&frame, Timing::OwnTimes, timeUs);
}

bool VideoFileWriter::repeatLast()
{
    return append(nullptr, Timing::ConstantRate, m_lastTime + 1);
}

bool VideoFileWriter::repeatLast(qint64 timeUs)
{
    return append(nullptr, Timing::OwnTimes, timeUs);
}

bool VideoFileWriter::hasRoom() const
{
    return m_queue && m_queue->hasRoom();
}

bool VideoFileWriter::hasFailed() const
{
    return m_queue && !m_queue->failure().isEmpty();
}

qint64 VideoFileWriter::framesWritten() const
{
    return m_queue ? m_queue->framesWritten() : 0;
}

VideoFileWriter::Result VideoFileWriter::close()
{
    if (!m_queue)
        return {};
    const Result result = m_queue->close();
    m_queue.reset();
    return result;
}

// Null for a repeat of the last frame.
bool VideoFileWriter::append(const cv::Mat *frame, Timing timing, qint64 time)
{
    if (!m_queue)
        return refuse(QStringLiteral("no file is open"));
    if (timing != m_timing)
        return refuse(timing == Timing::OwnTimes ? QStringLiteral("the file has a constant rate")
                                                 : QStringLiteral("each frame of this file needs a time"));
    if (time <= m_lastTime)
        return refuse(QStringLiteral("the time is not above that of the last frame"));
    if (!frame && m_lastTime < 0)
        return refuse(QStringLiteral("there is no frame to repeat"));
    if (frame && !m_queue->converter().takes(*frame))
        return refuse(QStringLiteral("the frame is of another size, or of a type that is not taken"));
    av::Frame planes;
    if (frame) {
        planes = m_queue->converter().convert(*frame);
        if (!planes)
            return refuse(QStringLiteral("there is not enough memory"));
    }
    if (!m_queue->append(std::move(planes), time))
        return refuse(m_queue->failure());
    m_lastTime = time;
    return true;
}

bool VideoFileWriter::refuse(const QString &reason)
{
    m_reason = reason;
    return false;
}
