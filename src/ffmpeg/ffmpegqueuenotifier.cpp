#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

// Empty for an empty path, which would otherwise stand for the current folder.
QString comparable(const QString &path)
{
    return path.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool uses(const FFMpegJob &job, const QString &wanted)
{
    const auto isWanted = [&](const QString &path) {
        return comparable(path).compare(wanted, Qt::CaseInsensitive) == 0;
    };
    return isWanted(job.source) || isWanted(job.audio) || isWanted(job.dest);
}

} // namespace

FFMpegQueueNotifier::FFMpegQueueNotifier(FFMpegQueue &owner) : queue(owner) { }

quint64 FFMpegQueueNotifier::appendJob(
    FFMpegJobType type, const QString &source, const QString &dest, const QString &audio)
{
    quint64 ticket = 0;
    {
        const QMutexLocker lock(&queue.mutex);
        ticket = ++queue.lastTicket;
        queue.jobs << FFMpegJob{source, audio, dest, type};
        queue.tickets << ticket;
    }
    queue.wake();
    return ticket;
}

bool FFMpegQueueNotifier::isPending(quint64 ticket) const
{
    const QMutexLocker lock(&queue.mutex);
    return ticket != 0 && (queue.currentTicket == ticket || queue.tickets.contains(ticket));
}

bool FFMpegQueueNotifier::usesFile(const QString &path) const
{
    const QString wanted = comparable(path);
    if (wanted.isEmpty())
        return false;
    const QMutexLocker lock(&queue.mutex);
    return (queue.currentTicket != 0 && uses(queue.currentJob, wanted))
        || std::any_of(
            queue.jobs.cbegin(), queue.jobs.cend(), [&](const FFMpegJob &job) { return uses(job, wanted); });
}
