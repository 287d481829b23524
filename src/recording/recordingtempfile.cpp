#include "recording/recordingtempfile_p.h"

#include "common/console_p.h"
#include "ffmpeg/fileinuse_p.h"
#include "ffmpeg/sourcelock_p.h"

#include <QDebug>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <sys/file.h>
#include <unistd.h>
#endif

#include <algorithm>

namespace {

// Kernels stamp files with a clock that runs up to a tick behind the one that startRecord() reads.
constexpr int clockTickMs = 20;

const QString &soundSuffix()
{
    static const QString suffix = QStringLiteral(".wav");
    return suffix;
}

const QString &logSuffix()
{
    static const QString suffix = QStringLiteral(".log");
    return suffix;
}

// Motion-JPEG in these reads back; other containers take the frames and leave a file that nobody can open.
QString recordableSuffix(const QString &suffix)
{
    const QString wanted = QLatin1Char('.') + suffix;
    return RecordingTempFile::videoSuffixes().contains(wanted, Qt::CaseInsensitive) ? wanted
                                                                                    : QStringLiteral(".avi");
}

// A link counts, also one that leads nowhere.
bool isThere(const QString &path)
{
    const QFileInfo info(path);
    return info.isSymLink() || info.exists();
}

bool rename(const QString &from, const QString &to)
{
    if (QFile::rename(from, to))
        return true;
    qWarning() << "VIDEORECORDER: cannot move" << from << "to" << to;
    return false;
}

} // namespace

QStringList RecordingTempFile::videoSuffixes()
{
    return {QStringLiteral(".avi"), QStringLiteral(".mkv"), QStringLiteral(".mov"), QStringLiteral(".mp4"),
        QStringLiteral(".wmv")};
}

QStringList RecordingTempFile::companionSuffixes()
{
    return {logSuffix(), QStringLiteral(".frames.csv"), QStringLiteral(".json"), soundSuffix()};
}

bool RecordingTempFile::isOwnFile(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink() || !info.isFile())
        return false;
#ifdef Q_OS_UNIX
    return info.ownerId() == geteuid();
#else
    return true;
#endif
}

bool RecordingTempFile::isInUse(const QString &videoPath)
{
    return SourceLock::isHeld(videoPath) || FileInUse::isReadByChild(videoPath);
}

std::shared_ptr<RecordingTempFile> RecordingTempFile::claim(const QString &destination)
{
    const QFileInfo info(destination);
    // Not make_shared: the constructor is ours alone.
    std::shared_ptr<RecordingTempFile> file(new RecordingTempFile);
    file->claimedFor = destination;
    file->folder = usableFolder();
    file->suffix = recordableSuffix(info.suffix());
    const QString wanted = info.completeBaseName();
    file->baseName = wanted;
    for (int i = 2; !file->tryClaim(); ++i)
        file->baseName = wanted + QLatin1Char('_') + QString::number(i);
    return file;
}

bool RecordingTempFile::tryClaim()
{
    const QString base = folder + baseName;
    bool hasData = false;
    for (const QString &ending : companionSuffixes() + QStringList(suffix)) {
        const bool isUsed = isThere(base + ending);
        if (isUsed && !isOwnFile(base + ending))
            return false;
        hasData |= isUsed && ending != soundSuffix() && ending != suffix;
    }
    for (const QString &other : videoSuffixes()) {
        // The log is that of the other video.
        if (hasData && other.compare(suffix, Qt::CaseInsensitive) != 0 && isThere(base + other))
            return false;
    }
    if (FileInUse::isReadByChild(videoPath()))
        return false;

    bool isHeld = false;
    lock = SourceLock::take(videoPath(), isHeld);
    if (lock) {
        claimedAt = QFileInfo(SourceLock::pathFor(videoPath())).lastModified();
        return true;
    }
    return !isHeld && reserve();
}

// Files without content can be made on a full disk, too.
bool RecordingTempFile::reserve()
{
    for (const QString &ending : companionSuffixes() + QStringList(suffix)) {
        if (isThere(folder + baseName + ending))
            return false;
    }
    reservation = std::make_unique<QFile>(videoPath());
    if (reservation->open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
#ifdef Q_OS_UNIX
        // Once the disk has room again, others get the lock of that name; this keeps them off the video.
        flock(reservation->handle(), LOCK_SH | LOCK_NB);
#endif
    } else {
        reservation.reset();
        if (isThere(videoPath()))
            return false;
    }
    claimedAt = QDateTime::currentDateTime();
    writeConsole(QStringLiteral("No lock file can be made in %1 (disk full?), the recording grows as %2")
                     .arg(folder, videoPath()));
    return true;
}

RecordingTempFile::~RecordingTempFile()
{
    if (reservation && QFileInfo(videoPath()).size() == 0)
        QFile::remove(videoPath());
}

// The lock file was made at the start on the clock of the same file system, however coarse or wrong that is.
bool RecordingTempFile::isStale(const QString &sound, const QDateTime &startedAt) const
{
    const QDateTime written = QFileInfo(sound).lastModified();
    return written < claimedAt && (!startedAt.isValid() || written < startedAt.addMSecs(-clockTickMs));
}

bool RecordingTempFile::moveLeftoversAside(const QDateTime &startedAt) const
{
    if (reservation)
        return true; // no file had the name
    const QString base = folder + baseName;
    const QStringList companions = companionSuffixes();
    QStringList leftovers;
    bool hasData = false;
    const bool hasVideo = isOwnFile(videoPath());
    for (const QString &ending : companions) {
        if (!isOwnFile(base + ending))
            continue;
        if (ending == soundSuffix() ? isStale(base + ending, startedAt) : hasVideo || ending != logSuffix())
            leftovers << ending;
        hasData |= ending != soundSuffix();
    }
    // The video goes last: without it, a log that was left behind would be continued.
    if (hasVideo && (QFileInfo(videoPath()).size() > 0 || hasData))
        leftovers << suffix;
    if (leftovers.isEmpty())
        return true;

    const QStringList all = companions + videoSuffixes() + QStringList{suffix, QStringLiteral(".lock")};
    QString aside;
    const auto isTaken = [&](const QString &ending) { return isThere(aside + ending); };
    for (int i = 1; aside.isEmpty() || std::any_of(all.begin(), all.end(), isTaken); ++i)
        aside = base + QStringLiteral("_aside") + QString::number(i);
    for (const QString &ending : leftovers) {
        if (!rename(base + ending, aside + ending))
            return false;
    }
    const QString name = aside + leftovers.last();
    writeConsole(leftovers.last() == suffix
            ? QStringLiteral("A video left in the temporary folder was kept as %1").arg(name)
            : QStringLiteral("Files left in the temporary folder were kept as %1").arg(name));
    return true;
}
