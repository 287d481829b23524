#pragma once

#include "baselib/globalconsole.h"
#include "recording/videorecorder.h"
#include "support/frames.h"

#include <QtTest>

/** A folder for the destinations, one for the temporary files, the console's lines, and a stop on every way
 * out. */
class RecorderFixture
{
public:
    RecorderFixture()
    {
        VideoRecorder::setTempFolder(temp.path());
        VideoRecorder::UseFFMPEGOptimization = false;
        GlobalConsole::setSink([this](const QString &text, const QDateTime &) {
            if (onLine)
                onLine(text);
            const QMutexLocker locker(&mutex);
            lines << text;
        });
    }
    ~RecorderFixture()
    {
        GlobalConsole::setSink({});
        VideoRecorder::setTempFolder(QString());
        VideoRecorder::UseFFMPEGOptimization = true;
    }

    QString out(const char *name = "take.avi") const { return folder.filePath(QLatin1String(name)); }
    QString inTemp(const char *name) const { return temp.filePath(QLatin1String(name)); }
    QStringList tempEntries() const
    {
        return QDir(temp.path()).entryList(QDir::Files | QDir::Hidden | QDir::System);
    }

    bool consoleHas(const QString &part)
    {
        const QMutexLocker locker(&mutex);
        return lines.join(QLatin1Char('\n')).contains(part);
    }

    /** Starts a recording and has at least \a frameCount frames in it, the first of them \a number. */
    static bool record(VideoRecorder &recorder, const QString &path, int frameCount = 5, int number = 1)
    {
        recorder.startRecord(path);
        recorder.setFrame(frames::numbered(number));
        return QTest::qWaitFor([&] { return recorder.getFrameCount() >= frameCount; }, 20'000);
    }

    /** Leaves a file with \a bytes in the temporary folder. */
    bool leave(const char *name, const QByteArray &bytes) const
    {
        QFile file(inTemp(name));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    }

    QTemporaryDir folder;
    QTemporaryDir temp;
    std::function<void(const QString &)> onLine; // gets each console line, on the writing thread

private:
    QMutex mutex;
    QStringList lines;
};
