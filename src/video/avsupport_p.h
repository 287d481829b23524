#pragma once

#include <QString>

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libswscale/swscale.h>
}

/** Owners of FFmpeg's objects, and its errors as text. */
namespace av {

struct Deleter
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
    void operator()(AVCodecContext *codec) const { avcodec_free_context(&codec); }
    void operator()(AVBufferPool *pool) const { av_buffer_pool_uninit(&pool); }
    void operator()(SwsContext *scaler) const { sws_freeContext(scaler); }
};
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using Codec = std::unique_ptr<AVCodecContext, Deleter>;
using BufferPool = std::unique_ptr<AVBufferPool, Deleter>;
using Scaler = std::unique_ptr<SwsContext, Deleter>;

/** Options for the call that opens something; what it did not know stays in it. */
class Dictionary
{
public:
    Dictionary() = default;
    ~Dictionary() { av_dict_free(&m_entries); }
    Dictionary(const Dictionary &) = delete;
    Dictionary &operator=(const Dictionary &) = delete;

    void set(const char *key, const char *value) { av_dict_set(&m_entries, key, value, 0); }
    void set(const char *key, qint64 value) { av_dict_set_int(&m_entries, key, value, 0); }
    AVDictionary **get() { return &m_entries; }

private:
    AVDictionary *m_entries = nullptr;
};

/** FFmpeg's words for a negative result, e.g. "No space left on device". */
inline QString reason(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return QString::fromLocal8Bit(text);
}

} // namespace av
