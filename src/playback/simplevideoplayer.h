#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QWidget>

#include <memory>

class FrameSeeker; // image/frameseeker_p.h
class ImageCvMatHolder;
class ImageHolderViewer;
namespace cv {
class VideoCapture;
}

/**
 * Shows single frames of a video file, whichever is asked for.
 *
 *     SimpleVideoPlayer viewer;
 *     viewer.setVideo(QStringLiteral("/data/take1.avi"));
 *     viewer.setPosition(120);
 *
 * It does not play and has no controls. The picture is exactly the frame of the index that was asked for: the
 * one that comes n-th when the file is read from its start, for files of a constant rate. An order that
 * cannot be carried out leaves the picture as it is and is not reported; getPosition() tells what is shown.
 *
 * A file that does not know how many frames it has, as a crash leaves it, shows nothing;
 * `ffmpeg -i left.avi -c copy whole.avi` repairs it.
 *
 * \thread GUI thread, which waits while a frame is read: for a few frames ahead about as long as these take
 * to decode, for others as long as the frames from the key frame before.
 */
class VTCV_EXPORT SimpleVideoPlayer : public QWidget
{
    Q_OBJECT

public:
    explicit SimpleVideoPlayer(QWidget *parent = nullptr);
    ~SimpleVideoPlayer() override;

    /** As the open file tells it; 0 without one, or if it does not know. */
    int getFrameCount() const;

    /** In Hz, as the open file tells it; 0 without one, or if it tells none that makes sense. */
    double getFps() const;

    /** Index of the frame that is shown; -1 if none is. */
    int getPosition() const;

    /** The widget that shows the picture, for what is to be painted over it; its pictureRect() tells where.
     */
    ImageHolderViewer *getPictureWidget() const;

public Q_SLOTS:
    /** Closes the open video, opens \a path and shows its first frame. Of a missing file, nothing is shown.
     */
    void setVideo(QString path);

    /** Shows the frame of index \a frame, 0 to getFrameCount() - 1. */
    void setPosition(int frame);

    /** Shows the frame at \a ms milliseconds; nothing without a frame rate. */
    void setPositionMs(int ms);

    /** Shows the frame at \a seconds; nothing without a frame rate. */
    void setPositionSeconds(double seconds);

    /** Empties the picture. The video stays open. */
    void clearImage();

    /** Closes the video. The picture stays. */
    void release();

private:
    void showFrameAt(double index);

    cv::VideoCapture *capture = nullptr; // ours; null when no video is open
    ImageCvMatHolder *holder; // ours
    ImageHolderViewer *viewer;
    int frameCount = 0;
    double fps = 0.0;

    std::unique_ptr<FrameSeeker> seeker; // of the capture
    int position = -1;
};
