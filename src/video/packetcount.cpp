#include "video/packetcount_p.h"

#include <QDir>

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

namespace {

struct Closer
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
using Container = std::unique_ptr<AVFormatContext, Closer>;

int askWhetherInterrupted(void *isInterrupted)
{
    return (*static_cast<const std::function<bool()> *>(isInterrupted))() ? 1 : 0;
}

Container open(const QString &path, const std::function<bool()> &isInterrupted)
{
    AVFormatContext *context = avformat_alloc_context();
    if (!context)
        return {};
    if (isInterrupted) {
        context->interrupt_callback.callback = askWhetherInterrupted;
        context->interrupt_callback.opaque = const_cast<std::function<bool()> *>(&isInterrupted);
    }
    // An edit list hides frames that are there. Demuxers that have no such option ignore it.
    AVDictionary *options = nullptr;
    av_dict_set(&options, "ignore_editlist", "1", 0);
    // An absolute path, so that no name is taken for a protocol. Frees the context if it fails.
    const int error = avformat_open_input(
        &context, QDir::current().absoluteFilePath(path).toUtf8().constData(), nullptr, &options);
    av_dict_free(&options);
    return error < 0 ? Container() : Container(context);
}

// Such a file is one frame of many, or is read as often as one likes.
bool holdsSinglePictures(const AVFormatContext &container)
{
    const QString format = QString::fromLatin1(container.iformat->name);
    return format == QLatin1String("image2") || format.endsWith(QLatin1String("_pipe"));
}

} // namespace

qint64 PacketCount::ofVideo(const QString &path, const std::function<bool()> &isInterrupted)
{
    const Container container = path.isEmpty() ? Container() : open(path, isInterrupted);
    if (!container || holdsSinglePictures(*container)
        || avformat_find_stream_info(container.get(), nullptr) < 0)
        return -1;
    const int video = av_find_best_stream(container.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (video < 0)
        return -1;
    for (unsigned int i = 0; i < container->nb_streams; ++i) {
        if (int(i) != video)
            container->streams[i]->discard = AVDISCARD_ALL;
    }
    const std::unique_ptr<AVPacket, Closer> packet(av_packet_alloc());
    if (!packet)
        return -1;
    qint64 count = 0;
    while (av_read_frame(container.get(), packet.get()) >= 0) {
        count += packet->stream_index == video ? 1 : 0;
        av_packet_unref(packet.get());
        if (isInterrupted && isInterrupted())
            return -1;
    }
    return isInterrupted && isInterrupted() ? -1 : count;
}
