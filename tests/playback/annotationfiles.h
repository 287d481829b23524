#pragma once

#include <QFile>
#include <QString>

#include <csignal>
#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

/** JSON with the quotes that C++ has for characters. */
inline QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

inline bool writeContent(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QFile::WriteOnly) && file.write(content) == content.size();
}

/** Lets no file of this process grow beyond some bytes, as a full disk does, while it lives. */
class FullDisk
{
public:
#ifdef Q_OS_UNIX
    explicit FullDisk(quint64 bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit now = before;
        now.rlim_cur = bytes;
        works = setrlimit(RLIMIT_FSIZE, &now) == 0;
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before);
    }

private:
    rlimit before{};
#else
    explicit FullDisk(quint64) { }
#endif

public:
    bool works = false;
};
