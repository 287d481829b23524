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
constexpr int chunkCharacters = 128 * 1024;
constexpr auto writeMode = QIODevice::WriteOnly | QIODevice::Text;

bool isBlank(const QByteArray &line)
{
    for (const char c : line) {
        if (c != ' ' && c != '\t' && c != '\r')
            return false;
    }
    return true;
}

// Gathers text and gives it to a device in pieces that are worth a system call.
class TextSink
{
public:
    explicit TextSink(QIODevice *device) : device(device) { chunk.reserve(chunkCharacters); }

    void line(const QString &text)
    {
        if (chunk.size() + text.size() >= chunkCharacters)
            flush();
        chunk += text;
        chunk += QLatin1Char('\n');
    }

    // Bytes, since they need not be UTF-8.
    void lines(const QByteArrayList &bytes)
    {
        flush();
        for (const QByteArray &line : bytes)
            write(line + '\n');
    }

    bool flush()
    {
        write(chunk.toUtf8());
        chunk.resize(0); // keeps its memory
        return good;
    }

private:
    void write(const QByteArray &bytes) { good = good && device->write(bytes) == bytes.size(); }

    QIODevice *device;
    QString chunk;
    bool good = true;
};

} // namespace

FramedAnnotation::FramedAnnotation(const QString &path, QObject *parent) : QObject(parent), path(path) { }

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
    nextNumber = std::numeric_limits<qint64>::min();
    QByteArray pending; // the part of a line whose end is still to come
    QByteArray block(blockBytes, Qt::Uninitialized);
    bool first = true;
    const auto take = [this, &first](const char *begin, qint64 size) {
        QByteArray line = QByteArray::fromRawData(begin, int(size));
        if (first && line.startsWith("\xef\xbb\xbf"))
            line = line.mid(3);
        first = false;
        readLine(line.endsWith('\r') ? line.left(line.size() - 1) : line);
    };
    for (;;) {
        const qint64 size = device->read(block.data(), block.size());
        if (size < 0)
            return fail(tr("%1 cannot be read: %2").arg(path, device->errorString()));
        if (size == 0)
            break;
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
    bool whole = true;
    QByteArray owned;
    if (!record) {
        // A copy, since the bytes may be those of the reading buffer.
        owned = QByteArray(line.constData(), line.size());
        const QJsonDocument document = QJsonDocument::fromJson(line);
        const QJsonObject json = document.object();
        record = std::make_unique<FrameInfo>(json);
        const bool numbered = AnnotationLine::hasNumber(json);
        if (!numbered && (record->count() == 0 || find(record->getFrameNumber()))) {
            strayLines[nextNumber].append(owned);
            ++skippedLines;
            return;
        }
        whole = AnnotationLine::holdsAll(json);
    }
    const int number = record->getFrameNumber();
    nextNumber = qint64(number) + 1;
    const auto older = take(number);
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
    put(std::move(record));
}

FrameInfo *FramedAnnotation::frame(int number)
{
    if (!find(number))
        put(std::make_unique<FrameInfo>(number));
    return find(number);
}

FrameInfo *FramedAnnotation::find(int number) const
{
    return frames.value(number);
}

const QMap<int, FrameInfo *> &FramedAnnotation::getFrames() const
{
    return frames;
}

void FramedAnnotation::put(std::unique_ptr<FrameInfo> record)
{
    const int number = record->getFrameNumber();
    // The one before may be telling of a change right now.
    if (auto older = take(number)) {
        older->setParent(this);
        older.release()->deleteLater();
    }
    signFrame(record.get());
    frames.insert(number, record.release());
}

std::unique_ptr<FrameInfo> FramedAnnotation::take(int number)
{
    std::unique_ptr<FrameInfo> record(frames.take(number));
    if (record) {
        record->disconnect(this);
        lines.remove(number);
    }
    return record;
}

QByteArrayList FramedAnnotation::takeKeptLines(int number)
{
    return frameLines.take(number);
}

void FramedAnnotation::putKeptLines(int number, const QByteArrayList &lines)
{
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
    if (!file.open(writeMode))
        return fail(tr("%1 cannot be written: %2").arg(path, file.errorString()));
    return write(&file, false);
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
    lines[f->getFrameNumber()] = f->toJsonString();
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
    // The records keep their texts, so this looks at each but makes only those of changed ones. It does not
    // rely on signals: a host may have blocked them.
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
}

void FramedAnnotation::clear()
{
    qDeleteAll(frames);
    frames.clear();
    lines.clear();
    strayLines.clear();
    frameLines.clear();
    partlyRead.clear();
    skippedLines = 0;
    error.clear();
}

bool FramedAnnotation::write(QFileDevice *file, bool rebuild)
{
    if (!autoSave || rebuild || lines.size() != frames.size())
        rebuildLines();
    TextSink sink(file);
    auto stray = strayLines.cbegin();
    auto kept = frameLines.cbegin();
    const auto writeUpTo = [&sink](qint64 number, auto *at, const auto &map) {
        for (; *at != map.cend() && at->key() <= number; ++*at)
            sink.lines(at->value());
    };
    for (auto line = lines.cbegin(); line != lines.cend(); ++line) {
        writeUpTo(line.key(), &stray, strayLines);
        writeUpTo(line.key(), &kept, frameLines);
        sink.line(*line);
    }
    writeUpTo(std::numeric_limits<qint64>::max(), &kept, frameLines);
    writeUpTo(std::numeric_limits<qint64>::max(), &stray, strayLines);
    // Little content waits in a buffer, so only the flush tells whether the disk has taken it.
    if (!sink.flush() || !file->flush())
        return fail(tr("%1 cannot be written: %2").arg(path, file->errorString()));
    error.clear();
    return true;
}

bool FramedAnnotation::fail(const QString &reason)
{
    error = reason;
    return false;
}
