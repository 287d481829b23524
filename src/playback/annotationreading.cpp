#include "playback/annotationexchange_p.h"

#include <cmath>
#include <limits>

namespace AnnotationExchange {

LineReader::LineReader(QIODevice &device) : device(device)
{
    if (device.peek(3) == "\xEF\xBB\xBF")
        device.skip(3);
}

bool LineReader::next()
{
    line.clear();
    tooLong = false;
    bool any = false;
    for (;;) {
        char part[4096];
        const int length = int(device.readLine(part, sizeof part));
        if (length <= 0)
            break;
        any = true;
        const bool last = part[length - 1] == '\n';
        tooLong = tooLong || line.size() + length > longestLine;
        if (tooLong)
            line.clear();
        else
            line.append(part, last ? length - 1 : length);
        if (last)
            break;
    }
    number += any ? 1 : 0;
    return any;
}

LineReader::Mark LineReader::mark() const
{
    return {device.pos(), number};
}

void LineReader::goTo(const Mark &mark)
{
    device.seek(mark.position);
    number = mark.number;
}

CsvReader::CsvReader(QIODevice &device) : lines(device) { }

bool CsvReader::next()
{
    fields.clear();
    fault = Fault::None;
    do {
        if (!lines.next())
            return false;
    } while (!lines.tooLong && lines.line.trimmed().isEmpty());
    number = lines.number;
    if (lines.tooLong) {
        fault = Fault::LineTooLong;
        return true;
    }
    // Every quote opens or closes, a doubled one does both: a row is whole when their number is even. Where
    // it never becomes so, reading goes on behind the first line, and each line is seen twice at the most.
    const LineReader::Mark secondLine = lines.mark();
    QByteArray row = lines.line;
    bool open = row.count('"') % 2 != 0;
    while (open && lines.next() && !lines.tooLong && row.size() + lines.line.size() < longestLine) {
        row += '\n' + lines.line;
        open = open != (lines.line.count('"') % 2 != 0);
    }
    if (open || !split(row)) {
        fault = Fault::OpenQuote;
        fields.clear();
        lines.goTo(secondLine);
    }
    return true;
}

bool CsvReader::split(const QByteArray &row)
{
    const int size = row.endsWith('\r') ? row.size() - 1 : row.size();
    int at = 0;
    for (;;) {
        QByteArray field;
        if (at < size && row[at] == '"') {
            for (++at;; ++at) {
                const int end = row.indexOf('"', at);
                if (end < 0)
                    return false;
                field += row.mid(at, end - at);
                at = end + 1;
                if (at == size || row[at] != '"')
                    break;
                field += '"';
            }
            if (at < size && row[at] != ',')
                return false;
        } else {
            int end = row.indexOf(',', at);
            if (end < 0)
                end = size;
            field = row.mid(at, end - at);
            at = end;
        }
        fields.append(QString::fromUtf8(field));
        if (at == size)
            return true;
        ++at;
    }
}

void addFault(AnnotationReport &report, const CsvReader &reader)
{
    const bool tooLong = reader.fault == CsvReader::Fault::LineTooLong;
    addProblem(report, tooLong ? AnnotationError::LineTooLong : AnnotationError::OpenQuote, reader.number,
        tooLong ? Text::tr("The line is longer than 1 MiB.") : Text::tr("A quoted field does not end."));
}

QByteArray csvField(const QString &text)
{
    QByteArray field = text.toUtf8();
    const bool plain = field.trimmed() == field && !field.contains(',') && !field.contains('"')
        && !field.contains('\n') && !field.contains('\r');
    if (plain)
        return field;
    return '"' + field.replace('"', "\"\"") + '"';
}

Intake::Intake(AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options)
    : set(set), report(report), options(options)
{
    set.frames.clear();
}

void Intake::start(qint64 newPlace, const QString &newList)
{
    place = newPlace;
    list = newList;
    rounded = false;
}

bool Intake::problem(AnnotationError error, const QString &text)
{
    addProblem(report, error, place, list.isEmpty() ? text : list + QStringLiteral(": ") + text);
    return false;
}

bool Intake::isFull()
{
    // A file with so many is another kind of file, and each one costs more time than a good line.
    constexpr int mostProblems = 1'000'000;
    if (!full && report.problemCount >= mostProblems) {
        full = true;
        ++report.problemCount;
        report.problems.append({AnnotationError::TooManyProblems, place,
            Text::tr("Reading has ended: too much is wrong with this file.")});
    }
    return full;
}

bool Intake::number(const QByteArray &text, double *value)
{
    bool ok = false;
    *value = text.trimmed().toDouble(&ok);
    if (ok && std::isfinite(*value))
        return true;
    return problem(
        AnnotationError::BadNumber, Text::tr("\"%1\" is no number.").arg(QString::fromUtf8(text.left(40))));
}

bool Intake::whole(double value, int *result)
{
    if (!std::isfinite(value) || value != std::floor(value))
        return problem(AnnotationError::BadNumber, Text::tr("%1 is no whole number.").arg(value));
    if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
        return problem(AnnotationError::OutOfRange, Text::tr("%1 is out of range.").arg(value));
    *result = int(value);
    return true;
}

bool Intake::frame(double value, qint64 firstFrame, int *result)
{
    if (!whole(value, result))
        return false;
    if (*result < firstFrame || (set.frameCount > 0 && *result >= set.frameCount))
        return problem(AnnotationError::OutOfRange, Text::tr("The video has no frame %1.").arg(value));
    return true;
}

bool Intake::pixel(double value, double *result)
{
    *result = std::floor(value + 0.5);
    if (!std::isfinite(value) || std::fabs(value) > double(qint64(1) << 33))
        return problem(AnnotationError::OutOfRange, Text::tr("%1 is out of range.").arg(value));
    rounded = rounded || *result != value;
    return true;
}

bool Intake::rectOfAnySize(double x, double y, double width, double height, QRect *result)
{
    double left, top, w, h;
    if (!pixel(x, &left) || !pixel(y, &top) || !pixel(width, &w) || !pixel(height, &h))
        return false;
    w = width > 0 ? std::max(w, 1.0) : w;
    h = height > 0 ? std::max(h, 1.0) : h;
    const auto isInt = [](double number) {
        return number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
    };
    if (!isInt(left) || !isInt(top) || !isInt(left + w - 1) || !isInt(top + h - 1))
        return problem(
            AnnotationError::OutOfRange, Text::tr("The rectangle is beyond what 32 bits can hold."));
    *result = QRect(QPoint(int(left), int(top)), QPoint(int(left + w - 1), int(top + h - 1)));
    return true;
}

bool Intake::rect(double x, double y, double width, double height, QRect *result)
{
    if (!(width > 0) || !(height > 0))
        return problem(AnnotationError::BadValue, Text::tr("The rectangle has no area."));
    return rectOfAnySize(x, y, width, height, result);
}

bool Intake::point(double x, double y, QPoint *result)
{
    double left, top;
    if (!pixel(x, &left) || !pixel(y, &top))
        return false;
    int wholeLeft, wholeTop;
    if (!whole(left, &wholeLeft) || !whole(top, &wholeTop))
        return false;
    *result = QPoint(wholeLeft, wholeTop);
    return true;
}

bool Intake::add(int frame, FrameInfo::InfoDataType kind, const QString &name, const QVariant &value)
{
    if (report.entries >= options.mostEntries) {
        if (!full)
            problem(AnnotationError::TooManyEntries,
                Text::tr("The file holds more than %1 entries.").arg(options.mostEntries));
        full = true;
        return false;
    }
    FrameInfo &record = set.frame(frame);
    if (record.contains(kind, name))
        return problem(AnnotationError::Duplicate,
            Text::tr("Frame %1 has \"%2\" already.").arg(frame).arg(name.left(80)));
    record.set(kind, name, value);
    ++report.entries;
    report.altered += rounded ? 1 : 0;
    rounded = false;
    return true;
}

} // namespace AnnotationExchange
