#pragma once

#include "recording/avrecording.h"
#include "recording/soundtimeline_p.h"
#include "recording/videorecorder.h"

#include <QElapsedTimer>
#include <QMutex>
#include <QSemaphore>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/** The sound of one recording. */
struct AvRecording::SoundTrack
{
    QMutex mutex; // guards the six below
    QString file; // empty before the microphone is started
    double offsetS = 0.0;
    std::vector<double> begins; // when the file seemed to begin, on the maker's clock
    std::optional<double> stopS; // when the microphone was stopped
    bool isFailed = false; // and that has been told
    bool isEnded = false; // the recording is over: a sound that has not begun does not begin any more

    QSemaphore closed; // gets one when the file is closed

    SoundTimeline timeline; // the worker's
    bool isFilmed = false; // guarded by the maker: the recording has begun
};

/** What the video recorder and its worker call; it outlives the AvRecording. \thread Any, but for what says
 * so. */
class AvRecording::Maker
{
public:
    explicit Maker(AvRecording *owner);

    /** \a wanted, or with the next free number behind it. */
    static QString freeName(const QString &wanted);

    double nowS() const;

    /** Puts a track in place for the recording that is armed; null if there is one. */
    std::shared_ptr<SoundTrack> arm();

    /** Takes an armed track back whose recording never began. */
    std::shared_ptr<SoundTrack> disarm();

    /** The owner goes. */
    void leave();

    /**
     * For the thread that destroys the video recorder and is about to wait for the worker. If that is the
     * owner's, what the worker posts to it stays undone, so the sound is closed here and now.
     */
    void close();

    /** The worker's. */
    void recordStarted(double frameRate);
    void framesWritten(quint64 frames);
    /** No exception leaves it: the finish has a video to deliver. */
    void makeSound(const VideoRecorder::SoundRequest &request) noexcept;

private:
    void post(std::function<void(AvRecording *)> call);
    bool isLeft();
    void finishSound(const VideoRecorder::SoundRequest &request);
    bool waitFor(SoundTrack &ended);
    void fail(SoundTrack &failed, const QString &reason);
    QString place(
        SoundTrack &ended, const QString &file, const VideoRecorder::SoundRequest &request, double &offsetS);

    QElapsedTimer clock; // read by all
    QMutex mutex; // guards the three below
    AvRecording *owner;
    std::optional<double>
        hurriedS; // since when a destructor waits for the finish, which it does not for long
    std::shared_ptr<SoundTrack> track; // of the recording that is armed or runs
};
