#include "video/frameencoder_p.h"

#include <QtMath>

extern "C" {
#include <libavutil/opt.h>
}

namespace {

// OpenCV's writer aims at 6 bits a pixel with this as the finest quantiser. No picture needs as much, noise
// included, so the quantiser is what it always ends up with.
constexpr int quantiserOfOpenCv = 3;
constexpr int coarsestQuantiser = 31;

// 100 is the finest that JPEG has at 8 bits, 1 the coarsest.
int mjpegQuantiser(int quality)
{
    if (quality <= 0)
        return quantiserOfOpenCv;
    return qBound(1, qRound(coarsestQuantiser - (qMin(quality, 100) - 1) * 0.303), coarsestQuantiser);
}

// What x264 takes for a constant quality: 18 looks like the original to most, 51 is the worst.
int h264RateFactor(int quality)
{
    return quality <= 0 ? 18 : qBound(1, qRound(51 - (qMin(quality, 100) - 1) * 0.5), 51);
}

} // namespace

bool FrameEncoder::open(const VideoFileWriter::Options &options, cv::Size size, AVRational rate,
    AVRational timeBase, bool wantsGlobalHeader, QString &reason)
{
    const bool isMjpeg = options.codec == VideoFileWriter::Codec::Mjpeg;
    const AVCodec *codec = avcodec_find_encoder(isMjpeg ? AV_CODEC_ID_MJPEG : AV_CODEC_ID_H264);
    m_codec.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!m_codec) {
        reason = QStringLiteral("this FFmpeg has no encoder for it");
        return false;
    }
    m_codec->width = size.width;
    m_codec->height = size.height;
    m_codec->pix_fmt = pixelFormat(options.codec);
    m_codec->color_range = isMjpeg ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    m_codec->colorspace = AVCOL_SPC_SMPTE170M;
    m_codec->framerate = rate;
    m_codec->time_base = timeBase;
    m_codec->thread_count = 1;
    if (wantsGlobalHeader)
        m_codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    av::Dictionary settings;
    if (isMjpeg) {
        m_codec->flags |= AV_CODEC_FLAG_QSCALE;
        m_codec->global_quality = FF_QP2LAMBDA * mjpegQuantiser(options.quality);
        m_codec->qmin = 1;
    } else {
        // A frame that the encoder looks ahead at is lost in a crash, so it looks at none.
        m_codec->thread_count = qMax(1, options.threads);
        m_codec->gop_size = qMax(1, qRound(av_q2d(rate)));
        m_codec->max_b_frames = 0;
        settings.set("preset", "veryfast");
        settings.set("tune", "zerolatency");
        settings.set("crf", h264RateFactor(options.quality));
    }
    const int error = avcodec_open2(m_codec.get(), codec, settings.get());
    if (error < 0)
        reason = av::reason(error);
    return error >= 0;
}

AVPixelFormat FrameEncoder::pixelFormat(VideoFileWriter::Codec codec)
{
    return codec == VideoFileWriter::Codec::Mjpeg ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
}

int FrameEncoder::encode(AVFrame *frame, std::vector<av::Packet> &packets)
{
    if (frame)
        frame->quality = m_codec->global_quality;
    int error = avcodec_send_frame(m_codec.get(), frame);
    while (error >= 0) {
        av::Packet packet(av_packet_alloc());
        if (!packet)
            return AVERROR(ENOMEM);
        error = avcodec_receive_packet(m_codec.get(), packet.get());
        if (error >= 0)
            packets.push_back(std::move(packet));
    }
    return error == AVERROR(EAGAIN) || error == AVERROR_EOF ? 0 : error;
}
