#include "video/videomuxer_p.h"

#include "video/videoremux_p.h"

#include <QDir>
#include <QFileInfo>

namespace {

constexpr std::chrono::milliseconds longestHold(500);
constexpr int mostHeldPackets = 8;

struct Container
{
    const char *suffix;
    const char *format; // FFmpeg's name
    bool isFragmented;
    bool hasConstantRate;
};
constexpr Container containers[] = {
    {"avi", "avi", false, true},
    {"mkv", "matroska", false, false},
    {"mov", "mov", true, false},
    {"mp4", "mp4", true, false},
    {"m4v", "mp4", true, false},
    {"wmv", "asf", false, false},
};

const Container *containerOf(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const Container &container : containers) {
        if (suffix == QLatin1String(container.suffix))
            return &container;
    }
    return nullptr;
}

} // namespace

VideoMuxer::~VideoMuxer()
{
    close();
}

bool VideoMuxer::isKnown(const QString &path)
{
    return containerOf(path) != nullptr;
}

bool VideoMuxer::hasConstantRate(const QString &path)
{
    const Container *container = containerOf(path);
    return container && container->hasConstantRate;
}

bool VideoMuxer::choose(const QString &path, QString &reason)
{
    const Container *container = containerOf(path);
    if (!container) {
        reason = QStringLiteral("the suffix is none of avi, mkv, mov, mp4, m4v, wmv");
        return false;
    }
    // An absolute path, since FFmpeg takes "a:b.avi" for a protocol.
    m_path = QDir::current().absoluteFilePath(path);
    m_isFragmented = container->isFragmented;
    const int error =
        avformat_alloc_output_context2(&m_container, nullptr, container->format, m_path.toUtf8().constData());
    if (error < 0)
        reason = av::reason(error);
    return error >= 0;
}

bool VideoMuxer::wantsGlobalHeader() const
{
    return m_container->oformat->flags & AVFMT_GLOBALHEADER;
}

bool VideoMuxer::start(const AVCodecContext &codec, QString &reason)
{
    AVStream *stream = avformat_new_stream(m_container, nullptr);
    int error = stream ? avcodec_parameters_from_context(stream->codecpar, &codec) : AVERROR(ENOMEM);
    if (error >= 0) {
        stream->time_base = codec.time_base;
        stream->avg_frame_rate = codec.framerate;
        m_timeBase = codec.time_base;
        m_container->flush_packets = 1;
        error = avio_open(&m_container->pb, m_container->url, AVIO_FLAG_WRITE);
    }
    if (error >= 0) {
        av::Dictionary options;
        if (m_isFragmented)
            options.set("movflags", "+frag_custom+empty_moov+default_base_moof");
        m_needsFlush = m_container->oformat->flags & AVFMT_ALLOW_FLUSH;
        error = avformat_write_header(m_container, options.get());
    }
    if (error >= 0)
        error = flush();
    if (error >= 0)
        return true;
    reason = av::reason(error);
    if (m_container->pb) {
        close();
        if (QFileInfo(m_path).isFile()) // and no device
            QFile::remove(m_path);
    }
    return false;
}

int VideoMuxer::write(AVPacket &packet)
{
    packet.stream_index = 0;
    av_packet_rescale_ts(&packet, m_timeBase, m_container->streams[0]->time_base);
    const int error = av_write_frame(m_container, &packet);
    if (error < 0)
        return error;
    ++m_written;
    if (!m_needsFlush)
        return m_container->pb->error;
    if (m_flushDue == Clock::time_point::max())
        m_flushDue = Clock::now() + longestHold;
    return ++m_sinceFlush >= mostHeldPackets || Clock::now() >= m_flushDue ? flush() : 0;
}

int VideoMuxer::flush()
{
    m_sinceFlush = 0;
    m_flushDue = Clock::time_point::max();
    const int error = m_needsFlush && m_written > 0 ? av_write_frame(m_container, nullptr) : 0;
    avio_flush(m_container->pb);
    return error < 0 ? error : m_container->pb->error;
}

int VideoMuxer::finish(bool keepsFragments, QString &remark)
{
    int error = m_container->pb->error;
    const int trailerError = av_write_trailer(m_container);
    if (error >= 0)
        error = trailerError;
    const int closeError = close();
    if (error >= 0)
        error = closeError;
    if (error >= 0 && m_isFragmented && !keepsFragments)
        remark = VideoRemux::toOrdinary(m_path, m_written);
    return error;
}

int VideoMuxer::close()
{
    if (!m_container)
        return 0;
    const int error = m_container->pb ? avio_closep(&m_container->pb) : 0;
    avformat_free_context(m_container);
    m_container = nullptr;
    return error;
}
