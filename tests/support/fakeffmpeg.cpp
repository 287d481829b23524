#include "support/fakeffmpeg.h"

#include <QFile>
#include <QtGlobal>

#ifdef Q_OS_UNIX
#include <signal.h>
#endif

FakeFFMpeg::FakeFFMpeg(const QString &commands) : formerPath(qgetenv("PATH"))
{
    setCommands(commands);
    qputenv("PATH", dir.path().toLocal8Bit() + ':' + formerPath);
}

FakeFFMpeg::~FakeFFMpeg()
{
    qputenv("PATH", formerPath);
}

void FakeFFMpeg::setCommands(const QString &commands)
{
    static const char preamble[] = R"(#!/bin/sh
dir="%1"
echo $$ > "$dir/pid"
out=; for argument in "$@"; do
    printf '%s\n' "$argument" >> "$dir/calls"
    [ "$argument" = -y ] || out=$argument
done
echo >> "$dir/calls"
await() { while [ ! -e "$dir/go-$1" ]; do sleep 0.02; done; }
)";
    // Written beside and renamed, since a script that runs cannot be written to.
    QFile script(dir.filePath(QStringLiteral("ffmpeg.new")));
    if (!script.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("The stand-in cannot be written");
    script.write(QString::fromLatin1(preamble).arg(dir.path()).toLocal8Bit() + commands.toLocal8Bit() + '\n');
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile::remove(dir.filePath(QStringLiteral("ffmpeg")));
    script.rename(dir.filePath(QStringLiteral("ffmpeg")));
}

void FakeFFMpeg::vanish()
{
    QFile::remove(dir.filePath(QStringLiteral("ffmpeg")));
    qputenv("PATH", dir.path().toLocal8Bit());
}

QList<QStringList> FakeFFMpeg::calls() const
{
    QList<QStringList> all;
    QStringList call;
    const QStringList lines = QString::fromLocal8Bit(read(QStringLiteral("calls"))).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.isEmpty() && !call.isEmpty())
            all << std::exchange(call, {});
        else if (!line.isEmpty())
            call << line;
    }
    return all;
}

qint64 FakeFFMpeg::lastPid() const
{
    return read(QStringLiteral("pid")).trimmed().toLongLong();
}

bool FakeFFMpeg::hasFile(const QString &name) const
{
    return QFile::exists(dir.filePath(name));
}

void FakeFFMpeg::letGo(const QString &name)
{
    QFile(dir.filePath(QStringLiteral("go-") + name)).open(QIODevice::WriteOnly);
}

bool FakeFFMpeg::processExists(qint64 pid)
{
#ifdef Q_OS_UNIX
    return pid > 0 && ::kill(pid_t(pid), 0) == 0;
#else
    Q_UNUSED(pid)
    return false;
#endif
}

QByteArray FakeFFMpeg::read(const QString &name) const
{
    QFile file(dir.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
