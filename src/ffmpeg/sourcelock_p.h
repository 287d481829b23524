#pragma once

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QString>

#ifdef Q_OS_UNIX
#include <sys/file.h>

#include <cerrno>
#endif

#include <memory>

/**
 * The lock file beside a recording's files. A recorder holds it while it writes them, a job while it reads
 * them.
 *
 * \thread Any.
 */
namespace SourceLock {

/** The lock file for the files that are named like \a videoPath up to the suffix. */
inline QString pathFor(const QString &videoPath)
{
    const QFileInfo video(videoPath);
    return video.path() + QLatin1Char('/') + video.completeBaseName() + QStringLiteral(".lock");
}

/**
 * Takes the lock for \a videoPath; null if that fails.
 *
 * \param isHeld true if somebody else holds it, in this process or in another one; false if no lock file can
 *     be made, as on a full disk.
 */
inline std::unique_ptr<QLockFile> take(const QString &videoPath, bool &isHeld)
{
    constexpr qint64 youngMs = 2000;
    const QString path = pathFor(videoPath);
    auto lock = std::make_unique<QLockFile>(path);
    lock->setStaleLockTime(0); // recordings may take days; a dead owner is recognised by its process number
    bool isTaken = lock->tryLock(0);
    if (!isTaken && lock->error() == QLockFile::LockFailedError) {
        // A dead owner's process number may belong to another process by now: in a container it is often the
        // same at every start. The file is removed only if no process has it open and locked. Its owner may
        // not have come that far in the first moments.
        const QDateTime made = QFileInfo(path).lastModified();
        if (made.isValid() && made.msecsTo(QDateTime::currentDateTime()) > youngMs
            && lock->removeStaleLockFile())
            isTaken = lock->tryLock(0);
    }
    isHeld = !isTaken && lock->error() == QLockFile::LockFailedError;
    if (!isTaken)
        lock.reset();
    return lock;
}

/** True while somebody holds the lock for \a videoPath, in this process or in another one. A lock file that a
 * dead owner has left stays. */
inline bool isHeld(const QString &videoPath)
{
    const QString path = pathFor(videoPath);
    if (!QFileInfo::exists(path))
        return false;
#ifdef Q_OS_UNIX
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        if (flock(file.handle(), LOCK_EX | LOCK_NB) == 0)
            return false;
        if (errno == EWOULDBLOCK)
            return true;
    }
#endif
    // Without such locks, only taking it tells.
    bool isHeldByOthers = false;
    take(videoPath, isHeldByOthers);
    return isHeldByOthers;
}

} // namespace SourceLock
