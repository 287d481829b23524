#include "playback/framedannotation_p.h"

#include "playback/annotationline_p.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <cstring>
#include <limits>

namespace {

constexpr int maxLineBytes = 16 * 1024 * 1024;
constexpr int blockBytes = 1024 * 1024;
constexpr qint64 maxFileBytes = 1024 * 1024 * 1024; // a QByteArray ends at 2 GiB, and memory before that
constexpr int blockRecords = 2048;
constexpr qint64 lowest = std::numeric_limits<qint64>::min();
constexpr auto writeMode = QIODevice::WriteOnly | QIODevice::Text;

bool isBlank(const QByteArray &line)
{
    for (const char c : line) {
        if (c != ' ' && c != '\t' && c != '\r')
            return false;
    }
    return true;
}

} // namespace

FramedAnnotation::FramedAnnotation(const QString &path, QObject *parent) : QObject(parent), path(path)
{
    clear();
}

FramedAnnotation::~FramedAnnotation()
{
    clear();
}

bool FramedAnnotation::load()
{
    clear();
    const QFileInfo info(path);
    canSave = !info.exists() && !info.isSymLink();
    if (canSave)
        return true;
    QFile file(path);
    // Opening a pipe or a device could wait for ever.
    if (!info.isFile())
        return fail(tr("%1 is no file").arg(path));
    if (!file.open(QFile::ReadOnly))
        return fail(tr("%1 cannot be read: %2").arg(path, file.errorString()));
    canSave = read(&file);
    return canSave;
}

bool FramedAnnotation::read(QIODevice *device)
{
    nextNumber = lowest;
    qint64 total = 0;
    QByteArray pending; // the part of a line whose end is still to come
    const qint64 expected = device->isSequential() ? blockBytes : device->size() - device->pos() + 1;
    QByteArray block(int(qBound<qint64>(1, expected, blockBytes)), Qt::Uninitialized);
    const auto take = [this](const char *begin, qint64 size) {
        QByteArray line = QByteArray::fromRawData(begin, int(size));
        // Not at the start alone: files get joined.
        while (line.startsWith("\xef\xbb\xbf"))
            line = line.mid(3);
        readLine(line.endsWith('\r') ? line.left(line.size() - 1) : line);
    };
    for (;;) {
        const qint64 size = device->read(block.data(), block.size());
        if (size < 0)
            return fail(tr("%1 cannot be read: %2").arg(path, device->errorString()));
        if (size == 0)
            break;
        total += size;
        if (total > maxFileBytes)
            return fail(tr("%1 is larger than 1 GiB").arg(path));
        const char *at = block.constData();
        const char *const end = at + size;
        while (at != end) {
            const char *const lineEnd =
                static_cast<const char *>(std::memchr(at, '\n', std::size_t(end - at)));
            const qint64 part = (lineEnd ? lineEnd : end) - at;
            if (pending.size() + part > maxLineBytes)
                return fail(tr("%1 has a line of more than 16 MiB").arg(path));
            if (!lineEnd || !pending.isEmpty())
                pending.append(at, int(part));
            if (!lineEnd)
                break;
            if (pending.isEmpty())
                take(at, part);
            else
                take(pending.constData(), pending.size());
            pending.clear();
            at = lineEnd + 1;
        }
    }
    if (!pending.isEmpty())
        take(pending.constData(), pending.size());
    partlyRead.clear();
    error.clear();
    return true;
}

void FramedAnnotation::readLine(const QByteArray &line)
{
    if (isBlank(line))
        return;
    std::unique_ptr<FrameInfo> record = AnnotationLine::readPlain(line);
    const bool plain = record != nullptr;
    bool whole = true;
    QByteArray owned;
    if (!plain) {
        // A copy, since the bytes may be those of the reading buffer.
        owned = QByteArray(line.constData(), line.size());
        const QJsonDocument document = QJsonDocument::fromJson(line);
        const QJsonObject json = document.object();
        record = std::make_unique<FrameInfo>(json);
        const bool numbered = AnnotationLine::hasNumber(json);
        if (!numbered && (record->count() == 0 || find(record->getFrameNumber()))) {
            strayLines[nextNumber].append(owned);
            blockOf(nextNumber).changed = true;
            ++skippedLines;
            return;
        }
        whole = AnnotationLine::holdsAll(json);
    }
    const int number = record->getFrameNumber();
    nextNumber = qint64(number) + 1;
    const bool sorted = frames.isEmpty() || frames.lastKey() < number;
    const auto older = sorted ? nullptr : take(number);
    if (older && !older->equals(*record) && !partlyRead.contains(number)) {
        frameLines[number].append(older->toJsonString().toUtf8());
        ++skippedLines;
    }
    partlyRead.remove(number);
    if (!whole) {
        frameLines[number].append(owned);
        partlyRead.insert(number);
        ++skippedLines;
    }
    if (sorted)
        append(std::move(record), plain ? line : QByteArray());
    else
        put(std::move(record));
}

void FramedAnnotation::append(std::unique_ptr<FrameInfo> record, const QByteArray &line)
{
    const int number = record->getFrameNumber();
    auto last = std::prev(blocks.end());
    if (last->second.records >= blockRecords)
        last = blocks.emplace_hint(blocks.end(), number, Block());
    if (last->second.bytes.isEmpty())
        last->second.bytes.reserve(
            int(qMin<qint64>(qint64(blockRecords) * (line.size() + line.size() / 8 + 1), blockBytes)));
    Block &block = last->second;
    block.changed = block.changed || strayLines.contains(number);
    ++block.records;
    if (line.isNull())
        block.changed = true;
    else
        block.bytes.append(line).append('\n');
    // It is signed as soon as anybody can get hold of it; before, it cannot change.
    lines.insert(lines.cend(), number, record->toJsonString());
    frames.insert(frames.cend(), number, record.release());
}

FrameInfo *FramedAnnotation::frame(int number)
{
    if (!find(number))
        put(std::make_unique<FrameInfo>(number));
    return find(number);
}

FrameInfo *FramedAnnotation::find(int number)
{
    FrameInfo *const record = frames.value(number);
    if (record && !record->changeMark)
        signFrame(record);
    return record;
}

QList<int> FramedAnnotation::getFrames() const
{
    return frames.keys();
}

QStringList FramedAnnotation::getNames(FrameInfo::InfoDataType type) const
{
    QSet<QString> found;
    for (FrameInfo *const record : frames) {
        const QStringList names = record->getNames(type);
        for (const QString &name : names)
            found.insert(name);
    }
    QStringList names = found.values();
    names.sort();
    return names;
}

void FramedAnnotation::put(std::unique_ptr<FrameInfo> record)
{
    const int number = record->getFrameNumber();
    // The one before may be telling of a change right now.
    if (auto older = take(number)) {
        older->setParent(this);
        older.release()->deleteLater();
    }
    ++blockOf(number).records;
    signFrame(record.get());
    frames.insert(number, record.release());
}

std::unique_ptr<FrameInfo> FramedAnnotation::take(int number)
{
    std::unique_ptr<FrameInfo> record(frames.take(number));
    if (record) {
        record->disconnect(this);
        record->changeMark = nullptr;
        lines.remove(number);
        Block &block = blockOf(number);
        --block.records;
        block.changed = true;
    }
    return record;
}

QByteArrayList FramedAnnotation::takeKeptLines(int number)
{
    blockOf(number).changed = true;
    return frameLines.take(number);
}

void FramedAnnotation::putKeptLines(int number, const QByteArrayList &lines)
{
    blockOf(number).changed = true;
    if (!lines.isEmpty())
        frameLines.insert(number, lines);
}

bool FramedAnnotation::hasKeptLines(int number) const
{
    return frameLines.contains(number);
}

QString FramedAnnotation::getPath() const
{
    return path;
}

void FramedAnnotation::setAutoSave(bool value)
{
    autoSave = value;
}

void FramedAnnotation::setCanSave(bool value)
{
    canSave = value;
}

int FramedAnnotation::getSkippedLines() const
{
    return skippedLines;
}

QString FramedAnnotation::getError() const
{
    return error;
}

bool FramedAnnotation::saveInPlace()
{
    if (!canSave)
        return fail(tr("%1 was not read whole, so it stays as it is").arg(path));
    QFile file(path);
    // Over what is there: most of it is the same, the disk has room for it, and no page has to be found anew.
    // Not where line ends change on their way, since the place of the end is not known then.
#ifdef Q_OS_WIN
    constexpr bool goesOver = false;
#else
    constexpr bool goesOver = true;
#endif
    if (!(goesOver && file.open(QIODevice::ReadWrite | QIODevice::Text)) && !file.open(writeMode))
        return fail(tr("%1 cannot be written: %2").arg(path, file.errorString()));
    if (!write(&file, false))
        return false;
    return !goesOver || file.resize(file.pos())
        || fail(tr("%1 cannot be written: %2").arg(path, file.errorString()));
}

bool FramedAnnotation::saveAtomically()
{
    if (!canSave)
        return fail(tr("%1 was not read whole, so it stays as it is").arg(path));
    QSaveFile file(path);
    if (!file.open(writeMode))
        return fail(tr("%1 cannot be written: %2").arg(path, file.errorString()));
    if (!write(&file, false)) {
        file.cancelWriting();
        return false;
    }
    return file.commit() || fail(tr("%1 cannot be written: %2").arg(path, file.errorString()));
}

void FramedAnnotation::save(bool rebuild)
{
    QFile file(path);
    if (canSave && file.open(writeMode))
        write(&file, rebuild);
}

void FramedAnnotation::frameInfoChanged(int frame)
{
    if (lines.size() != frames.size())
        rebuildLines();
    else if (FrameInfo *record = find(frame))
        lines[frame] = record->toJsonString();
    if (autoSave)
        save(false);
}

void FramedAnnotation::signFrame(FrameInfo *f)
{
    disconnect(f, nullptr, this, nullptr);
    Block &block = blockOf(f->getFrameNumber());
    block.changed = block.changed || lines.value(f->getFrameNumber()) != f->toJsonString();
    lines[f->getFrameNumber()] = f->toJsonString();
    f->changeMark = &block.changed;
    connect(f, &FrameInfo::somethingChanged, this, &FramedAnnotation::frameInfoChanged);
    // Behind the slot, so that who hears of a change finds its line and its file as they are to be.
    connect(f, &FrameInfo::somethingChanged, this, &FramedAnnotation::somethingChanged);
    connect(f, &FrameInfo::percentChanged, this, &FramedAnnotation::percentChanged);
    connect(f, &FrameInfo::valueChanged, this, &FramedAnnotation::valueChanged);
    connect(f, &FrameInfo::rectChanged, this, &FramedAnnotation::rectChanged);
    connect(f, &FrameInfo::commentChanged, this, &FramedAnnotation::commentChanged);
}

void FramedAnnotation::rebuildLines()
{
    // The records keep their texts, so only those of changed ones are made.
    auto line = lines.begin();
    for (auto it = frames.cbegin(); it != frames.cend(); ++it) {
        while (line != lines.end() && line.key() < it.key())
            line = lines.erase(line);
        if (line != lines.end() && line.key() == it.key()) {
            *line = it.value()->toJsonString();
        } else {
            signFrame(it.value());
            line = lines.find(it.key());
        }
        ++line;
    }
    while (line != lines.end())
        line = lines.erase(line);
    for (auto &block : blocks)
        block.second.changed = true;
}

FramedAnnotation::Block &FramedAnnotation::blockOf(qint64 number)
{
    return std::prev(blocks.upper_bound(number))->second;
}

void FramedAnnotation::build(Blocks::iterator at)
{
    const auto after = std::next(at);
    const qint64 end = after == blocks.end() ? std::numeric_limits<qint64>::max() : after->first;
    const qint64 begin = at->first;
    auto stray = strayLines.lowerBound(begin);
    auto kept = frameLines.lowerBound(begin);
    QByteArray bytes;
    bytes.reserve(at->second.bytes.size());
    const auto addUpTo = [&bytes](qint64 number, auto *from, const auto &map) {
        for (; *from != map.end() && from->key() <= number; ++*from) {
            for (const QByteArray &line : from->value())
                bytes.append(line).append('\n');
        }
    };
    Block *block = &at->second;
    const auto finish = [&block, &bytes](int records) {
        block->bytes = bytes;
        block->records = records;
        block->changed = false;
    };
    int records = 0;
    const bool fromStart = begin < std::numeric_limits<int>::min();
    auto line = fromStart ? lines.begin() : lines.lowerBound(int(begin));
    for (auto it = fromStart ? frames.cbegin() : qAsConst(frames).lowerBound(int(begin));
         it != frames.cend() && it.key() < end; ++it) {
        if (records == 2 * blockRecords) {
            addUpTo(it.key() - qint64(1), &kept, frameLines);
            addUpTo(it.key() - qint64(1), &stray, strayLines);
            finish(records);
            block = &blocks.emplace_hint(after, it.key(), Block())->second;
            bytes.clear();
            records = 0;
        }
        FrameInfo *const record = it.value();
        if (record->changeMark)
            record->changeMark = &block->changed;
        addUpTo(it.key(), &stray, strayLines);
        addUpTo(it.key(), &kept, frameLines);
        while (line != lines.end() && line.key() < it.key())
            ++line;
        if (line == lines.end() || line.key() != it.key())
            line = lines.insert(it.key(), QString());
        *line = record->toJsonString();
        bytes.append(line->toUtf8()).append('\n');
        ++records;
    }
    addUpTo(end - 1, &kept, frameLines);
    addUpTo(end - 1, &stray, strayLines);
    finish(records);
}

void FramedAnnotation::clear()
{
    qDeleteAll(frames);
    frames.clear();
    lines.clear();
    blocks.clear();
    blocks.emplace(lowest, Block());
    strayLines.clear();
    frameLines.clear();
    partlyRead.clear();
    skippedLines = 0;
    error.clear();
}

bool FramedAnnotation::write(QFileDevice *file, bool rebuild)
{
    if (rebuild || lines.size() != frames.size())
        rebuildLines();
    // Whatever has changed, and even with blocked signals, stands in a marked block, so the other lines are
    // those that would be made. With autoSave too, since a change that nobody heard of must not be lost.
    bool good = true;
    for (auto block = blocks.begin(); good && block != blocks.end(); ++block) {
        if (block->second.changed)
            build(block);
        const QByteArray &bytes = block->second.bytes;
        good = file->write(bytes) == bytes.size();
    }
    // Little content waits in a buffer, so only the flush tells whether the disk has taken it.
    if (!good || !file->flush())
        return fail(tr("%1 cannot be written: %2").arg(path, file->errorString()));
    error.clear();
    return true;
}

bool FramedAnnotation::fail(const QString &reason)
{
    error = reason;
    return false;
}
