#pragma once

#include "vtcv_export.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>

#include <functional>

class QKeyEvent;
class QLabel;
class VideoPlayerWidget;

/**
 * Drives a VideoPlayerWidget from outside, tells where it stands, and gives it a keyboard.
 *
 *     auto *player = new VideoPlayerWidget(path);
 *     auto *controller = new VideoPlayerController(player, this);
 *     controller->setCaptureTimes(FrameTimeLogReader::timesBeside(path)); // where the recording left a log
 *     layout->addWidget(player, 1);
 *     layout->addWidget(controller->createLabel());
 *     connect(controller, &VideoPlayerController::positionChanged, this, &Window::showResultsOf);
 *
 * A position is the number of the frame that is shown; it changes when the picture does, not when it is asked
 * for. The signals come on the GUI thread, behind the picture.
 *
 * Keys, while the player, its slider or its button has the focus:
 *
 *  - space plays and pauses;
 *  - left and right go one frame back or on, and pause;
 *  - page up and page down go a second back or on, or a tenth of the video if its rate is unknown;
 *  - home and end go to the first and the last frame.
 *
 * A widget that is laid over the player, such as an AnnotationOverlay, has the first choice of a key. Keys
 * with Shift, Ctrl or Alt are left alone.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT VideoPlayerController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int position READ getPosition WRITE seek NOTIFY positionChanged)
    Q_PROPERTY(int count READ getCount NOTIFY playerChanged)
    Q_PROPERTY(double frameRate READ getFrameRate NOTIFY playerChanged)
    Q_PROPERTY(bool playing READ isPlaying WRITE setPlaying NOTIFY playingChanged)
    Q_PROPERTY(QString text READ getText NOTIFY textChanged)

public:
    explicit VideoPlayerController(VideoPlayerWidget *player = nullptr, QObject *parent = nullptr);

    /** Waits until the pictures of saveSnapshot() are written. */
    ~VideoPlayerController() override;

    VideoPlayerWidget *getPlayer() const;

    /**
     * Drives \a player from now on; null none. Capture times of the one before are forgotten.
     *
     * \ownership The caller's; it may be deleted at any time, and then counts as null.
     */
    void setPlayer(VideoPlayerWidget *player);

    /** The number of frames; 0 without a video, and for one that does not know its length. */
    int getCount() const;

    /** Frames a second; 0 if the video does not tell. */
    double getFrameRate() const;

    /** The frame that is shown; -1 before the first one. */
    int getPosition() const;

    bool isPlaying() const;

    /** When \a frame is due in the video, in ms from its begin; 0 if the rate is unknown. */
    qint64 timeOf(int frame) const;

    /** The frame that is shown at \a timeMs, from the first to the last one; 0 if the rate is unknown. */
    int frameAt(qint64 timeMs) const;

    /**
     * Tells when frames were really taken, which getText() then shows beside the time in the video.
     *
     * \param timeOf gives the time of a frame in ms, or a negative number if it is unknown; an empty function
     *               ends it. FrameTimeLogReader::timesBeside() makes one of the log beside a video.
     * \param begin  what the times count from; without it they are shown as the time since the recording's
     *               begin. For times that count from 1970: QDateTime::fromMSecsSinceEpoch(0).
     */
    void setCaptureTimes(std::function<qint64(int)> timeOf, const QDateTime &begin = {});

    /** What setCaptureTimes() tells of \a frame; -1 if it is unknown. */
    qint64 captureTimeOf(int frame) const;

    /**
     * Time and frame for the user, such as "00:04.120 / 00:09.960   Frame 103 / 249", and the time of capture
     * where it is known. Frames are numbered from 0, as in annotation files. Empty
     * without a picture.
     */
    QString getText() const;

    /** A label that shows getText() from now on. \ownership The caller's. */
    QLabel *createLabel(QWidget *parent = nullptr);

    /**
     * Writes the picture of the frame that is shown, as large as the video, in the format of the suffix of
     * \a path.
     *
     * Returns at once, with the picture of this moment; snapshotSaved() or errorOccurred() follows. A file of
     * that name is replaced in one step, and stays as it is on an error.
     */
    void saveSnapshot(const QString &path);

    bool eventFilter(QObject *watched, QEvent *event) override;

public Q_SLOTS:
    void setPlaying(bool plays);
    void play();
    void pause();
    void togglePlaying();

    /** Goes to \a frame, or to the first or last one if it lies outside. Playing goes on from there. */
    void seek(int frame);

    /** Pauses and goes on by \a frames, back if negative. Steps that come faster than pictures add up. */
    void step(int frames = 1);

    /** Goes to the frame that is shown at \a timeMs of the video. */
    void jump(qint64 timeMs);

Q_SIGNALS:
    /** There is another player, or none. */
    void playerChanged();
    void positionChanged(int frame);
    void playingChanged(bool plays);
    void textChanged(const QString &text);
    void snapshotSaved(const QString &path);

    /** A snapshot could not be saved; \a text is for the user. */
    void errorOccurred(const QString &text);

private:
    void watchKeys(bool isWatched);
    bool handleKey(const QKeyEvent *event, bool isOnButton);
    void frameShown(int frame);
    void announceAll();
    void move(int frames);
    int wantedPosition() const;
    int lastFrame() const;

    QPointer<VideoPlayerWidget> player;
    std::function<qint64(int)> captureTime;
    QDateTime captureBegin;
    int wanted = -1; // the frame that was asked for last, until it is shown
    QElapsedTimer sinceWanted; // a frame that cannot be read is never shown
};
