#pragma once

#include "vtcv_export.h"

#include <QImage>
#include <QWidget>

#include <memory>

class PlayerDelivery; // playback/playerdelivery_p.h
class PlayerProgress; // playback/playerprogress_p.h
class QLabel;
class QScrollBar;
class QThread;
class VideoPlayerWorker; // playback/videoplayerworker_p.h

/**
 * Plays a video file: a picture, a button that plays and pauses, and a scroll bar for the position.
 *
 *     auto *player = new VideoPlayerWidget(QStringLiteral("/data/take1.avi"), window);
 *     layout->addWidget(player);
 *
 * It opens the file at once and shows the first frame, paused. There is no sound, and the speed is that of
 * the file, with the time of a frame cut to whole milliseconds and to at most 10 s. Frame n is the one that
 * comes n-th when the file is read from its start, for files of a constant rate; positions are exact forwards
 * and backwards. No frame is left out while playing: where decoding cannot keep up, the video runs slower.
 * Where the screen cannot keep up, and above 83 frames a second, it
 * shows the newest frame. At the end playing stops; to play again, move
 * the position first.
 *
 * In a file that does not know its length, as a crash leaves it, the scroll bar cannot be moved. The file
 * plays from its start, and setPosition() costs all frames up to there.
 *
 * A file that cannot be opened leaves the picture black. getError() tells why, as do the tool tip and
 * the accessible description of the picture.
 *
 * \thread GUI thread. Frames are read on a thread of the player's own; a network address may block the
 *         constructor for 5 s. The destructor waits for the frame that is being read, not for the time until
 *         the next one.
 */
class VTCV_EXPORT VideoPlayerWidget : public QWidget
{
    Q_OBJECT

public:
    /** Opens \a path, a file or an address. */
    explicit VideoPlayerWidget(QString path, QWidget *parent = nullptr);
    ~VideoPlayerWidget() override;

    QString getPath() const;

    /** Why there is no picture, for a user; empty while nothing is wrong. */
    QString getError() const;

    /** As the file tells it, which need not be true; 0 if it does not know. */
    int getFrameCount() const;

    /** In Hz, as the file tells it; 0 if it tells none that makes sense. */
    double getFrameRate() const;

    /** Number of the frame that is shown, the first one is 0; -1 before there is one. */
    int getPosition() const;

    /** The frame that is shown, in the size of the video, as Format_RGBA8888; null before there is one. */
    QImage getImage() const;

    /** What setPlaying() or the button has asked for last; false again at the end of the file. */
    bool isPlaying() const;

    /** Plays or pauses, as the button does. The frame that is being read is still shown. */
    void setPlaying(bool playing);

    /**
     * Goes to \a frame, which is cut to the frames that the file tells of. The picture follows later; of many
     * positions in a row it may leave some out. A frame that cannot be read leaves the picture as it is.
     */
    void setPosition(int frame);

    /** The widget that shows nothing but the picture, for what is to be painted over it. */
    QWidget *getPictureWidget() const;

    /** Where the picture stands in getPictureWidget(), in its coordinates; empty without a picture. */
    QRect getPictureRect() const;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class VideoPlayerController;

    void takeDelivery();
    void showImage();
    void showSliderPosition(int position);
    void setError(const QString &text);
    void changePlaying(bool playing);

    QImage image; // shown now; shares no pixels with what the worker writes to
    QLabel *label;
    QThread *thread;
    VideoPlayerWorker *worker; // lives on the thread; deleted by the destructor

    QString path;
    QString error;
    int frameCount = 0;
    double frameRate = 0.0;
    int position = -1;
    QSize pictureSize; // as scaled, in the coordinates of the label
    bool playing = false;
    unsigned ordersSent = 0; // to the worker; what it tells while it has not had all of them is out of date
    QScrollBar *slider;
    PlayerProgress *progress;
    std::unique_ptr<PlayerDelivery> delivery; // from the worker
};
