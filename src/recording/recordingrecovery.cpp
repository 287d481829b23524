#include "recording/recordingrecovery.h"

#include "baselib/fileutilities.h"
#include "ffmpeg/fileinuse_p.h"
#include "ffmpeg/sourcelock_p.h"
#include "recording/frametimelogformat_p.h"
#include "recording/recordingrecovery_p.h"
#include "recording/recordingtempfile_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <algorithm>
#include <array>

namespace {

const QString &logSuffix()
{
    static const QString suffix = QStringLiteral(".log");
    return suffix;
}

const QString &framesSuffix()
{
    static const QString suffix = QStringLiteral(".frames.csv");
    return suffix;
}

bool isVideo(const QString &ending)
{
    return RecordingTempFile::videoSuffixes().contains(ending, Qt::CaseInsensitive);
}

// ".avi" of "take1.avi"; empty for files that no recording makes.
QString endingOf(const QString &fileName)
{
    const QStringList known = RecordingTempFile::companionSuffixes() + RecordingTempFile::videoSuffixes();
    for (const QString &ending : known) {
        if (fileName.size() > ending.size() && fileName.endsWith(ending, Qt::CaseInsensitive))
            return fileName.right(ending.size());
    }
    return {};
}

bool isFrameTimeLog(const QString &path)
{
    QFile file(path);
    std::array<quint32, 1> tag;
    return file.open(QIODevice::ReadOnly) && FrameTimeLogFormat::readWords(file, tag)
        && tag[0] == FrameTimeLogFormat::tag;
}

// Other programs write files of these names as well.
bool isOurs(const RecordingRecovery::Set &set)
{
    static const QString aside = QStringLiteral("_aside");
    return !set.videoPath.isEmpty() || !set.framesPath.isEmpty() || set.name.contains(aside)
        || (!set.logPath.isEmpty() && isFrameTimeLog(set.logPath));
}

void add(RecordingRecovery::Set &set, const QFileInfo &file, const QString &ending)
{
    const QString path = file.absoluteFilePath();
    if (isVideo(ending)) {
        // Of several videos, the newest has the log.
        if (!set.videoPath.isEmpty() && QFileInfo(set.videoPath).lastModified() > file.lastModified())
            return;
        set.bytes -= set.videoBytes;
        set.videoPath = path;
        set.videoBytes = file.size();
    } else if (ending == logSuffix()) {
        set.logPath = path;
    } else if (ending == framesSuffix()) {
        set.framesPath = path;
    } else if (ending == QLatin1String(".wav")) {
        set.soundPath = path;
    } else {
        set.resultPath = path;
    }
    set.bytes += file.size();
    set.lastWritten = qMax(set.lastWritten, file.lastModified());
}

void addSetsIn(const QString &folder, QList<RecordingRecovery::Set> &found)
{
    const QString path = FileUtilities::FolderSlash(QDir(folder).absolutePath());
    QMap<QString, RecordingRecovery::Set> sets;
    const QFileInfoList files = QDir(path).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QFileInfo &file : files) {
        const QString ending = endingOf(file.fileName());
        if (ending.isEmpty() || !RecordingTempFile::isOwnFile(file.filePath()))
            continue;
        const QString name = file.fileName().chopped(ending.size());
        RecordingRecovery::Set &set = sets[name];
        set.folder = path;
        set.name = name;
        add(set, file, ending);
    }
    for (RecordingRecovery::Set &set : sets) {
        const QString lock = SetLock::keyOf(set);
        if (!isOurs(set) || RecordingTempFile::isInUse(lock)
            || (!set.videoPath.isEmpty() && FileInUse::isReadByChild(set.videoPath)))
            continue;
        set.isInterrupted = QFile::exists(SourceLock::pathFor(lock));
        found << set;
    }
}

} // namespace

QStringList RecordingRecovery::Set::files() const
{
    QStringList all{logPath, framesPath, resultPath, soundPath, videoPath};
    all.removeAll(QString());
    return all;
}

QList<RecordingRecovery::Set> RecordingRecovery::list(const QString &folder)
{
    QList<Set> found;
    const QStringList folders = folder.isEmpty() ? RecordingTempFile::folders() : QStringList(folder);
    for (const QString &each : folders)
        addSetsIn(each, found);
    std::sort(found.begin(), found.end(), [](const Set &a, const Set &b) {
        return a.lastWritten != b.lastWritten ? a.lastWritten > b.lastWritten
                                              : a.folder + a.name < b.folder + b.name;
    });
    return found;
}

RecordingRecovery::Result RecordingRecovery::inspect(const Set &set, const Progress &progress)
{
    Result result;
    result.files = set;
    const SetLock lock(set, result.reason);
    if (!lock)
        return result;
    bool isCancelled = false;
    result.contents = contentsOf(set, progress, isCancelled);
    result.ok = !isCancelled;
    if (isCancelled)
        result.reason = tr("The operation was cancelled.");
    return result;
}

RecordingRecovery::Result RecordingRecovery::remove(const Set &set)
{
    Result result;
    result.files = set;
    const SetLock lock(set, result.reason);
    if (!lock)
        return result;
    result.ok = lock.removeFiles(result.files, result.reason);
    return result;
}
