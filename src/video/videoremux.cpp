#include "video/videoremux_p.h"

#include "video/avsupport_p.h"

#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTemporaryFile>

#include <filesystem>

namespace {

// What other recordings on that disk need meanwhile.
constexpr qint64 spaceToLeave = 256 * 1024 * 1024;

// Room for the index in front of the pictures: sizes, places and times of the frames, and the rest.
constexpr qint64 indexBytesPerFrame = 32;
constexpr qint64 indexBytes = 16 * 1024;

class Copy
{
public:
    ~Copy()
    {
        avformat_close_input(&m_from);
        if (m_to)
            avio_closep(&m_to->pb);
        avformat_free_context(m_to);
    }

    int open(const QString &from, const QString &to, qint64 frames)
    {
        const int error = avformat_open_input(&m_from, from.toUtf8().constData(), nullptr, nullptr);
        if (error < 0)
            return error;
        return m_from->nb_streams == 1 ? openOutput(to, frames) : AVERROR_INVALIDDATA;
    }

    int run(qint64 &copied)
    {
        const av::Packet packet(av_packet_alloc());
        int error = packet ? 0 : AVERROR(ENOMEM);
        while (error >= 0) {
            error = av_read_frame(m_from, packet.get());
            if (error == AVERROR_EOF)
                return av_write_trailer(m_to);
            if (error < 0)
                return error;
            av_packet_rescale_ts(packet.get(), m_from->streams[0]->time_base, m_to->streams[0]->time_base);
            packet->pos = -1;
            error = av_write_frame(m_to, packet.get());
            av_packet_unref(packet.get());
            ++copied;
        }
        return error;
    }

    int close()
    {
        const int earlier = m_to->pb->error;
        const int error = avio_closep(&m_to->pb);
        return earlier < 0 ? earlier : error;
    }

private:
    int openOutput(const QString &path, qint64 frames)
    {
        const bool isMov =
            QString::fromUtf8(m_from->url).endsWith(QLatin1String(".mov"), Qt::CaseInsensitive);
        int error =
            avformat_alloc_output_context2(&m_to, nullptr, isMov ? "mov" : "mp4", path.toUtf8().constData());
        if (error < 0)
            return error;
        const AVStream *from = m_from->streams[0];
        AVStream *to = avformat_new_stream(m_to, nullptr);
        error = to ? avcodec_parameters_copy(to->codecpar, from->codecpar) : AVERROR(ENOMEM);
        if (error < 0)
            return error;
        to->time_base = from->time_base;
        to->avg_frame_rate = from->avg_frame_rate;
        error = avio_open(&m_to->pb, m_to->url, AVIO_FLAG_WRITE);
        if (error < 0)
            return error;
        av::Dictionary options;
        options.set("moov_size", indexBytes + frames * indexBytesPerFrame);
        return avformat_write_header(m_to, options.get());
    }

    AVFormatContext *m_from = nullptr; // owned, as is the next
    AVFormatContext *m_to = nullptr;
};

} // namespace

QString VideoRemux::toOrdinary(const QString &given, qint64 frames)
{
    const QString path = QFileInfo(given).canonicalFilePath(); // a link stays one
    const QFileInfo file(path);
    if (QStorageInfo(file.path()).bytesAvailable() < file.size() + spaceToLeave)
        return QStringLiteral("there is no room to make an ordinary file of its fragments");
    QTemporaryFile side(path + QStringLiteral(".XXXXXX"));
    if (!side.open())
        return side.errorString();
    side.close();
    qint64 copied = 0;
    {
        Copy copy;
        int error = copy.open(path, side.fileName(), frames);
        if (error >= 0)
            error = copy.run(copied);
        if (error >= 0)
            error = copy.close();
        if (error < 0)
            return av::reason(error);
    }
    if (copied != frames)
        return QStringLiteral("only %1 of %2 frames could be read back").arg(copied).arg(frames);
    side.setPermissions(file.permissions());
    std::error_code error;
    std::filesystem::rename(std::filesystem::u8path(side.fileName().toStdString()),
        std::filesystem::u8path(path.toStdString()), error);
    if (error)
        return QString::fromStdString(error.message());
    side.setAutoRemove(false);
    return {};
}
