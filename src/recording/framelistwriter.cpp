#include "recording/framelistwriter_p.h"

#include "common/console_p.h"
#include "recording/framelistformat_p.h"
#include "recording/wholewrite_p.h"

#include <charconv>
#include <cmath>

namespace {

constexpr int lineSize = 256; // longer than most lines

template <typename Number> void appendNumber(QByteArray &line, Number number)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    line.append(digits.data(), int(end - digits.data()));
}

void appendMilliseconds(QByteArray &line, double timeMs)
{
    if (!(std::abs(timeMs) < 1e12)) // not a number included
        return;
    const qint64 us = std::llround(timeMs * 1000);
    if (us < 0)
        line += '-';
    appendNumber(line, std::abs(us) / 1000);
    const qint64 fraction = std::abs(us) % 1000;
    line += '.';
    line += char('0' + fraction / 100);
    line += char('0' + fraction / 10 % 10);
    line += char('0' + fraction % 10);
}

// As RFC 4180 has it; line ends become blanks, so that a frame stays a line.
QByteArray quoted(const QString &text)
{
    QByteArray field = text.toUtf8();
    field.replace('\r', ' ').replace('\n', ' ');
    if (!field.contains(',') && !field.contains('"'))
        return field;
    return '"' + field.replace("\"", "\"\"") + '"';
}

} // namespace

void FrameListWriter::fail(const QString &reason)
{
    failed = true;
    writeConsole(QStringLiteral("List of frames %1 ends after %2 frames: %3")
                     .arg(file.fileName(), QString::number(lines), reason));
}

bool FrameListWriter::open()
{
    end = 0;
    lines = 0;
    failed = false;
    line.reserve(lineSize);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        fail(file.errorString());
    else
        append(QByteArray(FrameListFormat::header) + '\n');
    return !failed;
}

bool FrameListWriter::append(const QByteArray &bytes)
{
    if (!writeWhole(file, bytes.constData(), bytes.size())) {
        const QString reason = file.errorString();
        file.resize(end); // a full disk takes part of a line
        fail(reason);
        return false;
    }
    end += bytes.size();
    return true;
}

void FrameListWriter::add(quint64 frame, double timeMs, Source source, const FrameStamp &stamp)
{
    if (failed || !file.isOpen())
        return;
    if (stamp.camera != camera) {
        camera = stamp.camera;
        quotedCamera = quoted(camera);
    }
    line.resize(0); // clear() would give the memory back
    appendNumber(line, frame);
    line += ',';
    appendMilliseconds(line, timeMs);
    line += ',';
    line += FrameListFormat::sources[size_t(source)];
    line += ',';
    if (stamp.timeUs >= 0)
        appendNumber(line, stamp.timeUs);
    line += ',';
    if (stamp.sequence >= 0)
        appendNumber(line, stamp.sequence);
    line += ',';
    line += quotedCamera;
    line += '\n';
    if (append(line))
        ++lines;
}

void FrameListWriter::close(bool remove)
{
    file.close();
    if (remove)
        file.remove();
}
