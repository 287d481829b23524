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
 * One video recorder takes its sound from one object. If it has another sound maker already, recordings get
 * no sound from this one; a console line says so at construction and soundFailed() at each startRecord().
 *
 * \thread The one of the audio recorder, which must deliver events; the finish waits 10 s for it at most. On
 * this thread the video recorder may be destroyed with its recording stopped just before: it closes the sound
 * first, and the recording is delivered with it.
 * \ownership Neither recorder is owned. The three may go in any order. A recording under way gets the sound
 * up to the moment in which this object or the audio recorder goes.
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

    /** Lays the sound \a ms later under the picture, earlier if negative: a camera takes its time from the
     * light to the frame. Counts for recordings that start from now on; 0 at first. */
    void setOffsetMs(double ms);
    double offsetMs() const;

    /**
     * Warns by soundSilent() and a console line of a microphone that stays silent for so long while a
     * recording runs, because it is muted, say. 3 s at first; 0 or less switches that off.
     *
     * Silent is what has no sample above -70 dB of full scale. Back ends of Qt Multimedia that cannot say
     * what they hear (AudioRecorder::meter() is null) give no warning.
     */
    void setSilenceLimit(double seconds);
    double silenceLimit() const;

public Q_SLOTS:
    /** Starts the video recorder, see VideoRecorder::startRecord(), and the microphone. */
    void startRecord(QString path = QString());

    /** Ends the recording, see VideoRecorder::stopRecord(). The microphone is stopped by the finish. */
    void stopRecord(bool remove = false);

Q_SIGNALS:
    /** The microphone was started; soundFailed() follows if it gives nothing. */
    void soundStarted();

    /**
     * The sound of a finished recording lies under its picture. It begins \a offsetMs after the first frame
     * and silence fills that time; a negative offset is what was trimmed off. offsetMs() is part of it.
     */
    void soundAligned(double offsetMs);

    /** The recording gets no sound, or less than it should; \a reason is a text for users. */
    void soundFailed(QString reason);

    /** True: the microphone has been silent for silenceLimit(). False, after that: it gives sound again, or
     * its recording is over. */
    void soundSilent(bool silent);

private:
    struct SoundTrack;
    class Maker;

    void beginSound(const std::shared_ptr<SoundTrack> &track);
    void endSound(const std::shared_ptr<SoundTrack> &track);
    void closeSound();
    void discardUnused();
    void noteSound(qint64 durationMs);
    void noteStatus();
    void noteSoundStart(double wallS);
    void noteError();
    void lookWhetherClosed();
    void lookWhetherSilent();
    void setSilent(bool silent);
    void tellFailure(QString reason);

    QPointer<VideoRecorder> video;
    QPointer<AudioRecorder> audio;
    std::shared_ptr<Maker> maker; // shared with the video recorder's worker
    std::shared_ptr<SoundTrack> heard; // what the microphone records now
    QTimer closing; // looks whether the file of `heard` is closed
    QTimer silence; // looks whether there was sound since the last look
    bool isMaker = false; // false: another one was there first
    bool soundEnabled = true;
    double soundOffsetMs = 0.0;
    double silenceS = 3.0;
    int silentLooks = 0;
    bool isSilent = false;
};
