#include "recording/frametimelog_p.h"

#include "recording/frametimelogformat_p.h"

#include <QDataStream>
#include <QDebug>

using namespace FrameTimeLogFormat;

namespace {

// A title is one line of text; a longer "line" is no title but a damaged file.
constexpr qint64 maximumTitleLength = 65536;

QByteArray serialized(qint64 value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return bytes;
}

} // namespace

FrameTimeLog::FrameTimeLog(const QString &path) : path(path), formatTag(tag), titleOffset(noTitle) { }

FrameTimeLog::~FrameTimeLog() = default;

bool FrameTimeLog::isOpen() const
{
    return file && file->isOpen();
}

void FrameTimeLog::open()
{
    file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadWrite)) {
        qWarning() << "FrameTimeLog: cannot open" << path << file->errorString();
        return;
    }
    if (file->size() < fileHeaderSize) {
        writeFileHeader();
    } else {
        std::array<quint32, 4> words;
        file->seek(0);
        if (readWords(*file, words)) {
            formatTag = words[0];
            recordCount = words[1];
            titleOffset = words[2];
            reserved = words[3];
        }
    }
    if (titleOffset != noTitle && file->seek(qint64(titleOffset) + recordHeaderSize))
        title = QString::fromUtf8(file->readLine(maximumTitleLength)).trimmed();
}

bool FrameTimeLog::writeFileHeader()
{
    return file->seek(0) && writeWords<4>(*file, {formatTag, recordCount, titleOffset, reserved});
}

bool FrameTimeLog::load()
{
    if (!file)
        open();
    if (!isOpen() || formatTag != tag)
        return false;
    // A forged count must not make us collect keys for nothing.
    if (recordCount > (file->size() - fileHeaderSize) / recordHeaderSize)
        return false;

    const bool clean = walk(*file, [this](qint64 position, RecordHeader record) {
        if (record.frameKey != freeSlot) {
            index[record.frameKey] = static_cast<quint32>(position);
            highestKey = qMax(highestKey, record.frameKey);
        }
        return quint32(index.size()) <= recordCount;
    });
    if (!clean)
        return false;
    qDebug() << "header count / read count =" << recordCount << "/" << index.size();
    return recordCount == quint32(index.size());
}

bool FrameTimeLog::write(quint32 key, const qint64 &value, bool overwrite)
{
    if (!isOpen() || key == freeSlot)
        return false;
    const auto known = index.constFind(key);
    if (known != index.constEnd() && !overwrite)
        return false;
    const QByteArray payload = serialized(value);
    if (payload.isEmpty())
        return false;

    qint64 position = file->size();
    if (position + recordHeaderSize + payload.size() > maximumFileSize)
        return false;
    RecordHeader record;
    if (known != index.constEnd()) {
        position = known.value();
        std::array<quint32, 2> words;
        if (!file->seek(position) || !readWords(*file, words))
            return false;
        record = {words[0], words[1]};
        if (position + recordHeaderSize + payload.size() > record.nextOffset) {
            file->seek(position);
            writeWords<2>(*file, {freeSlot, record.nextOffset});
            record.frameKey = freeSlot;
            position = file->size();
        }
    } else {
        ++recordCount;
        if (!writeFileHeader())
            return false;
    }
    if (record.frameKey == freeSlot) {
        record = {key, static_cast<quint32>(position + recordHeaderSize + payload.size())};
        highestKey = qMax(highestKey, key);
    }
    if (!file->seek(position) || !writeWords<2>(*file, {record.frameKey, record.nextOffset})
        || file->write(payload) != payload.size())
        return false;
    index[key] = static_cast<quint32>(position);
    // Handed to the system at once: a program that is killed leaves a log that reads to its last frame.
    return file->flush();
}

void FrameTimeLog::close(bool remove)
{
    if (file) {
        file->close();
        if (remove)
            file->remove();
        file.reset();
    }
    if (remove && QFile::exists(path))
        QFile::remove(path);
}
