#include "recover.h"

#include "console.h"
#include "interrupts.h"
#include "options.h"

#include <RecordingRecovery>

#include <QDir>
#include <QLocale>

#include <algorithm>

namespace {

bool goesOn(double done)
{
    Console::progress(QStringLiteral("%1 %").arg(qRound(100.0 * done)));
    return Interrupts::count() == 0;
}

// Our own folders are no secret of the library's, so they are asked one by one.
QList<RecordingRecovery::Set> findSets(const Options &options)
{
    QStringList folders{QString(), options.temp};
    if (!options.recoverTo.isEmpty())
        folders << options.recoverTo + QStringLiteral("/.vt-record");
    QList<RecordingRecovery::Set> sets;
    for (const QString &folder : qAsConst(folders)) {
        const QList<RecordingRecovery::Set> found = RecordingRecovery::list(folder);
        for (const RecordingRecovery::Set &set : found) {
            const bool isKnown = std::any_of(sets.cbegin(), sets.cend(),
                [&](const RecordingRecovery::Set &known) { return known.files() == set.files(); });
            if (!isKnown)
                sets << set;
        }
    }
    return sets;
}

void tell(const RecordingRecovery::Set &set, const RecordingRecovery::Contents &contents)
{
    Console::result(set.videoPath.isEmpty() ? set.folder + set.name : set.videoPath);
    Console::result(
        QStringLiteral("  %1 frames, %2 s at %3 Hz, %4x%5, %6 records in the log, %7, %8")
            .arg(qMax<qint64>(0, contents.frames))
            .arg(contents.lengthS)
            .arg(contents.rateHz)
            .arg(contents.size.width())
            .arg(contents.size.height())
            .arg(contents.logRecords)
            .arg(QLocale::c().formattedDataSize(set.bytes), set.lastWritten.toString(Qt::ISODate)));
}

// A name in the folder that no file has, whatever its suffix.
QString freePath(const QDir &folder, const QString &name)
{
    QString free = name;
    for (int i = 2; !folder.entryList({free + QStringLiteral(".*")}, QDir::Files | QDir::Hidden).isEmpty();
         ++i)
        free = name + QLatin1Char('_') + QString::number(i);
    return folder.filePath(free + QStringLiteral(".mkv"));
}

} // namespace

int recover(const Options &options)
{
    int left = 0;
    const QList<RecordingRecovery::Set> sets = findSets(options);
    if (sets.isEmpty())
        Console::result(QStringLiteral("no recording was left in a temporary folder"));
    for (const RecordingRecovery::Set &set : sets) {
        if (options.recoverTo.isEmpty()) {
            tell(set, RecordingRecovery::inspect(set, goesOn).contents);
        } else {
            const QString path = freePath(QDir(options.recoverTo), set.name);
            const RecordingRecovery::Result result = RecordingRecovery::deliver(set, path, goesOn);
            tell(set, result.contents);
            Console::result(result.ok ? QStringLiteral("  delivered to ") + path
                                      : QStringLiteral("  stays where it is. ") + result.reason);
            if (result.ok && !result.reason.isEmpty())
                Console::fault(result.reason);
            left += !result.ok;
        }
        if (Interrupts::count() > 0)
            return Interrupts::exitCode();
    }
    if (left > 0)
        Console::fault(
            QStringLiteral("%1 of %2 recordings could not be delivered").arg(left).arg(sets.size()));
    return left > 0 ? 1 : 0;
}
