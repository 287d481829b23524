#pragma once

#include "image/frameseeker_p.h"
#include "vtcv_export.h"

#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QSize>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

#include <array>
#include <atomic>

class PlayerDelivery; // playback/playerdelivery_p.h

/**
 * Reads the frames of a VideoPlayerWidget.
 *
 * process() is one long call on the worker's thread; other slots come in through its event processing, and so
 * touch what the loop works with on that thread only.
 *
 * \thread The worker's, but for the constructor, the destructor and what says otherwise.
 */
class VTCV_TEST_EXPORT VideoPlayerWorker : public QObject
{
    Q_OBJECT

public:
    /** Opens \a path; getFrameCount() and the like may be asked until process() runs. */
    explicit VideoPlayerWorker(QString path, QObject *parent = nullptr);
    ~VideoPlayerWorker() override;

    /** Makes process() return, also out of the time between two frames. \thread Any. */
    void stop();

    bool isOpened() const;
    int getFrameCount();
    double getFrameRate() const;
    QSize getFrameSize() const;

    /**
     * Tells \a delivery what no signal tells. Before process() runs. \ownership The caller's.
     *
     * With it, frames that follow each other faster than a screen shows them are all decoded, but not all
     * handed out.
     */
    void setDelivery(PlayerDelivery *delivery);

    /** Number of the frame that has been read last; -1 before the first. */
    int getShownFrame() const;
    unsigned getOrdersDone() const;

    void setPlaying(bool playing);

Q_SIGNALS:
    void finished();

    /**
     * Hands out one frame, as Format_RGBA8888. The image keeps its pixels alive, and they are written to
     * again only when it and all its copies are gone.
     */
    void frameReady(QImage image);

    /** Playing has moved to this frame. */
    void playedOnPosition(int position);

public Q_SLOTS:
    void process();
    void togglePlay(bool);
    void changePosition(int position);
    void activateSeek();
    void deactivateSeek();

private:
    void takeOrder();
    bool showNextFrame();
    bool showFrame(int index);
    bool handOut();
    bool canBeHeldBack(int index);
    bool convertFrame();
    void seek();
    void play();
    void waitForNextFrame(qint64 ms);

    cv::Mat frame;
    cv::Mat rgbaFrame; // one of the buffers
    std::atomic<bool> running{true}; // cleared by stop()
    bool playing = false;
    bool seeking = false; // the user holds the slider
    int position = 0; // of the frame that is shown, or shall be
    qint64 frameDelayMs = 0;
    cv::VideoCapture *capture; // ours

    FrameSeeker seeker; // of the capture
    int shownFrame = -1;
    bool isHeldBack = false; // the shown frame has been decoded, and is not handed out yet
    QElapsedTimer sinceHandOut;
    double frameRate = 0.0;
    // One is shown, one waits for the GUI thread and one is written. Whoever keeps more of them costs an
    // allocation a frame.
    std::array<cv::Mat, 3> buffers;
    unsigned ordersDone = 0;
    bool sliderIsDue = false; // to be told, as is the next
    bool playingIsDue = false;
    PlayerDelivery *delivery = nullptr;
};
