#include "recording/frametimelogreader.h"

#include "recording/frametimelogformat_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <algorithm>
#include <iterator>

using namespace FrameTimeLogFormat;

namespace {

// More than a month at 30 Hz, and still within what one QVector can hold.
constexpr int maximumFrames = 100'000'000;
constexpr quint32 maximumKey = freeSlot - 1;
constexpr qint64 maximumResultSize = 1 << 20; // far above what a recorder writes

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(FrameTimeLogReader)
};

bool byFrameNumber(const FrameTimeLogReader::Entry &a, const FrameTimeLogReader::Entry &b)
{
    return a.frame < b.frame;
}

bool earlier(const FrameTimeLogReader::Entry &a, const FrameTimeLogReader::Entry &b)
{
    return a.timeMs != b.timeMs ? a.timeMs < b.timeMs : a.frame < b.frame;
}

// An inserted frame has the time 0, and so has the first frame of all.
bool isMarkOfInsertion(const FrameTimeLogReader::Entry &entry)
{
    return entry.timeMs == 0 && entry.frame > 0;
}

// The number that the log has for the first frame of a video that was cut; 0 without a result file.
qint64 logShiftIn(const QString &resultPath)
{
    QFile file(resultPath);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QJsonObject result = QJsonDocument::fromJson(file.read(maximumResultSize)).object();
    const double shift = result.value(QLatin1String("logShift")).toDouble();
    return shift >= 0 && shift <= maximumKey ? qint64(shift) : 0;
}

// Of several records of one frame the last written counts.
void keepNewest(QVector<FrameTimeLogReader::Entry> &entries)
{
    std::stable_sort(entries.begin(), entries.end(), byFrameNumber);
    int kept = 0;
    for (int i = 0; i < entries.size(); ++i) {
        if (i + 1 == entries.size() || entries[i + 1].frame != entries[i].frame)
            entries[kept++] = entries[i];
    }
    entries.resize(kept);
}

} // namespace

bool FrameTimeLogReader::fail(const QString &reason)
{
    byFrame.clear();
    byTime.clear();
    error = reason;
    return false;
}

bool FrameTimeLogReader::open(const QString &path, Damage damage)
{
    fail(QString());
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    std::array<quint32, 4> header;
    if (!readWords(file, header) || header[0] != tag)
        return fail(Text::tr("This is no frame time log."));
    const quint32 recordCount = header[1];
    const bool salvage = damage == Damage::Salvage;
    if (!salvage && recordCount > (file.size() - fileHeaderSize) / (recordHeaderSize + valueSize))
        return fail(Text::tr("The log is cut off."));

    bool foreign = false;
    const bool clean = walk(file, [&](qint64 position, RecordHeader record) {
        if (record.frameKey == freeSlot || position == qint64(header[2]))
            return true;
        qint64 bigEndian = 0;
        foreign = byFrame.size() == maximumFrames
            || record.nextOffset - position - recordHeaderSize < valueSize
            || file.read(reinterpret_cast<char *>(&bigEndian), valueSize) != valueSize;
        if (foreign)
            return false;
        byFrame.append({record.frameKey, qFromBigEndian(bigEndian)});
        return true;
    });
    if (!clean && !salvage)
        return fail(
            foreign ? Text::tr("The log holds a record that is no time.") : Text::tr("The log is damaged."));
    keepNewest(byFrame);
    if (!salvage && quint32(byFrame.size()) != recordCount)
        return fail(Text::tr("The log holds another number of frames than its header tells."));
    if (salvage && byFrame.isEmpty())
        return fail(Text::tr("The log holds no whole record."));
    std::copy_if(byFrame.cbegin(), byFrame.cend(), std::back_inserter(byTime),
        [](const Entry &entry) { return !isMarkOfInsertion(entry); });
    std::sort(byTime.begin(), byTime.end(), earlier);
    return true;
}

std::function<qint64(int)> FrameTimeLogReader::timesBeside(const QString &videoPath, int firstFrame)
{
    const QFileInfo video(videoPath);
    const auto beside = [&video](const char *suffix) {
        return video.dir().filePath(video.completeBaseName() + QLatin1String(suffix));
    };
    FrameTimeLogReader log;
    if (!log.open(beside(".log"), Damage::Salvage))
        return {};
    const qint64 shift = firstFrame == AsRecorded ? logShiftIn(beside(".json")) : firstFrame;
    return [log, shift](int frame) -> qint64 {
        const qint64 number = frame + shift;
        if (frame < 0 || number < 0 || number > maximumKey || log.isInserted(quint32(number)))
            return -1;
        return log.timeOf(quint32(number));
    };
}

QString FrameTimeLogReader::errorString() const
{
    return error;
}

int FrameTimeLogReader::count() const
{
    return byFrame.size();
}

const QVector<FrameTimeLogReader::Entry> &FrameTimeLogReader::entries() const
{
    return byFrame;
}

qint64 FrameTimeLogReader::timeOf(quint32 frame, bool *ok) const
{
    const auto found = std::lower_bound(byFrame.cbegin(), byFrame.cend(), Entry{frame, 0}, byFrameNumber);
    const bool known = found != byFrame.cend() && found->frame == frame;
    if (ok)
        *ok = known;
    return known ? found->timeMs : -1;
}

bool FrameTimeLogReader::isInserted(quint32 frame) const
{
    return frame > 0 && timeOf(frame) == 0;
}

qint64 FrameTimeLogReader::frameAt(qint64 timeMs) const
{
    const auto after = std::upper_bound(byTime.cbegin(), byTime.cend(), Entry{0xFFFFFFFF, timeMs}, earlier);
    return after == byTime.cbegin() ? -1 : qint64((after - 1)->frame);
}

QVector<FrameTimeLogReader::Gap> FrameTimeLogReader::gaps(qint64 thresholdMs) const
{
    QVector<Gap> found;
    const Entry *last = nullptr;
    for (const Entry &entry : byFrame) {
        if (last && entry.timeMs < last->timeMs)
            continue;
        if (last && entry.timeMs - last->timeMs > thresholdMs)
            found.append({last->frame, entry.frame, last->timeMs, entry.timeMs - last->timeMs});
        last = &entry;
    }
    return found;
}

QString FrameTimeLogReader::toCsv() const
{
    QString csv = QStringLiteral("frame,time_ms\n");
    csv.reserve(csv.size() + 16 * byFrame.size());
    for (const Entry &entry : byFrame)
        csv += QString::number(entry.frame) + QLatin1Char(',') + QString::number(entry.timeMs)
            + QLatin1Char('\n');
    return csv;
}

bool FrameTimeLogReader::writeCsv(const QString &path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray bytes = toCsv().toUtf8();
    // commit() alone does not notice a full disk while the text fits its buffer.
    if (file.write(bytes) != bytes.size() || !file.flush())
        file.cancelWriting();
    return file.commit();
}
