#include "recording/recordingdisks_p.h"

#include <QFileInfo>
#include <QStorageInfo>
#include <QtConcurrent>
#include <QThreadPool>

namespace {

constexpr int diskThreads = 8; // a disk that does not answer keeps one of them

// Never destroyed: at the end of the program it would wait for a disk that does not answer.
QThreadPool *diskPool()
{
    static QThreadPool *const pool = [] {
        auto *const made = new QThreadPool;
        made->setMaxThreadCount(diskThreads);
        return made;
    }();
    return pool;
}

} // namespace

RecordingDisks::RecordingDisks(std::function<void()> callback) : answered(std::move(callback))
{
    clock.start();
    QObject::connect(&looks, &QFutureWatcher<Look>::finished, &looks, [this] {
        if (!looks.isCanceled()) // as after forget()
            take(looks.result());
    });
    QObject::connect(&destinations, &QFutureWatcher<Disk>::finished, &destinations, [this] {
        if (!destinations.isCanceled())
            destination = destinations.result();
    });
}

RecordingDisks::Disk RecordingDisks::diskOf(const QString &folder)
{
    const QStorageInfo storage(folder);
    if (!storage.isValid() || !storage.isReady())
        return {};
    // Disks in memory and on networks share one device name.
    const bool hasDevice = storage.device().startsWith('/');
    return {storage.bytesAvailable(), hasDevice ? storage.device() : storage.rootPath().toUtf8()};
}

void RecordingDisks::ask(RecordingMeter::Sample next, const QString &file, const QString &destinationFolder)
{
    if (!destinations.isRunning())
        destinations.setFuture(QtConcurrent::run(diskPool(), diskOf, destinationFolder));
    if (looks.isRunning())
        return;
    next.nowMs = clock.elapsed();
    looks.setFuture(QtConcurrent::run(diskPool(), [next, file] {
        Look look{next, diskOf(QFileInfo(file).absolutePath())};
        const QFileInfo info(file);
        look.sample.fileBytes = info.exists() ? info.size() : -1;
        look.sample.freeTempBytes = look.disk.freeBytes;
        return look;
    }));
}

void RecordingDisks::take(const Look &look)
{
    sample = look.sample;
    if (destination.name != look.disk.name)
        sample.freeDestinationBytes = destination.freeBytes;
    answered();
}

void RecordingDisks::forget()
{
    looks.setFuture({});
    destinations.setFuture({});
    destination = Disk();
}
