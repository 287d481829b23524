#pragma once

#include <QFile>
#include <QtEndian>

#include <array>

/** The layout of a frame time log on disk, shared by the store that writes it and the reader for hosts. */
namespace FrameTimeLogFormat {

constexpr quint32 tag = 0x01010000;
constexpr quint32 freeSlot = 0xFFFFFFFF;
constexpr quint32 noTitle = 0xFFFFFFFF;
constexpr qint64 fileHeaderSize = 16;
constexpr qint64 recordHeaderSize = 8;
constexpr qint64 valueSize = 8;
constexpr qint64 maximumFileSize = 0xFFFFFFFF; // offsets have 32 bits

/** What stands in front of each payload. */
struct RecordHeader
{
    quint32 frameKey = freeSlot;
    quint32 nextOffset = 0;
};

/** Header words are little-endian whatever the machine is. */
template <std::size_t count> bool readWords(QFile &file, std::array<quint32, count> &words)
{
    if (file.read(reinterpret_cast<char *>(words.data()), sizeof words) != qint64(sizeof words))
        return false;
    for (quint32 &word : words)
        word = qFromLittleEndian(word);
    return true;
}

template <std::size_t count> bool writeWords(QFile &file, std::array<quint32, count> words)
{
    for (quint32 &word : words)
        word = qToLittleEndian(word);
    return file.write(reinterpret_cast<const char *>(words.data()), sizeof words) == qint64(sizeof words);
}

/**
 * Walks all records from the file's start on and calls \a visit(position, header) for each; the file stands
 * behind the record header then. Ends with false when \a visit returns false or at the first record that is
 * cut off or whose successor does not lie behind it: such files would otherwise send a reader round in
 * circles.
 */
template <typename Visitor> bool walk(QFile &file, Visitor visit)
{
    const qint64 size = file.size();
    qint64 position = fileHeaderSize;
    while (position < size) {
        std::array<quint32, 2> words;
        if (!file.seek(position) || !readWords(file, words))
            return false;
        const qint64 next = words[1];
        if (next < position + recordHeaderSize || next > size)
            return false;
        if (!visit(position, RecordHeader{words[0], words[1]}))
            return false;
        position = next;
    }
    return true;
}

} // namespace FrameTimeLogFormat
