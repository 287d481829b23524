#include "ffmpeg/ffmpegqueuenotifier_p.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <utility>

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

FFMpegQueueNotifier::FFMpegQueueNotifier(FFMpegQueue &owner) : queue(owner)
{
    qRegisterMetaType<FFMpegJobVerdict>("FFMpegJobVerdict");
}

quint64 FFMpegQueueNotifier::appendJob(FFMpegJobType type, const QString &source, const QString &dest,
    const QString &audio, std::shared_ptr<void> held)
{
    quint64 ticket = 0;
    {
        const QMutexLocker lock(&queue.mutex);
        ticket = ++queue.lastTicket;
        queue.jobs << FFMpegJob{source, audio, dest, type, {}};
        queue.tickets << FFMpegQueue::Ticket{ticket, std::move(held)};
    }
    queue.wake();
    return ticket;
}

bool FFMpegQueueNotifier::isPending(quint64 ticket) const
{
    const QMutexLocker lock(&queue.mutex);
    return ticket != 0
        && (queue.currentTicket.number == ticket
            || std::any_of(queue.tickets.cbegin(), queue.tickets.cend(),
                [=](const FFMpegQueue::Ticket &waiting) { return waiting.number == ticket; }));
}

quint64 FFMpegQueueNotifier::currentTicket() const
{
    const QMutexLocker lock(&queue.mutex);
    return queue.currentTicket.number;
}

bool FFMpegQueueNotifier::isBusy() const
{
    const QMutexLocker lock(&queue.mutex);
    return queue.currentTicket.number != 0 || !queue.jobs.isEmpty();
}

bool FFMpegQueueNotifier::cancel(quint64 ticket)
{
    return queue.cancel(ticket);
}

bool FFMpegQueueNotifier::usesFile(const QString &path) const
{
    const QString wanted = comparable(path);
    if (wanted.isEmpty())
        return false;
    const QMutexLocker lock(&queue.mutex);
    return (queue.currentTicket.number != 0 && uses(queue.currentJob, wanted))
        || std::any_of(
            queue.jobs.cbegin(), queue.jobs.cend(), [&](const FFMpegJob &job) { return uses(job, wanted); });
}
