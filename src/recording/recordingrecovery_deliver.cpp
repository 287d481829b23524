#include "recording/recordingrecovery.h"

#include "baselib/fileutilities.h"
#include "ffmpeg/ffmpegcall_p.h"
#include "ffmpeg/fileinuse_p.h"
#include "ffmpeg/sourcelock_p.h"
#include "image/capturesource_p.h"
#include "recording/frametimelogreader.h"
#include "recording/recordingrecovery_p.h"
#include "recording/recordingtempfile_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTemporaryDir>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

#include <cstdio>
#include <filesystem>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr int noLimit = std::numeric_limits<int>::max(); // hours of video take as long as they take
constexpr qint64 copyBlock = 1 << 20;
constexpr double soundToleranceS = 0.1; // of a codec's first and last block
constexpr double countedAt = 0.4; // parts of the whole work
constexpr double madeAt = 0.6;

using Set = RecordingRecovery::Set;
using Contents = RecordingRecovery::Contents;

QString suffixOf(const QString &path)
{
    return QLatin1Char('.') + QFileInfo(path).suffix();
}

bool isThere(const QString &path)
{
    const QFileInfo info(path);
    return info.isSymLink() || info.exists();
}

// A power cut just after the source is gone must not cost the new file.
void syncToDisk(const QString &path)
{
#ifdef Q_OS_UNIX
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        fsync(file.handle());
#else
    Q_UNUSED(path)
#endif
}

// Tells the progress of one step as part of the whole, and remembers that the host wants to end.
class Step
{
public:
    explicit Step(const RecordingRecovery::Progress &progress) : progress(progress) { }

    void begin(double from, double to)
    {
        first = from;
        last = to;
        goesOn(0.0);
    }

    bool goesOn(double done)
    {
        told = qMax(told, first + (last - first) * qBound(0.0, done, 1.0));
        if (!cancelled && progress)
            cancelled = !progress(told);
        return !cancelled;
    }

    bool isCancelled() const { return cancelled; }

private:
    const RecordingRecovery::Progress &progress;
    double first = 0.0;
    double last = 1.0;
    double told = 0.0;
    bool cancelled = false;
};

// \a guess is the number that is to be expected, 0 where that is unknown.
qint64 countFrames(cv::VideoCapture &capture, int guess, Step &step)
{
    qint64 frames = 0;
    while (step.goesOn(guess > 0 ? double(frames) / guess : 0.0) && capture.grab())
        ++frames;
    return frames;
}

Contents countContents(const Set &set, Step &step)
{
    Contents contents;
    FrameTimeLogReader log;
    if (!set.logPath.isEmpty() && log.open(set.logPath, FrameTimeLogReader::Damage::Salvage))
        contents.logRecords = log.count();
    contents.frames = 0;
    cv::VideoCapture capture;
    if (set.videoPath.isEmpty() || QFileInfo(set.videoPath).size() == 0
        || !CaptureSource::open(capture, set.videoPath))
        return contents;
    const int told = CaptureSource::frameCount(capture);
    contents.rateHz = CaptureSource::frameRate(capture);
    contents.size = QSize(CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_WIDTH)),
        CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_HEIGHT)));
    contents.frames = countFrames(capture, qMax(told, contents.logRecords), step);
    contents.hasHeader = told > 0 && told == contents.frames;
    if (contents.rateHz > 0.0)
        contents.lengthS = double(contents.frames) / contents.rateHz;
    return contents;
}

QString remux(const QStringList &inputs, const QStringList &codecs, const QString &target, Step &step)
{
    QStringList arguments;
    for (const QString &input : inputs)
        arguments << QStringLiteral("-i") << input;
    arguments << QStringLiteral("-map") << QStringLiteral("0:v:0");
    if (inputs.size() > 1)
        arguments << QStringLiteral("-map") << QStringLiteral("1:a:0");
    const double size = qMax(1.0, double(QFileInfo(inputs.first()).size()));
    return ffmpegcall::run(arguments + codecs + QStringList(target), noLimit,
        [&] { return !step.goesOn(double(QFileInfo(target).size()) / size); });
}

bool copyFile(const QString &from, const QString &to, Step &step)
{
    QFile source(from);
    QFile target(to);
    if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return false;
    const double size = qMax(1.0, double(source.size()));
    while (!source.atEnd()) {
        const QByteArray block = source.read(copyBlock);
        if (block.isEmpty() || target.write(block) != block.size()
            || !step.goesOn(double(source.pos()) / size))
            return false;
    }
    // Only the flush tells of a full disk.
    if (!target.flush() || target.size() != source.size())
        return false;
    target.setFileTime(source.fileTime(QFileDevice::FileModificationTime), QFileDevice::FileModificationTime);
    return true;
}

// True if the video at \a path holds at least \a frames that decode.
bool isWhole(const QString &path, qint64 frames, Step &step, QString &reason)
{
    cv::VideoCapture capture;
    const qint64 found = CaptureSource::open(capture, path)
        ? countFrames(capture, int(qMin(frames, qint64(noLimit))), step)
        : 0;
    if (found >= frames)
        return true;
    reason = RecordingRecovery::tr("The new video holds %1 of %2 frames.").arg(found).arg(frames);
    return false;
}

// Makes the video \a target in a folder of its own; an empty text after success.
class VideoMaker
{
public:
    VideoMaker(const Set &set, const QString &target, Step &step) : set(set), target(target), step(step) { }

    bool hasSound() const { return withSound; }

    QString make()
    {
        withSound = !set.soundPath.isEmpty() && join();
        if (withSound || step.isCancelled())
            return {};
        QFile::remove(target);
        const QString error =
            remux({set.videoPath}, {QStringLiteral("-c"), QStringLiteral("copy")}, target, step);
        if (error.isEmpty() || step.isCancelled())
            return {};
        // The frames are all there without a header, too.
        QFile::remove(target);
        const bool keepsSuffix = suffixOf(target).compare(suffixOf(set.videoPath), Qt::CaseInsensitive) == 0;
        return keepsSuffix && copyFile(set.videoPath, target, step) ? QString() : error;
    }

private:
    // The sound goes with its file, so it has to be in the video whole.
    bool join()
    {
        const auto isCancelled = [this] { return !step.goesOn(0.0); };
        const double lengthS = ffmpegcall::soundLengthS(set.soundPath, noLimit, isCancelled);
        if (lengthS <= 0.0)
            return false;
        // MP4 takes no uncompressed samples.
        for (const char *codec : {"copy", "aac"}) {
            QFile::remove(target);
            const QStringList codecs{
                QStringLiteral("-c:v"), QStringLiteral("copy"), QStringLiteral("-c:a"), QLatin1String(codec)};
            if (remux({set.videoPath, set.soundPath}, codecs, target, step).isEmpty()
                && ffmpegcall::soundLengthS(target, noLimit, isCancelled) >= lengthS - soundToleranceS)
                return true;
            if (step.isCancelled())
                return false;
        }
        return false;
    }

    const Set &set;
    const QString target;
    Step &step;
    bool withSound = false;
};

QString noFrame(const Set &set)
{
    return RecordingRecovery::tr("The recording %1 holds no frame.").arg(set.folder + set.name);
}

QString cannotWrite(const QString &path)
{
    return RecordingRecovery::tr("%1 cannot be written.").arg(path);
}

QString cancelled()
{
    return RecordingRecovery::tr("The operation was cancelled.");
}

// ".frames.csv" of "take1.frames.csv"
QString companionEnding(const QString &path)
{
    const QStringList endings = RecordingTempFile::companionSuffixes();
    for (const QString &ending : endings) {
        if (path.endsWith(ending, Qt::CaseInsensitive))
            return ending;
    }
    return suffixOf(path);
}

QString whyNotFree(const QString &base, const QString &target)
{
    QStringList paths{target};
    const QStringList endings = RecordingTempFile::companionSuffixes();
    for (const QString &ending : endings)
        paths << base + ending;
    for (const QString &path : qAsConst(paths)) {
        if (isThere(path))
            return RecordingRecovery::tr("The file %1 exists already.").arg(path);
    }
    return {};
}

bool replaceFile(const QString &from, const QString &to)
{
#ifdef Q_OS_WIN
    std::error_code error;
    std::filesystem::rename(from.toStdWString(), to.toStdWString(), error);
    return !error;
#else
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
#endif
}

// The files of a delivery, each ready beside its place.
class Delivery
{
public:
    void add(const QString &from, const QString &to) { moves.emplace_back(from, to); }

    // Puts all in place, or none.
    bool place(QString &reason)
    {
        for (size_t i = 0; i < moves.size(); ++i) {
            if (QFile::rename(moves[i].first, moves[i].second))
                continue;
            reason = cannotWrite(moves[i].second);
            while (i-- > 0)
                QFile::rename(moves[i].second, moves[i].first);
            return false;
        }
        return true;
    }

private:
    std::vector<std::pair<QString, QString>> moves;
};

// Makes all files of the delivery in the folder \a work; an empty text after success.
QString prepare(const Set &set, const Contents &contents, const QString &work, const QString &target,
    Delivery &delivery, bool &isJoined, Step &step)
{
    const QFileInfo wanted(target);
    const bool keepsSuffix = suffixOf(target).compare(suffixOf(set.videoPath), Qt::CaseInsensitive) == 0;
    // Needs no room for a second copy.
    const bool isMoved = contents.hasHeader && keepsSuffix && set.soundPath.isEmpty()
        && QStorageInfo(set.folder) == QStorageInfo(work);
    QString video = set.videoPath;
    if (!isMoved) {
        video = work + QLatin1Char('/') + wanted.fileName();
        step.begin(countedAt, madeAt);
        VideoMaker maker(set, video, step);
        QString reason = maker.make();
        step.begin(madeAt, 1.0);
        if (!reason.isEmpty() || !isWhole(video, contents.frames, step, reason))
            return reason;
        isJoined = maker.hasSound();
        syncToDisk(video);
    }
    for (const QString &path : set.files()) {
        if (path == set.videoPath || (path == set.soundPath && isJoined))
            continue;
        const QString name = wanted.completeBaseName() + companionEnding(path);
        const QString copy = work + QLatin1Char('/') + name;
        if (!RecordingTempFile::isOwnFile(path) || !copyFile(path, copy, step))
            return cannotWrite(wanted.path() + QLatin1Char('/') + name);
        syncToDisk(copy);
        delivery.add(copy, wanted.path() + QLatin1Char('/') + name);
    }
    delivery.add(video, target);
    return {};
}

} // namespace

SetLock::SetLock(const Set &set, QString &reason)
{
    bool isHeld = false;
    lock = SourceLock::take(keyOf(set), isHeld);
    isOpen = !isHeld && (set.videoPath.isEmpty() || !FileInUse::isReadByChild(set.videoPath));
    if (!isOpen)
        reason = RecordingRecovery::tr("The recording %1 is in use.").arg(set.folder + set.name);
}

bool SetLock::removeFiles(Set &set, QString &reason) const
{
    // The video last: what is left of a set whose removal is interrupted still has one.
    for (QString *path : {&set.logPath, &set.framesPath, &set.resultPath, &set.soundPath, &set.videoPath}) {
        if (!path->isEmpty() && isThere(*path)
            && !(RecordingTempFile::isOwnFile(*path) && QFile::remove(*path))) {
            reason = RecordingRecovery::tr("The file %1 cannot be removed.").arg(*path);
            return false;
        }
        path->clear();
    }
    return true;
}

Contents contentsOf(const Set &set, const RecordingRecovery::Progress &progress, bool &isCancelled)
{
    Step step(progress);
    const Contents contents = countContents(set, step);
    isCancelled = step.isCancelled();
    return contents;
}

RecordingRecovery::Result RecordingRecovery::repair(const Set &set, const Progress &progress)
{
    Result result;
    result.files = set;
    const SetLock lock(set, result.reason);
    if (!lock)
        return result;
    Step step(progress);
    step.begin(0.0, countedAt);
    result.contents = countContents(set, step);
    const qint64 frames = result.contents.frames;
    if (frames > 0 && result.contents.hasHeader) {
        result.ok = true;
        return result;
    }
    // In the same folder, so that the new file takes the place of the old one in one step.
    const QTemporaryDir work(set.folder + QStringLiteral(".recovering-XXXXXX"));
    const QString target = work.filePath(QFileInfo(set.videoPath).fileName());
    step.begin(countedAt, madeAt);
    if (frames < 1)
        result.reason = noFrame(set);
    else if (!work.isValid())
        result.reason = cannotWrite(set.folder);
    else
        result.reason = remux({set.videoPath}, {QStringLiteral("-c"), QStringLiteral("copy")}, target, step);
    if (result.reason.isEmpty()) {
        step.begin(madeAt, 1.0);
        result.ok = isWhole(target, frames, step, result.reason);
    }
    if (step.isCancelled()) {
        result.ok = false;
        result.reason = cancelled();
    }
    if (!result.ok)
        return result;
    syncToDisk(target);
    result.ok = replaceFile(target, set.videoPath);
    if (!result.ok)
        result.reason = cannotWrite(set.videoPath);
    result.files.videoBytes = QFileInfo(set.videoPath).size();
    result.files.bytes += result.files.videoBytes - set.videoBytes;
    return result;
}

RecordingRecovery::Result RecordingRecovery::deliver(
    const Set &set, const QString &destination, const Progress &progress)
{
    Result result;
    result.files = set;
    const SetLock lock(set, result.reason);
    if (!lock)
        return result;

    const QFileInfo wanted(destination);
    const QString folder = FileUtilities::FolderSlash(wanted.absolutePath());
    const QString base = folder + wanted.completeBaseName();
    const QString target = wanted.absoluteFilePath();
    result.reason = whyNotFree(base, target);
    if (!result.reason.isEmpty())
        return result;

    Step step(progress);
    step.begin(0.0, countedAt);
    result.contents = countContents(set, step);
    if (!step.isCancelled() && result.contents.frames < 1)
        result.reason = noFrame(set);
    else if (!step.isCancelled() && !FileUtilities::createIfNotExists(folder))
        result.reason = cannotWrite(folder);
    // In the same folder, so that everything is put in place by renaming.
    const QTemporaryDir work(folder + QStringLiteral(".recovering-XXXXXX"));
    if (result.reason.isEmpty() && !work.isValid())
        result.reason = cannotWrite(folder);

    Delivery delivery;
    bool isJoined = false;
    if (result.reason.isEmpty() && !step.isCancelled())
        result.reason = prepare(set, result.contents, work.path(), target, delivery, isJoined, step);
    if (step.isCancelled())
        result.reason = cancelled();
    if (result.reason.isEmpty())
        result.ok = delivery.place(result.reason);
    if (!result.ok)
        return result;

    Set delivered = set;
    lock.removeFiles(result.files, result.reason);
    if (result.reason.isEmpty() && !set.soundPath.isEmpty() && !isJoined)
        result.reason = tr("The sound cannot be joined, it lies beside the video.");
    delivered.folder = folder;
    delivered.name = wanted.completeBaseName();
    delivered.videoPath = target;
    delivered.videoBytes = QFileInfo(target).size();
    delivered.bytes = delivered.videoBytes;
    if (isJoined)
        delivered.soundPath.clear();
    for (QString *path :
        {&delivered.logPath, &delivered.framesPath, &delivered.resultPath, &delivered.soundPath}) {
        if (path->isEmpty())
            continue;
        *path = base + companionEnding(*path);
        delivered.bytes += QFileInfo(*path).size();
    }
    result.files = delivered;
    return result;
}
