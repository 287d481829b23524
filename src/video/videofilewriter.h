#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QtGlobal>

#include <opencv2/core.hpp>

#include <memory>

class EncodingQueue; // video/encodingqueue_p.h

/**
 * Writes frames into a video file, encoded on threads of its own.
 *
 *     VideoFileWriter writer;
 *     if (!writer.open(QStringLiteral("take.avi"), {1920, 1080}, 30.0))
 *         return warn(writer.reason());
 *     while (nextFrame(frame))
 *         writer.write(frame);
 *     const VideoFileWriter::Result result = writer.close();
 *     if (!result.ok)
 *         warn(result.reason);
 *
 * The suffix chooses the container: .avi, .mkv, .mov, .mp4, .m4v or .wmv. In all but .wmv a program that is
 * killed leaves a readable file: a frame reaches the operating system half a second after it was encoded, or
 * with the eighth one after it. While it grows, a .mov or .mp4 consists of fragments, which close() turns
 * into an ordinary file.
 *
 * write() puts the frame into a short queue. A write error is known when the frame leaves the queue, or at
 * most eight frames later where the container holds frames back: from then on hasFailed() is true and write()
 * returns false. close() always tells.
 *
 * \thread Any, one at a time.
 */
class VTCV_EXPORT VideoFileWriter
{
public:
    enum class Codec
    {
        Mjpeg, // each frame is a JPEG picture; as VideoRecorder::createWriter() writes
        H264 // a key frame each second and no frames that refer to later ones; needs FFmpeg's libx264
    };

    enum class Timing
    {
        ConstantRate, // frame n is shown at n / rate: write(frame)
        OwnTimes // each frame has its own time: write(frame, timeUs); not in .avi
    };

    struct Options
    {
        Codec codec = Codec::Mjpeg;
        Timing timing = Timing::ConstantRate;
        int quality =
            0; // 1 (worst) to 100; 0 for the usual one: that of createWriter(), or a rate factor of 18
        int threads = 0; // that encode; 0 for the number of cores less one, at least 1
        int queueLength = 8; // frames that wait or are being encoded; at least 1
        bool keepsFragments = false; // .mp4 and .mov: close() leaves the file as it grew, and takes no time
    };

    struct Result
    {
        bool ok = false; // the file is complete and holds all frames that were accepted
        qint64 frames = 0; // in the file
        QString reason; // why it is not ok, or a remark on a good file; empty if there is nothing to say
    };

    VideoFileWriter();
    /** Closes the file. */
    ~VideoFileWriter();
    VideoFileWriter(VideoFileWriter &&other) noexcept;
    VideoFileWriter &operator=(VideoFileWriter &&other) noexcept;

    /**
     * Makes the file at \a path, in place of one that is there; closes the one that was open.
     *
     * \param size of the frames, 2x2 to 16384x16384. Of an odd width or height the last column or row is left
     * out.
     * \param rate in Hz, above 0 and up to 10000. With Timing::OwnTimes it is the nominal one.
     * \return false with reason() if the file or the encoder cannot be opened; nothing is left behind then.
     */
    bool open(const QString &path, cv::Size size, double rate, const Options &options);
    bool open(const QString &path, cv::Size size, double rate);

    bool isOpen() const;
    /** Why the last open(), write() or repeatLast() returned false. */
    QString reason() const;

    /** The size of the pictures in the file. */
    cv::Size size() const;

    /**
     * Takes \a frame: CV_8UC3 (blue, green, red), CV_8UC1 or CV_8UC4 (alpha is dropped), of the size given.
     *
     * Converts it on the caller's thread. If the queue is full, the caller's thread helps to encode until
     * there is room.
     *
     * \return false with reason() if the frame is refused, which does no harm, or after a failure.
     * \ownership The caller may reuse the frame's buffer on return.
     */
    bool write(const cv::Mat &frame);
    /** The same with Timing::OwnTimes. \param timeUs in us from the start of the file; above the last one. */
    bool write(const cv::Mat &frame, qint64 timeUs);

    /** Shows the last frame once more; as good as free with Codec::Mjpeg. False if there is none. */
    bool repeatLast();
    /** The same with Timing::OwnTimes. */
    bool repeatLast(qint64 timeUs);

    /** Whether write() will not have to wait for room. */
    bool hasRoom() const;
    /** Whether a frame could not be encoded or written: the file takes no more. */
    bool hasFailed() const;
    /** How many frames have reached the file. */
    qint64 framesWritten() const;

    /**
     * Writes what waits, completes the file and closes it.
     *
     * A fragmented file is copied into an ordinary one, if the disk has room for both; otherwise it stays,
     * with a remark.
     */
    Result close();

private:
    bool append(const cv::Mat *frame, Timing timing, qint64 time);
    bool refuse(const QString &reason);

    std::unique_ptr<EncodingQueue> m_queue;
    QString m_reason;
    Timing m_timing = Timing::ConstantRate;
    qint64 m_lastTime = -1; // of the last accepted frame, in frames or us
};
