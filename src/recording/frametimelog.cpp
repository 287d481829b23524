#include "recording/frametimelog_p.h"

#include "common/console_p.h"
#include "recording/frametimelogformat_p.h"
#include "recording/wholewrite_p.h"

#include <QDebug>

using namespace FrameTimeLogFormat;

namespace {

// A title is one line of text; a longer "line" is no title but a damaged file.
constexpr qint64 maximumTitleLength = 65536;

} // namespace

FrameTimeLog::FrameTimeLog(const QString &path) : path(path), formatTag(tag), titleOffset(noTitle) { }

FrameTimeLog::~FrameTimeLog() = default;

bool FrameTimeLog::isOpen() const
{
    return file && file->isOpen();
}

// A fresh file must not inherit the count and the offsets of a damaged one.
void FrameTimeLog::forget()
{
    index.clear();
    highestKey = 0;
    formatTag = tag;
    recordCount = 0;
    titleOffset = noTitle;
    reserved = 0;
    title.clear();
    end = 0;
    failed = false;
}

bool FrameTimeLog::fail(const QString &reason)
{
    failed = true;
    if (!isFailureTold)
        writeConsole(QStringLiteral("Frame time log %1 ends after %2 frames: %3")
                         .arg(path, QString::number(recordCount), reason));
    isFailureTold = true;
    return false;
}

void FrameTimeLog::open()
{
    forget();
    file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        fail(file->errorString());
        return;
    }
    end = file->size();
    if (end < fileHeaderSize) {
        end = fileHeaderSize;
        if (!writeFileHeader())
            fail(file->errorString());
    } else {
        std::array<quint32, 4> words;
        if (readWords(*file, words)) {
            formatTag = words[0];
            recordCount = words[1];
            titleOffset = words[2];
            reserved = words[3];
        }
    }
    if (titleOffset != noTitle && file->seek(qint64(titleOffset) + recordHeaderSize)) {
        // In one piece: without a buffer, readLine() asks the system for each character.
        QByteArray line = file->read(maximumTitleLength);
        const int lineEnd = line.indexOf('\n');
        if (lineEnd >= 0)
            line.truncate(lineEnd);
        if (line.endsWith('\r'))
            line.chop(1);
        title = QString::fromUtf8(line);
    }
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
    if (recordCount > (end - fileHeaderSize) / recordHeaderSize)
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
    if (!isOpen() || failed || key == freeSlot)
        return false;
    const auto known = index.constFind(key);
    if (known == index.constEnd())
        return append(key, value, true);
    if (!overwrite)
        return false;

    const qint64 position = known.value();
    std::array<quint32, 2> words;
    if (!file->seek(position) || !readWords(*file, words))
        return fail(file->errorString());
    if (position + recordHeaderSize + valueSize <= words[1])
        return writeRecord(position, key, words[1], &value) || fail(file->errorString());
    // Freed after the move, not before: the value must not be lost where it cannot be moved.
    if (!append(key, value, false))
        return false;
    return writeRecord(position, freeSlot, words[1], nullptr) || fail(file->errorString());
}

bool FrameTimeLog::append(quint32 key, qint64 value, bool isNew)
{
    const qint64 position = end;
    const qint64 next = position + recordHeaderSize + valueSize;
    if (next > maximumFileSize)
        return fail(QStringLiteral("it has reached 4 GiB"));
    bool written = writeRecord(position, key, static_cast<quint32>(next), &value);
    if (written && isNew) {
        ++recordCount;
        written = writeFileHeader();
        if (!written)
            --recordCount;
    }
    if (!written) {
        const QString reason = file->errorString();
        file->resize(position); // a full disk takes part of a record; making a file shorter needs no space
        return fail(reason);
    }
    end = next;
    highestKey = qMax(highestKey, key);
    index[key] = static_cast<quint32>(position);
    return true;
}

// In one call to the system, so that a kill does not find half a record. Without a value only the header.
bool FrameTimeLog::writeRecord(qint64 position, quint32 key, quint32 nextOffset, const qint64 *value)
{
    std::array<char, recordHeaderSize + valueSize> bytes;
    qToLittleEndian(key, bytes.data());
    qToLittleEndian(nextOffset, bytes.data() + sizeof key);
    if (value)
        qToBigEndian(*value, bytes.data() + recordHeaderSize); // as QDataStream has it
    const qint64 size = value ? qint64(bytes.size()) : recordHeaderSize;
    return file->seek(position) && writeWhole(*file, bytes.data(), size);
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
    if (remove)
        forget();
}
