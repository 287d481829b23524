#pragma once

#include "vtcv_export.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>

#include <memory>

class AudioRecorder;
class VideoRecorder;

/**
 * Records picture and sound together: joins what an AudioRecorder hears to the videos of a VideoRecorder.
 *
 *     VideoRecorder video(QStringLiteral("/videos/take1.avi"), 25.0);
 *     AudioRecorder audio;
 *     audio.setDevice(microphones->getDevice());
 *     audio.setCodec(QStringLiteral("audio/pcm")); // no loss on the way
 *     AvRecording both(&video, &audio);
 *     both.startRecord();
 *     ...
 *     both.stopRecord(); // VideoRecorder::recordFinished() tells the end, as always
 *
 * While the object lives, every recording of the video recorder gets sound, also one that is started and
 * stopped by itself, by its widget say; its sound then begins a moment after the first frame. Pauses,
 * inserted frames and cuts are followed: the sound is cut, filled with silence or stretched (its pitch stays)
 * so that it stays under the picture, to within a few hundredths of a second.
 *
 * The sound grows beside the temporary video, as ".wav.part". The finish stops the microphone, has `ffmpeg`
 * make the ".wav" from it that is joined to the video, and removes it. Where the video is delivered by plain
 * copy (VideoRecorder::UseFFMPEGOptimization false, or a destination in the temporary folder), the ".wav" is
 * placed beside the video.
 *
 * **The video is never lost because of the sound.** Without a microphone, or when that fails, it is delivered
 * without sound; sound that cannot be made into a ".wav" stays where it is. soundFailed() and a console line
 * tell each of these.
 *
 * \thread The one of the audio recorder, which must deliver events; the finish waits 10 s for it at most.
 * \ownership Neither recorder is owned. The object has to go before them. A recording under way then goes on
 * and gets the sound up to that moment.
 */
class VTCV_EXPORT AvRecording : public QObject
{
    Q_OBJECT

public:
    AvRecording(VideoRecorder *video, AudioRecorder *audio, QObject *parent = nullptr);
    ~AvRecording() override;

    /** False: recordings that start from now on get no sound. True at first. */
    void setSoundEnabled(bool enabled);
    bool isSoundEnabled() const;

public Q_SLOTS:
    /** Starts the video recorder, see VideoRecorder::startRecord(), and the microphone. */
    void startRecord(QString path = QString());

    /** Ends the recording, see VideoRecorder::stopRecord(). The microphone is stopped by the finish. */
    void stopRecord(bool remove = false);

Q_SIGNALS:
    /** The microphone was started; soundFailed() follows if it gives nothing. */
    void soundStarted();

    /**
     * The sound of a finished recording lies under its picture. It began \a offsetMs after the first frame
     * and silence fills that time; a negative offset is what was trimmed off.
     */
    void soundAligned(double offsetMs);

    /** The recording gets no sound, or less than it should; \a reason is a text for users. */
    void soundFailed(QString reason);

private:
    struct Take;
    class Link;

    void beginSound(const std::shared_ptr<Take> &take);
    void endSound(const std::shared_ptr<Take> &take);
    void noteSound(qint64 durationMs);
    void noteStatus();
    void noteSoundStart(double wallS);
    void noteError();
    void lookWhetherClosed();

    QPointer<VideoRecorder> video;
    QPointer<AudioRecorder> audio;
    std::shared_ptr<Link> link; // shared with the video recorder's worker
    std::shared_ptr<Take> heard; // what the microphone records now
    QTimer closing; // looks whether the file of `heard` is closed
    bool soundEnabled = true;
};
