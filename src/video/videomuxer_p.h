#pragma once

#include "video/avsupport_p.h"
#include "vtcv_export.h"

#include <chrono>

/**
 * Writes the packets of one video stream into a container that survives a crash.
 *
 * While it grows, .mp4 and .mov consist of fragments and .mkv of short clusters, each readable by itself.
 * What is written reaches the operating system with every packet (.avi), or with the eighth packet or flush()
 * (not in .wmv, which fills blocks). finish() makes an ordinary file of fragments.
 *
 * Not for use by two threads at a time.
 */
class VTCV_TEST_EXPORT VideoMuxer
{
public:
    using Clock = std::chrono::steady_clock;

    VideoMuxer() = default;
    ~VideoMuxer();
    VideoMuxer(const VideoMuxer &) = delete;
    VideoMuxer &operator=(const VideoMuxer &) = delete;

    /** Whether \a path has a suffix that start() takes. */
    static bool isKnown(const QString &path);
    /** Whether the container stores a rate instead of times. */
    static bool hasConstantRate(const QString &path);

    /** Chooses the container; false with a reason for an unknown suffix. The file is not touched. */
    bool choose(const QString &path, QString &reason);
    bool wantsGlobalHeader() const;

    /** Makes the file, and writes the header for packets of \a codec with times in its time base. */
    bool start(const AVCodecContext &codec, QString &reason);

    /** Writes \a packet, whose times are in the time base of start()'s codec; a negative error otherwise. */
    int write(AVPacket &packet);

    /** When flush() is due; never if nothing waits for it. */
    Clock::time_point flushDue() const { return m_flushDue; }
    /** Hands all that was written to the operating system; a negative error otherwise. */
    int flush();

    /**
     * Completes and closes the file; a negative error otherwise.
     *
     * \param remark is set where a good file is not the ordinary one that it could be.
     */
    int finish(bool keepsFragments, QString &remark);

private:
    int close();

    QString m_path;
    AVFormatContext *m_container = nullptr; // owned
    AVRational m_timeBase = {0, 1}; // of the packets that come
    bool m_isFragmented = false;
    bool m_needsFlush = false; // of a container that holds packets back
    int m_sinceFlush = 0; // packets
    qint64 m_written = 0; // packets
    Clock::time_point m_flushDue = Clock::time_point::max();
};
