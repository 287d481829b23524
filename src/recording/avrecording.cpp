#include "recording/avrecording.h"

#include "audio/audiorecorder.h"
#include "baselib/console_p.h"
#include "ffmpeg/ffmpegcall_p.h"
#include "recording/soundtimeline_p.h"
#include "recording/videorecorder.h"

#include <QAudioRecorder>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSemaphore>
#include <QTemporaryFile>

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace {

constexpr int closingLookMs = 20;
constexpr int closeTimeoutMs = 10'000;
constexpr int closeSliceMs = 100;
constexpr int conversionTimeoutMs = 120'000; // and the length of the sound
// Who destroys us destroys the video recorder next, and that waits for its finish for 10 s.
constexpr double leftWaitS = 5.0;
constexpr qint64 emptySoundBytes = 100; // a header and nothing else

const QString goesOn = QStringLiteral(". The video is recorded all the same");

QString freeName(const QString &wanted)
{
    QString name = wanted;
    for (int i = 2; QFileInfo::exists(name) || QFileInfo(name).isSymLink(); ++i)
        name = wanted + QString::number(i);
    return name;
}

} // namespace

// The sound of one recording.
struct AvRecording::Take
{
    QMutex mutex; // guards the four below
    QString file; // empty before the microphone is started
    std::vector<double> begins; // when the file seemed to begin, on the link's clock
    std::optional<double> stopS; // when the microphone was stopped
    bool isFailed = false; // and that has been told

    QSemaphore closed; // gets one when the file is closed

    SoundTimeline timeline; // the worker's
    bool isFilmed = false; // guarded by the link: the recording has begun
};

// What the video recorder's worker calls; it outlives the AvRecording.
class AvRecording::Link
{
public:
    explicit Link(AvRecording *owner) : owner(owner) { clock.start(); }

    double nowS() const { return double(clock.nsecsElapsed()) / 1e9; }

    // Puts a take in place for the recording that is armed, unless there is one.
    std::shared_ptr<Take> arm()
    {
        const QMutexLocker locker(&mutex);
        if (take)
            return {};
        take = std::make_shared<Take>();
        return take;
    }

    // Takes an armed take back whose recording never began.
    std::shared_ptr<Take> disarm()
    {
        const QMutexLocker locker(&mutex);
        return take && !take->isFilmed ? std::move(take) : nullptr;
    }

    void leave()
    {
        const QMutexLocker locker(&mutex);
        owner = nullptr;
        leftS = nowS();
    }

    void recordStarted(double frameRate)
    {
        const bool isArmed = !arm();
        std::shared_ptr<Take> begun;
        {
            const QMutexLocker locker(&mutex);
            if (!owner && !isArmed)
                take.reset();
            if (!take)
                return;
            take->isFilmed = true;
            take->timeline = SoundTimeline(frameRate);
            begun = take;
        }
        if (!isArmed)
            post([begun](AvRecording *to) { to->beginSound(begun); });
    }

    void framesWritten(quint64 frames)
    {
        std::shared_ptr<Take> current;
        {
            const QMutexLocker locker(&mutex);
            current = take;
        }
        if (current)
            current->timeline.addPass(frames, nowS());
    }

    void makeSound(const VideoRecorder::SoundRequest &request)
    {
        std::shared_ptr<Take> ended;
        {
            const QMutexLocker locker(&mutex);
            ended = std::move(take);
        }
        if (!ended)
            return;
        post([ended](AvRecording *to) { to->endSound(ended); });
        const bool isClosed = waitFor(*ended);
        QMutexLocker locker(&ended->mutex);
        const QString file = ended->file;
        locker.unlock();
        if (file.isEmpty())
            return; // sound was not wanted
        if (request.isRemoved) {
            QFile::remove(file);
            return;
        }
        if (!isClosed) {
            fail(ended, AvRecording::tr("The sound is not closed in time and stays in %1").arg(file));
            return;
        }
        if (QFileInfo(file).size() <= emptySoundBytes) {
            QFile::remove(file);
            fail(ended, AvRecording::tr("The microphone gave no sound"));
            return;
        }
        place(ended, file, request);
    }

private:
    // The owner may go at any time, but not while this is under way.
    void post(std::function<void(AvRecording *)> call)
    {
        const QMutexLocker locker(&mutex);
        if (owner)
            QMetaObject::invokeMethod(
                owner, [to = owner, call = std::move(call)] { call(to); }, Qt::QueuedConnection);
    }

    bool isLeft()
    {
        const QMutexLocker locker(&mutex);
        return !owner;
    }

    bool waitFor(Take &ended)
    {
        for (int waited = 0; waited < closeTimeoutMs && !isLeft(); waited += closeSliceMs) {
            if (ended.closed.tryAcquire(1, closeSliceMs))
                return true;
        }
        // An owner that goes has closed the sound before.
        return ended.closed.tryAcquire();
    }

    void fail(const std::shared_ptr<Take> &failed, const QString &reason)
    {
        {
            const QMutexLocker locker(&failed->mutex);
            if (std::exchange(failed->isFailed, true))
                return;
        }
        writeConsole(reason);
        post([reason](AvRecording *to) { Q_EMIT to->soundFailed(reason); });
    }

    void place(
        const std::shared_ptr<Take> &ended, const QString &file, const VideoRecorder::SoundRequest &request)
    {
        std::optional<std::pair<double, double>> frames;
        if (request.cut)
            frames = {double(request.cut->first), double(request.cut->second)};
        const std::vector<SoundTimeline::Piece> pieces = ended->timeline.pieces(frames);
        const QString wav = request.isCopied ? besideVideo(request.destination) : request.audioPath;
        const QString made = freeName(wav + QStringLiteral(".new"));
        const double wallS = pieces.empty() ? 0.0 : pieces.back().wallEnd - pieces.front().wallBegin;
        const int timeoutMs = conversionTimeoutMs + int(std::min(wallS * 1000.0, 1e9));
        const auto isCancelled = [this, begunS = nowS()] {
            return isLeft() && nowS() - std::max(begunS, leftS) > leftWaitS;
        };

        QMutexLocker locker(&ended->mutex);
        const std::vector<double> begins = ended->begins;
        const std::optional<double> stopS = ended->isFailed ? std::nullopt : ended->stopS;
        locker.unlock();
        const double lengthS = ffmpegcall::soundLengthS(file, timeoutMs, isCancelled);
        const SoundTimeline::SoundClock soundClock = SoundTimeline::clockOf(begins, stopS, lengthS);

        const SoundTimeline::Conversion conversion = SoundTimeline::conversion(pieces, soundClock);
        QStringList arguments = conversion.inputArguments(file);
        QTemporaryFile script;
        QString error;
        if (pieces.empty())
            error = QStringLiteral("no frame was recorded");
        else if (!script.open() || script.write(conversion.filters.toUtf8()) < 0)
            error = script.errorString();
        script.close();
        if (error.isEmpty()) {
            arguments << QStringLiteral("-filter_complex_script") << script.fileName()
                      << QStringLiteral("-map") << QStringLiteral("[out]") << QStringLiteral("-c:a")
                      << QStringLiteral("pcm_s16le") << QStringLiteral("-rf64") << QStringLiteral("auto")
                      << QStringLiteral("-f") << QStringLiteral("wav") << made;
            error = ffmpegcall::run(arguments, timeoutMs, isCancelled);
        }
        if (error.isEmpty()) {
            QFile::remove(wav);
            if (!QFile::rename(made, wav))
                error = QStringLiteral("%1 cannot be written").arg(wav);
        }
        QFile::remove(made);
        if (!error.isEmpty()) {
            writeConsole(QStringLiteral("The sound is not joined: ") + error);
            fail(ended, AvRecording::tr("The sound cannot be joined to the video and stays in %1").arg(file));
            return;
        }
        QFile::remove(file);
        const double offsetS = soundClock.startS - *ended->timeline.firstFrameS();
        post([offsetS](AvRecording *to) { Q_EMIT to->soundAligned(offsetS * 1000.0); });
    }

    static QString besideVideo(const QString &path)
    {
        const QFileInfo info(path);
        return info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".wav");
    }

    QElapsedTimer clock; // read by all
    QMutex mutex; // guards the three below
    AvRecording *owner;
    double leftS = 0.0; // when the owner went; final from then on
    std::shared_ptr<Take> take; // of the recording that is armed or runs
};

AvRecording::AvRecording(VideoRecorder *video, AudioRecorder *audio, QObject *parent)
    : QObject(parent), video(video), audio(audio), link(std::make_shared<Link>(this))
{
    // The worker calls the link, which may outlive us, and never ourselves.
    connect(
        video, &VideoRecorder::recordStarted, this,
        [link = link, video] { link->recordStarted(video->getFrameRate()); }, Qt::DirectConnection);
    connect(
        video, &VideoRecorder::frameCountChanged, this,
        [link = link](qulonglong frames) { link->framesWritten(frames); }, Qt::DirectConnection);
    video->setSoundMaker(
        [link = link](const VideoRecorder::SoundRequest &request) { link->makeSound(request); });
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
}

AvRecording::~AvRecording()
{
    if (heard) {
        endSound(heard);
        if (audio)
            audio->waitForClosed();
        lookWhetherClosed();
    }
    if (heard)
        heard->closed.release();
    link->leave();
}

void AvRecording::setSoundEnabled(bool enabled)
{
    soundEnabled = enabled;
}

bool AvRecording::isSoundEnabled() const
{
    return soundEnabled;
}

void AvRecording::startRecord(QString path)
{
    if (!video)
        return;
    video->startRecord(path);
    if (!video->getIsRecording())
        return;
    // With the former recording not finished yet, the sound begins with the first frame.
    if (const std::shared_ptr<Take> take = link->arm())
        beginSound(take);
}

void AvRecording::stopRecord(bool remove)
{
    if (video)
        video->stopRecord(remove);
    const std::shared_ptr<Take> unused = link->disarm();
    if (!unused)
        return;
    endSound(unused);
    if (audio)
        audio->waitForClosed();
    QFile::remove(unused->file);
}

void AvRecording::beginSound(const std::shared_ptr<Take> &take)
{
    if (!soundEnabled || !audio || !video) {
        take->closed.release();
        return;
    }
    if (heard || audio->isRecording()) {
        take->closed.release();
        const QString reason = tr("The microphone is still in use");
        writeConsole(reason + goesOn);
        Q_EMIT soundFailed(reason);
        return;
    }
    const QFileInfo film(video->getTempFilePath());
    const QString file =
        freeName(film.path() + QLatin1Char('/') + film.completeBaseName() + QStringLiteral(".wav.part"));
    {
        const QMutexLocker locker(&take->mutex);
        take->file = file;
    }
    heard = take;
    audio->setOutputLocation(file);
    audio->startRecord();
    Q_EMIT soundStarted();
    if (!audio->isRecording())
        noteError();
}

void AvRecording::noteSound(qint64 durationMs)
{
    if (durationMs > 0)
        noteSoundStart(link->nowS() - double(durationMs) / 1000.0);
}

void AvRecording::noteStatus()
{
    if (audio->backEnd()->status() == QMediaRecorder::RecordingStatus)
        noteSoundStart(link->nowS());
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
    const QString reason = tr("The microphone fails: %1").arg(audio->lastError());
    writeConsole(reason + goesOn);
    Q_EMIT soundFailed(reason);
}

void AvRecording::endSound(const std::shared_ptr<Take> &take)
{
    if (heard != take) {
        take->closed.release();
        return;
    }
    if (audio && audio->isRecording()) {
        const QMutexLocker locker(&take->mutex);
        take->stopS = link->nowS();
    }
    if (audio)
        audio->stopRecord();
    closing.start();
    lookWhetherClosed();
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
