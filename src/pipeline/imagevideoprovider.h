#pragma once

#include "pipeline/imageproviderbase.h"
#include "vtcv_export.h"

#include <QString>

#include <opencv2/videoio.hpp>

#include <memory>

class FrameSeeker; // image/frameseeker_p.h

/**
 * Provides the frames of a video file by their number, in any order.
 *
 *     ImageVideoProvider video;
 *     connect(&video, &ImageVideoProvider::nextFrameReady, ...);
 *     video.setFile(QStringLiteral("/data/take1.avi"));
 *     video.prepareFrame(video.getFrameAmount() - 1);
 *
 * The frame of number n is the one that comes n-th when the file is read from its start, for files of a
 * constant rate. One frame after the other is as fast as plain reading; a jump costs the frames from the key
 * frame before.
 *
 * The number of frames is looked after: where the file does not know it, or where what it says is not true,
 * as after a crash of the program that wrote it, the frames are counted by reading the file once, without
 * decoding. That takes as long as the disk takes. In a file that does not know its length a jump backwards
 * costs all frames from the start; `ffmpeg -i left.avi -c copy whole.avi` repairs it.
 *
 * \thread One at a time. Frames are read and decoded, and the signals sent, on the thread that calls; see
 * PrefetchingProvider for one that reads ahead.
 */
class VTCV_EXPORT ImageVideoProvider : public ImageProviderBase
{
    Q_OBJECT
    Q_CLASSINFO("fileSpecialType", "file")
    Q_CLASSINFO("fileEditable", "true")
    Q_PROPERTY(QString file READ getFile WRITE setFile NOTIFY fileChanged)

public:
    explicit ImageVideoProvider(QObject *parent = nullptr);
    ~ImageVideoProvider() override;

    /** False. */
    bool isSourceStreaming() override;

    /** The nominal rate in Hz that the file tells; 0 if it tells none, or no file is open. */
    double getFrameRate() const;

Q_SIGNALS:
    void fileChanged(const QString &value);

public Q_SLOTS:
    /**
     * Reads the frame of number \a index and delivers it, as a rule as CV_8UC3; rows x columns of the video.
     *
     * Nothing is delivered for an index outside of 0 to getFrameAmount() - 1, and for a frame that cannot be
     * read.
     */
    void prepareFrame(int index = 0) override;

public:
    /**
     * Opens \a value, a path, and goes back to index 0. That frame is delivered only if the index was another
     * one. Does nothing for the present file. A file that cannot be opened has no frames and costs one
     * warning line; an address of the network is refused in the same way.
     */
    Q_INVOKABLE void setFile(const QString &value);
    Q_INVOKABLE QString getFile() const;

private:
    bool open();
    int countFrames();

    QString m_file;
    cv::VideoCapture m_capture;
    std::unique_ptr<FrameSeeker> m_seeker; // of the capture
};
