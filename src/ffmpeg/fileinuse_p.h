#pragma once

#include <QFile>
#include <QString>

#ifdef Q_OS_UNIX
#include <sys/file.h>

#include <cerrno>
#endif

/** Tells whether a child process still works on a file, also one whose program has ended. \thread Any. */
namespace FileInUse {

/**
 * True while a running `ffmpeg` child holds its shared lock on the video at \a path.
 *
 * False if the file cannot be opened, and where the file system or the platform has no such locks.
 */
inline bool isReadByChild(const QString &path)
{
#ifdef Q_OS_UNIX
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // Closing the file gives the lock back.
    return flock(file.handle(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
#else
    Q_UNUSED(path)
    return false;
#endif
}

} // namespace FileInUse
