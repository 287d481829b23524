#include "recording/avrecording.h"

#include "audio/audioinfo.h"
#include "audio/audiorecorder.h"
#include "common/console_p.h"
#include "recording/avrecordingmaker_p.h"
#include "recording/videorecorder.h"

#include <QAudioRecorder>
#include <QFile>
#include <QFileInfo>
#include <QMutex>

#include <algorithm>
#include <utility>

namespace {

constexpr int closingLookMs = 20;
constexpr int silenceLookMs = 200;
constexpr double silenceDb = -70.0;

} // namespace

AvRecording::AvRecording(VideoRecorder *video, AudioRecorder *audio, QObject *parent)
    : QObject(parent), video(video), audio(audio), maker(std::make_shared<Maker>(this))
{
    isMaker = video->setSoundMaker(
        [maker = maker](const VideoRecorder::SoundRequest &request) { maker->makeSound(request); },
        [maker = maker] { maker->close(); });
    if (!isMaker)
        return;
    // The worker calls the maker, which may outlive us, and never ourselves.
    connect(
        video, &VideoRecorder::recordStarted, this,
        [maker = maker, video] { maker->recordStarted(video->getFrameRate()); }, Qt::DirectConnection);
    connect(
        video, &VideoRecorder::frameCountChanged, this,
        [maker = maker](qulonglong frames) { maker->framesWritten(frames); }, Qt::DirectConnection);
    connect(audio, &AudioRecorder::recordStarted, this, [this] {
        // An error makes the recorder take another back end, so each start is watched anew.
        const QAudioRecorder *const backEnd = this->audio->backEnd();
        connect(
            backEnd, &QMediaRecorder::durationChanged, this, &AvRecording::noteSound, Qt::UniqueConnection);
        connect(
            backEnd, &QMediaRecorder::statusChanged, this, &AvRecording::noteStatus, Qt::UniqueConnection);
        connect(backEnd, qOverload<QMediaRecorder::Error>(&QMediaRecorder::error), this,
            &AvRecording::noteError, Qt::UniqueConnection);
    });
    closing.setInterval(closingLookMs);
    connect(&closing, &QTimer::timeout, this, &AvRecording::lookWhetherClosed);

    silence.setInterval(silenceLookMs);
    connect(&silence, &QTimer::timeout, this, &AvRecording::lookWhetherSilent);
    const AudioInfo *const meter = audio->meter();
    if (!meter)
        return;
    connect(meter, &AudioInfo::update, this, [this, meter] {
        double peak = 0.0;
        for (int i = 0; i < meter->channelCount(); ++i)
            peak = std::max(peak, meter->peak(i));
        if (AudioInfo::toDecibels(peak) <= silenceDb)
            return;
        silentLooks = 0;
        setSilent(false);
    });
}

AvRecording::~AvRecording()
{
    closeSound();
    maker->leave();
    discardUnused();
    if (isMaker && video)
        video->setSoundMaker({});
}

void AvRecording::setSoundEnabled(bool enabled)
{
    soundEnabled = enabled;
}

bool AvRecording::isSoundEnabled() const
{
    return soundEnabled;
}

void AvRecording::setOffsetMs(double ms)
{
    soundOffsetMs = ms;
}

double AvRecording::offsetMs() const
{
    return soundOffsetMs;
}

void AvRecording::setSilenceLimit(double seconds)
{
    silenceS = seconds;
}

double AvRecording::silenceLimit() const
{
    return silenceS;
}

void AvRecording::startRecord(QString path)
{
    if (!video)
        return;
    video->startRecord(path);
    if (!video->getIsRecording())
        return;
    if (!isMaker) {
        tellFailure(tr("The video recorder has its sound from elsewhere"));
        return;
    }
    // With the former recording not finished yet, the sound begins with the first frame.
    if (const std::shared_ptr<SoundTrack> track = maker->arm())
        beginSound(track);
}

void AvRecording::stopRecord(bool remove)
{
    if (video)
        video->stopRecord(remove);
    discardUnused();
}

// What was armed and never began is no recording's.
void AvRecording::discardUnused()
{
    const std::shared_ptr<SoundTrack> unused = maker->disarm();
    if (!unused)
        return;
    if (heard == unused)
        closeSound();
    if (!unused->file.isEmpty())
        QFile::remove(unused->file);
}

void AvRecording::beginSound(const std::shared_ptr<SoundTrack> &track)
{
    if (!soundEnabled || !audio || !video)
        return;
    if (heard || audio->isRecording()) {
        tellFailure(tr("The microphone is still in use"));
        return;
    }
    const QFileInfo film(video->getTempFilePath());
    const QString file = Maker::freeName(
        film.path() + QLatin1Char('/') + film.completeBaseName() + QStringLiteral(".wav.part"));
    bool isLate = false;
    {
        const QMutexLocker locker(&track->mutex);
        isLate = track->isEnded;
        if (!isLate)
            track->file = file;
        track->offsetS = soundOffsetMs / 1000.0;
    }
    if (isLate) {
        tellFailure(tr("The microphone gave no sound"));
        return;
    }
    heard = track;
    audio->setOutputLocation(file);
    audio->startRecord();
    Q_EMIT soundStarted();
    if (!audio->isRecording())
        noteError();
    silentLooks = 0;
    if (audio->meter())
        silence.start();
}

void AvRecording::noteSound(qint64 durationMs)
{
    if (durationMs > 0)
        noteSoundStart(maker->nowS() - double(durationMs) / 1000.0);
}

void AvRecording::noteStatus()
{
    if (audio->backEnd()->status() == QMediaRecorder::RecordingStatus)
        noteSoundStart(maker->nowS());
}

void AvRecording::noteSoundStart(double wallS)
{
    if (!heard)
        return;
    const QMutexLocker locker(&heard->mutex);
    heard->begins.push_back(wallS);
}

void AvRecording::noteError()
{
    if (!heard)
        return;
    {
        const QMutexLocker locker(&heard->mutex);
        if (std::exchange(heard->isFailed, true))
            return;
    }
    tellFailure(tr("The microphone fails: %1").arg(audio->lastError()));
}

void AvRecording::tellFailure(QString reason)
{
    while (reason.endsWith(QLatin1Char('.')))
        reason.chop(1);
    writeConsole(reason + QStringLiteral(". The video is recorded all the same"));
    Q_EMIT soundFailed(reason);
}

void AvRecording::endSound(const std::shared_ptr<SoundTrack> &track)
{
    if (heard != track)
        return; // closed already
    silence.stop();
    if (audio && audio->isRecording()) {
        const QMutexLocker locker(&track->mutex);
        track->stopS = maker->nowS();
    }
    if (audio)
        audio->stopRecord();
    closing.start();
    lookWhetherClosed();
    setSilent(false);
}

// Does not return before the file is closed, but for a back end that takes too long.
void AvRecording::closeSound()
{
    if (!heard)
        return;
    const QPointer<AvRecording> self(this);
    endSound(heard);
    if (self && audio)
        audio->waitForClosed();
    if (!self || !heard)
        return;
    closing.stop();
    heard->closed.release();
    heard.reset();
}

void AvRecording::lookWhetherClosed()
{
    if (heard && audio && !audio->isClosed())
        return;
    closing.stop();
    if (heard)
        heard->closed.release();
    heard.reset();
}

// Looks are counted, not time: a thread that stood still has not heard whether there was sound.
void AvRecording::lookWhetherSilent()
{
    if (!audio || !audio->isRecording()) {
        silence.stop(); // an error has been told
        setSilent(false);
        return;
    }
    if (video && video->getIsPaused()) {
        silentLooks = 0;
        return;
    }
    ++silentLooks;
    if (silenceS > 0.0 && silentLooks * silenceLookMs >= silenceS * 1000.0)
        setSilent(true);
}

void AvRecording::setSilent(bool silent)
{
    if (std::exchange(isSilent, silent) == silent)
        return;
    if (silent)
        writeConsole(QStringLiteral("The microphone has been silent for %1 s while a recording runs")
                         .arg(silentLooks * silenceLookMs / 1000.0));
    Q_EMIT soundSilent(silent);
}
