#pragma once

#include "baselib/globalconsole.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QStringList>

/** What hosts of the library look at: files and the console. */
namespace host {

/** The bytes of the file at \a path, empty if there is none. */
inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Writes a file, with its folder where that is missing. */
inline bool put(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

/** Collects console lines while it lives, from any thread. */
class ConsoleLines
{
public:
    ConsoleLines()
    {
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) {
            const QMutexLocker lock(&mutex);
            lines << text;
        });
    }
    ~ConsoleLines() { GlobalConsole::setSink({}); }
    Q_DISABLE_COPY(ConsoleLines)

    QStringList all() const
    {
        const QMutexLocker lock(&mutex);
        return lines;
    }

private:
    mutable QMutex mutex; // guards lines
    QStringList lines;
};

} // namespace host
