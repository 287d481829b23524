#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>
#include <QTemporaryDir>

/**
 * Stands in for the `ffmpeg` program while it lives: a shell script of that name, found first on the search
 * path, that notes its arguments and then runs the commands of the test. Needs a POSIX shell.
 *
 *     FakeFFMpeg ffmpeg(QStringLiteral("echo new > \"$out\"; exit 0"));
 *
 * In the commands, `$out` is the output file, `$dir` the stand-in's own folder, and `await NAME` waits for
 * letGo(NAME). Make it before threads run: it changes the environment.
 */
class FakeFFMpeg
{
public:
    explicit FakeFFMpeg(const QString &commands);
    ~FakeFFMpeg();
    FakeFFMpeg(const FakeFFMpeg &) = delete;
    FakeFFMpeg &operator=(const FakeFFMpeg &) = delete;

    /** Changes what later calls do. */
    void setCommands(const QString &commands);

    /** Makes the program absent: nothing is found on the search path any more. */
    void vanish();

    /** The arguments of each call so far. */
    QList<QStringList> calls() const;

    /** The process id of the last call, 0 if there was none. */
    qint64 lastPid() const;

    /** Whether the commands have made the file `$dir/NAME`. */
    bool hasFile(const QString &name) const;

    /** Ends the waiting of `await \a name`. */
    void letGo(const QString &name);

    /** Whether a process still exists, a zombie included. */
    static bool processExists(qint64 pid);

private:
    QByteArray read(const QString &name) const;

    QTemporaryDir dir;
    QByteArray formerPath;
};
