#pragma once

#include "video/avsupport_p.h"
#include "video/videofilewriter.h"

#include <vector>

/** Turns frames into packets, one after the other. Not for use by two threads at a time. */
class FrameEncoder
{
public:
    /** Opens an encoder; false with a reason if this FFmpeg has none, or it refuses. */
    bool open(const VideoFileWriter::Options &options, cv::Size size, AVRational rate, AVRational timeBase,
        bool wantsGlobalHeader, QString &reason);

    const AVCodecContext *context() const { return m_codec.get(); }

    /** Each frame is a key frame of its own, so that several encoders may share the work. */
    static bool isIntra(VideoFileWriter::Codec codec) { return codec == VideoFileWriter::Codec::Mjpeg; }
    static AVPixelFormat pixelFormat(VideoFileWriter::Codec codec);

    /** Appends what \a frame, or for null the end, makes come out to \a packets; a negative error otherwise.
     */
    int encode(AVFrame *frame, std::vector<av::Packet> &packets);

private:
    av::Codec m_codec;
};
