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

    QTemporaryDir folder;
    QTemporaryDir temp;

private:
    QMutex mutex;
    QStringList lines;
};
