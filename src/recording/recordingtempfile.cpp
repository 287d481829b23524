#include "recording/recordingtempfile_p.h"

#include "baselib/console_p.h"
#include "baselib/fileutilities.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QSet>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;

// Never destroyed: recordings may still end while the process does.
struct Registry
{
    QMutex mutex;
    QSet<QString> names; // in use by recordings of this process
    QString wanted; // what the host chose, empty for the default
    QString fallbackTold; // the folder whose replacement has been told
};

Registry &registry()
{
    static Registry *const instance = new Registry;
    return *instance;
}

// Motion-JPEG in these reads back; other containers take the frames and leave a file that nobody can open.
QString recordableSuffix(const QString &suffix)
{
    static const QStringList sound{QStringLiteral("avi"), QStringLiteral("mkv"), QStringLiteral("mov"),
        QStringLiteral("mp4"), QStringLiteral("wmv")};
    return QLatin1Char('.') + (sound.contains(suffix, Qt::CaseInsensitive) ? suffix : QStringLiteral("avi"));
}

bool isUsable(const QString &folder)
{
    const bool existed = QFileInfo::exists(folder);
    if (!FileUtilities::createIfNotExists(folder))
        return false;
    // The place is known to everybody, what grows in it is not for everybody.
    if (!existed)
        QFile::setPermissions(folder, ownerOnly);
    const QFileInfo info(folder);
    return info.isDir() && info.isWritable();
}

bool isOwn(const QFileInfo &folder)
{
#ifdef Q_OS_UNIX
    return !folder.isSymLink() && folder.isDir() && folder.ownerId() == geteuid();
#else
    return folder.isDir();
#endif
}

QString userTag()
{
#ifdef Q_OS_UNIX
    return QLatin1Char('-') + QString::number(geteuid());
#else
    return {}; // the temporary location is the user's own there
#endif
}

// A folder in a place where anybody may have put something of that name before us.
QString privateFolder()
{
    const QString base =
        FileUtilities::FolderSlash(QDir::tempPath()) + QStringLiteral("VarnholdToolkit") + userTag();
    for (int i = 1; i <= 100; ++i) {
        const QString folder = i == 1 ? base : base + QLatin1Char('_') + QString::number(i);
        QDir().mkdir(folder);
        // The link itself is looked at, which a slash at the end would hide.
        if (isOwn(QFileInfo(folder)) && QFile::setPermissions(folder, ownerOnly))
            return folder + QLatin1Char('/');
    }
    return base + QLatin1Char('/');
}

bool rename(const QString &from, const QString &to)
{
    if (QFile::rename(from, to))
        return true;
    qWarning() << "VIDEORECORDER: cannot move" << from << "to" << to;
    return false;
}

} // namespace

QString RecordingTempFile::wantedFolder()
{
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    return shared.wanted.isEmpty() ? QDir::root().absolutePath() + QStringLiteral("Temp/") : shared.wanted;
}

void RecordingTempFile::setWantedFolder(const QString &folder)
{
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    shared.wanted = folder.isEmpty() ? QString() : FileUtilities::FolderSlash(QDir(folder).absolutePath());
}

QString RecordingTempFile::usableFolder()
{
    QString wanted = wantedFolder();
    if (isUsable(wanted))
        return wanted;
    QString fallback = privateFolder();
    bool tell = false;
    {
        Registry &shared = registry();
        const QMutexLocker locker(&shared.mutex);
        tell = shared.fallbackTold != wanted;
        shared.fallbackTold = wanted;
    }
    if (tell) {
        writeConsole(
            QStringLiteral("The folder %1 cannot be written, recordings grow in %2").arg(wanted, fallback));
    }
    return fallback;
}

std::shared_ptr<RecordingTempFile> RecordingTempFile::claim(const QString &destination)
{
    const QFileInfo info(destination);
    // Not make_shared: the constructor is ours alone.
    std::shared_ptr<RecordingTempFile> file(new RecordingTempFile);
    file->claimedFor = destination;
    file->folder = usableFolder();
    file->suffix = recordableSuffix(info.suffix());
    const QString wanted = info.completeBaseName();
    file->baseName = wanted;
    for (int i = 2; !file->tryClaim(); ++i)
        file->baseName = wanted + QLatin1Char('_') + QString::number(i);
    return file;
}

QString RecordingTempFile::key() const
{
    return (folder + baseName).toLower();
}

bool RecordingTempFile::tryClaim()
{
    for (const QString &path : {videoPath(), logPath(), audioPath()}) {
        if (QFileInfo(path).isSymLink())
            return false;
    }
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    if (shared.names.contains(key()))
        return false;
    lock = std::make_unique<QLockFile>(folder + baseName + QStringLiteral(".lock"));
    lock->setStaleLockTime(0); // recordings may take days; a dead owner is recognised by its process number
    if (!lock->tryLock(0)) {
        const bool taken = lock->error() == QLockFile::LockFailedError;
        lock.reset();
        // Where no lock file can be made, the names of this process have to do.
        if (taken)
            return false;
    }
    shared.names.insert(key());
    return true;
}

RecordingTempFile::~RecordingTempFile()
{
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    shared.names.remove(key());
    lock.reset();
}

void RecordingTempFile::moveLeftoversAside() const
{
    const QFileInfo video(videoPath());
    if (!video.isFile() || video.isSymLink() || video.size() == 0)
        return;
    QString aside;
    for (int i = 1; aside.isEmpty() || QFileInfo::exists(aside + suffix)
         || QFileInfo::exists(aside + QStringLiteral(".log"))
         || QFileInfo::exists(aside + QStringLiteral(".wav"));
         ++i)
        aside = folder + baseName + QStringLiteral("_aside") + QString::number(i);

    const QFileInfo audio(audioPath());
    const bool audioIsAsOld = audio.isFile() && audio.lastModified() <= video.lastModified();
    if (!rename(videoPath(), aside + suffix))
        return;
    if (QFileInfo(logPath()).isFile())
        rename(logPath(), aside + QStringLiteral(".log"));
    if (audioIsAsOld)
        rename(audioPath(), aside + QStringLiteral(".wav"));
    writeConsole(QStringLiteral("A video left in the temporary folder was kept as %1").arg(aside + suffix));
}
