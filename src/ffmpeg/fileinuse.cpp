#include "ffmpeg/fileinuse_p.h"

#include <QFile>

#if defined(Q_OS_UNIX)
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QThread>
#elif defined(Q_OS_WIN)
#include <QDir>

#include <windows.h>
#endif

bool FileInUse::isReadByChild(const QString &path)
{
#if defined(Q_OS_UNIX)
    const int file = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return false;
    // Somebody else who asks at this moment holds the lock as well, but only for an instant.
    constexpr int attempts = 5;
    bool isInUse = true;
    for (int i = 0; i < attempts && isInUse; ++i) {
        if (i > 0)
            QThread::msleep(1);
        isInUse = ::flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }
    // Explicitly: a process that another thread is about to start may hold a copy of the descriptor.
    ::flock(file, LOCK_UN);
    ::close(file);
    return isInUse;
#elif defined(Q_OS_WIN)
    const QString native = QDir::toNativeSeparators(path);
    const HANDLE file = CreateFileW(reinterpret_cast<const wchar_t *>(native.utf16()), GENERIC_READ, 0,
        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(file);
    return false;
#else
    Q_UNUSED(path)
    return false;
#endif
}
