#include "recording/avrecordingmaker_p.h"

#include "common/console_p.h"
#include "ffmpeg/ffmpegcall_p.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QTemporaryFile>
#include <QThread>

#include <algorithm>
#include <exception>
#include <utility>

namespace {

constexpr int closeTimeoutMs = 10'000;
constexpr int closeSliceMs = 100;
constexpr int conversionTimeoutMs = 120'000; // and the length of the sound
// A video recorder that goes waits for its finish for 10 s, and the sound must leave it time.
constexpr double hurriedConversionS = 5.0;
constexpr qint64 emptySoundBytes = 100; // a header and nothing else

QString besideVideo(const QString &path)
{
    const QFileInfo info(path);
    return info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral(".wav");
}

} // namespace

AvRecording::Maker::Maker(AvRecording *owner) : owner(owner)
{
    clock.start();
}

QString AvRecording::Maker::freeName(const QString &wanted)
{
    QString name = wanted;
    for (int i = 2; QFileInfo::exists(name) || QFileInfo(name).isSymLink(); ++i)
        name = wanted + QString::number(i);
    return name;
}

double AvRecording::Maker::nowS() const
{
    return double(clock.nsecsElapsed()) / 1e9;
}

std::shared_ptr<AvRecording::SoundTrack> AvRecording::Maker::arm()
{
    const QMutexLocker locker(&mutex);
    if (track)
        return {};
    track = std::make_shared<SoundTrack>();
    return track;
}

std::shared_ptr<AvRecording::SoundTrack> AvRecording::Maker::disarm()
{
    const QMutexLocker locker(&mutex);
    return track && !track->isFilmed ? std::move(track) : nullptr;
}

void AvRecording::Maker::leave()
{
    const QMutexLocker locker(&mutex);
    owner = nullptr;
    hurriedS = nowS();
}

void AvRecording::Maker::recordStarted(double frameRate)
{
    const bool isArmed = !arm();
    std::shared_ptr<SoundTrack> begun;
    {
        const QMutexLocker locker(&mutex);
        if (!owner && !isArmed)
            track.reset();
        if (!track)
            return;
        track->isFilmed = true;
        track->timeline = SoundTimeline(frameRate);
        begun = track;
    }
    if (!isArmed)
        post([begun](AvRecording *to) { to->beginSound(begun); });
}

void AvRecording::Maker::framesWritten(quint64 frames)
{
    std::shared_ptr<SoundTrack> current;
    {
        const QMutexLocker locker(&mutex);
        current = track;
    }
    if (current)
        current->timeline.addPass(frames, nowS());
}

void AvRecording::Maker::close()
{
    QPointer<AvRecording> to;
    {
        const QMutexLocker locker(&mutex);
        if (owner && owner->thread() == QThread::currentThread())
            to = owner;
    }
    if (to)
        to->closeSound();
    const QMutexLocker locker(&mutex);
    hurriedS = nowS();
}

void AvRecording::Maker::makeSound(const VideoRecorder::SoundRequest &request) noexcept
{
    try {
        finishSound(request);
    } catch (const std::exception &error) {
        qWarning() << "AVRECORDING: the sound is not joined:" << error.what();
    } catch (...) {
        qWarning() << "AVRECORDING: the sound is not joined";
    }
}

// The owner may go at any time, but not while this is under way.
void AvRecording::Maker::post(std::function<void(AvRecording *)> call)
{
    const QMutexLocker locker(&mutex);
    if (owner)
        QMetaObject::invokeMethod(
            owner, [to = owner, call = std::move(call)] { call(to); }, Qt::QueuedConnection);
}

bool AvRecording::Maker::isLeft()
{
    const QMutexLocker locker(&mutex);
    return !owner;
}

void AvRecording::Maker::finishSound(const VideoRecorder::SoundRequest &request)
{
    std::shared_ptr<SoundTrack> ended;
    {
        const QMutexLocker locker(&mutex);
        ended = std::move(track);
    }
    if (!ended)
        return;
    QString file;
    {
        const QMutexLocker locker(&ended->mutex);
        ended->isEnded = true;
        file = ended->file;
    }
    if (file.isEmpty())
        return; // sound was not wanted, or has not begun
    post([ended](AvRecording *to) { to->endSound(ended); });
    const bool isClosed = waitFor(*ended);
    if (request.isRemoved) {
        QFile::remove(file);
        return;
    }
    if (!isClosed) {
        fail(*ended, AvRecording::tr("The sound is not closed in time and stays in %1").arg(file));
        return;
    }
    if (QFileInfo(file).size() <= emptySoundBytes) {
        QFile::remove(file);
        fail(*ended, AvRecording::tr("The microphone gave no sound"));
        return;
    }
    double offsetS = 0.0;
    const QString error = place(*ended, file, request, offsetS);
    if (!error.isEmpty()) {
        writeConsole(QStringLiteral("The sound is not joined: ") + error);
        fail(*ended, AvRecording::tr("The sound cannot be joined to the video and stays in %1").arg(file));
        return;
    }
    QFile::remove(file);
    post([offsetS](AvRecording *to) { Q_EMIT to->soundAligned(offsetS * 1000.0); });
}

bool AvRecording::Maker::waitFor(SoundTrack &ended)
{
    for (int waited = 0; waited < closeTimeoutMs && !isLeft(); waited += closeSliceMs) {
        if (ended.closed.tryAcquire(1, closeSliceMs))
            return true;
    }
    // An owner that goes has closed the sound before.
    return ended.closed.tryAcquire();
}

void AvRecording::Maker::fail(SoundTrack &failed, const QString &reason)
{
    {
        const QMutexLocker locker(&failed.mutex);
        if (std::exchange(failed.isFailed, true))
            return;
    }
    writeConsole(reason);
    post([reason](AvRecording *to) { Q_EMIT to->soundFailed(reason); });
}

// Makes the WAV file of the request from what was recorded; what went wrong, or an empty text.
QString AvRecording::Maker::place(
    SoundTrack &ended, const QString &file, const VideoRecorder::SoundRequest &request, double &offsetS)
{
    std::optional<std::pair<double, double>> frames;
    if (request.cut)
        frames = {double(request.cut->first), double(request.cut->second)};
    const std::vector<SoundTimeline::Piece> pieces = ended.timeline.pieces(frames);
    if (pieces.empty())
        return QStringLiteral("no frame was recorded");
    const double wallS = pieces.back().wallEnd - pieces.front().wallBegin;
    const int timeoutMs = conversionTimeoutMs + int(std::min(wallS * 1000.0, 1e9));
    const auto isCancelled = [this, begunS = nowS()] {
        const QMutexLocker locker(&mutex);
        return hurriedS && nowS() - std::max(begunS, *hurriedS) > hurriedConversionS;
    };

    const double lengthS = ffmpegcall::soundLengthS(file, timeoutMs, isCancelled);
    SoundTimeline::SoundClock soundClock;
    {
        const QMutexLocker locker(&ended.mutex);
        soundClock =
            SoundTimeline::clockOf(ended.begins, ended.isFailed ? std::nullopt : ended.stopS, lengthS);
        soundClock.startS += ended.offsetS;
    }
    offsetS = soundClock.startS - *ended.timeline.firstFrameS();

    const SoundTimeline::Conversion conversion = SoundTimeline::conversion(pieces, soundClock);
    QTemporaryFile script; // a thousand pieces are more than a command line takes
    if (!script.open() || script.write(conversion.filters.toUtf8()) < 0)
        return script.errorString();
    script.close();
    const QString wav = request.isCopied ? besideVideo(request.destination) : request.audioPath;
    const QString made = freeName(wav + QStringLiteral(".new"));
    QString error = ffmpegcall::run(conversion.inputArguments(file)
            + QStringList{QStringLiteral("-filter_complex_script"), script.fileName(), QStringLiteral("-map"),
                QStringLiteral("[out]"), QStringLiteral("-c:a"), QStringLiteral("pcm_s16le"),
                QStringLiteral("-rf64"), QStringLiteral("auto"), QStringLiteral("-f"), QStringLiteral("wav"),
                made},
        timeoutMs, isCancelled);
    if (error.isEmpty()) {
        QFile::remove(wav);
        if (!QFile::rename(made, wav))
            error = QStringLiteral("%1 cannot be written").arg(wav);
    }
    QFile::remove(made);
    return error;
}
