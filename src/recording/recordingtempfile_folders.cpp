#include "recording/recordingtempfile_p.h"

#include "baselib/fileutilities.h"
#include "common/console_p.h"

#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QStandardPaths>
#include <QTemporaryDir>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
constexpr int numberedFolders = 100;

// Never destroyed: recordings may still end while the process does.
struct Registry
{
    QMutex mutex;
    QString wanted; // what the host chose, empty for the default
    QString replacementTold; // the folder whose replacement has been told
    QString unique; // the folder of a unique name that this process has made
};

Registry &registry()
{
    static Registry *const instance = new Registry;
    return *instance;
}

QString defaultFolder()
{
    return QDir::root().absolutePath() + QStringLiteral("Temp/");
}

QString withoutSlash(QString folder)
{
    while (folder.size() > 1 && folder.endsWith(QLatin1Char('/')))
        folder.chop(1);
    return folder;
}

// Another ordinary user can rename and replace the files in a folder of his, or behind a link of his.
bool isTrusted(const QString &folder)
{
#ifdef Q_OS_UNIX
    constexpr int linksFollowed = 40;
    QString path = withoutSlash(folder); // a slash at the end would hide the link
    for (int i = 0; i < linksFollowed; ++i) {
        struct stat info = {};
        if (lstat(QFile::encodeName(path).constData(), &info) != 0
            || (info.st_uid != 0 && info.st_uid != geteuid()))
            return false;
        if (!S_ISLNK(info.st_mode))
            return S_ISDIR(info.st_mode);
        path = QFileInfo(path).symLinkTarget();
    }
    return false;
#else
    return QFileInfo(folder).isDir();
#endif
}

enum class Usable
{
    Yes,
    NotWritable,
    Strange
};

Usable tryFolder(const QString &folder)
{
    const bool existed = QFileInfo::exists(folder);
    if (!FileUtilities::createIfNotExists(folder))
        return Usable::NotWritable;
    if (!isTrusted(folder))
        return Usable::Strange;
    // The place is known to everybody, what grows in it is not for everybody.
    if (!existed)
        QFile::setPermissions(folder, ownerOnly);
    const QFileInfo info(folder);
    return info.isDir() && info.isWritable() ? Usable::Yes : Usable::NotWritable;
}

bool isOwn(const QString &folder)
{
    const QFileInfo info(withoutSlash(folder));
#ifdef Q_OS_UNIX
    return !info.isSymLink() && info.isDir() && info.ownerId() == geteuid();
#else
    return info.isDir();
#endif
}

// A folder in a place where anybody may have put something of that name before us; empty where none can be
// made.
QString privateFolder(const QString &base)
{
    for (int i = 1; i <= numberedFolders; ++i) {
        const QString folder = i == 1 ? base : base + QLatin1Char('_') + QString::number(i);
        const bool isMade = QDir().mkdir(folder);
        if (!isMade && !QFileInfo::exists(folder) && !QFileInfo(folder).isSymLink())
            return {};
        if (isOwn(folder) && QFile::setPermissions(folder, ownerOnly) && QFileInfo(folder).isWritable())
            return folder + QLatin1Char('/');
    }
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    if (!shared.unique.startsWith(base) || !isOwn(shared.unique)) {
        QTemporaryDir made(base + QStringLiteral("_XXXXXX"));
        made.setAutoRemove(false);
        shared.unique = made.isValid() ? FileUtilities::FolderSlash(made.path()) : QString();
    }
    return shared.unique;
}

// On disk and kept when the system starts, unlike the temporary location of many systems.
QString dataBase()
{
    const QString location = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return location.isEmpty()
        ? QString()
        : FileUtilities::FolderSlash(location) + QStringLiteral("VarnholdToolkit/Recordings");
}

// For users without a home.
QString temporaryBase()
{
    QString base = FileUtilities::FolderSlash(QDir::tempPath()) + QStringLiteral("VarnholdToolkit");
#ifdef Q_OS_UNIX
    base += QLatin1Char('-') + QString::number(geteuid());
#endif
    return base;
}

QString replacementFolder()
{
    QString folder;
    const QString base = dataBase();
    if (!base.isEmpty() && FileUtilities::createIfNotExists(QFileInfo(base).path()))
        folder = privateFolder(base);
    return folder.isEmpty() ? privateFolder(temporaryBase()) : folder;
}

} // namespace

QString RecordingTempFile::wantedFolder()
{
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    return shared.wanted.isEmpty() ? defaultFolder() : shared.wanted;
}

void RecordingTempFile::setWantedFolder(const QString &folder)
{
    Registry &shared = registry();
    const QMutexLocker locker(&shared.mutex);
    shared.wanted = folder.isEmpty() ? QString() : FileUtilities::FolderSlash(QDir(folder).absolutePath());
}

QStringList RecordingTempFile::folders()
{
    QStringList found;
    QStringList seen; // canonical
    const auto add = [&](const QString &folder) {
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || seen.contains(canonical) || !isTrusted(folder))
            return;
        seen << canonical;
        found << FileUtilities::FolderSlash(folder);
    };
    add(wantedFolder());
    add(defaultFolder());
    for (const QString &base : {dataBase(), temporaryBase()}) {
        if (base.isEmpty())
            continue;
        const QFileInfo info(base);
        const QStringList names = QDir(info.path())
                                      .entryList({info.fileName(), info.fileName() + QStringLiteral("_*")},
                                          QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
        for (const QString &name : names) {
            const QString folder = info.path() + QLatin1Char('/') + name;
            if (isOwn(folder))
                add(folder);
        }
    }
    return found;
}

QString RecordingTempFile::usableFolder()
{
    QString wanted = wantedFolder();
    const Usable usable = tryFolder(wanted);
    if (usable == Usable::Yes)
        return wanted;
    QString replacement = replacementFolder();
    if (replacement.isEmpty())
        return wanted; // the writer fails there and says so
    bool tell = false;
    {
        Registry &shared = registry();
        const QMutexLocker locker(&shared.mutex);
        tell = shared.replacementTold != wanted;
        shared.replacementTold = wanted;
    }
    if (tell) {
        const QString text = usable == Usable::Strange
            ? QStringLiteral("The folder %1 belongs to another user, recordings grow in %2")
            : QStringLiteral("The folder %1 cannot be written, recordings grow in %2");
        writeConsole(text.arg(wanted, replacement));
    }
    return replacement;
}
