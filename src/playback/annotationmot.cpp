#include "playback/annotationexchange_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cmath>

using namespace AnnotationExchange;

namespace {

QMap<QString, int> numbersByName(const QMap<int, QString> &tracks)
{
    QMap<QString, int> numbers;
    for (auto it = tracks.cbegin(); it != tracks.cend(); ++it)
        numbers.insert(it.value(), it.key());
    return numbers;
}

// What was wrong with the file of names.
void prepend(AnnotationReport &report, const AnnotationReport &ofNames)
{
    report.problems = ofNames.problems + report.problems;
    report.problemCount += ofNames.problemCount;
}

class MotImport
{
public:
    MotImport(AnnotationSet &set, AnnotationReport &report, const AnnotationExchangeOptions &options)
        : tracks(options.numbers.tracks), intake(set, report, options)
    {
    }

    // False once the set is full.
    bool readLine(qint64 number, const QByteArray &line)
    {
        intake.start(number);
        constexpr int used = 7;
        double fields[used] = {0, 0, 0, 0, 0, 0, 1};
        int count = 0;
        for (int at = 0; count < used && at <= line.size(); ++count) {
            int end = line.indexOf(',', at);
            if (end < 0)
                end = line.size();
            if (!intake.number(line.mid(at, end - at), &fields[count]))
                return !intake.isFull();
            at = end + 1;
        }
        int frame = 0, track = 0;
        QRect rect;
        if (count < 6) {
            intake.problem(AnnotationError::MissingField, Text::tr("The line has fewer than 6 fields."));
        } else if (intake.frame(fields[0] - 1, 0, &frame) && intake.whole(fields[1], &track)
            && intake.rect(fields[2], fields[3], fields[4], fields[5], &rect)) {
            const QString name = nameOf(track, frame);
            if (intake.add(frame, FrameInfo::Rect, name, rect) && fields[6] != 1 && fields[6] != -1)
                intake.add(frame, FrameInfo::Value, confidenceName(name), fields[6]);
        }
        return !intake.isFull();
    }

    QMap<int, QString> tracks;

private:
    QString nameOf(int track, int frame)
    {
        if (track < 0)
            return QStringLiteral("object#%1").arg(++untracked[frame]);
        const auto known = tracks.constFind(track);
        return known != tracks.cend() ? *known : *tracks.insert(track, QString::number(track));
    }

    Intake intake;
    QHash<int, int> untracked; // detections of no track, by frame
};

} // namespace

QString AnnotationExchange::namesPath(const QString &path)
{
    const QFileInfo info(path);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral(".names.csv"));
}

QMap<int, QString> AnnotationExchange::readNames(
    const QString &path, AnnotationReport &report, const AnnotationExchangeOptions &options)
{
    QMap<int, QString> tracks;
    QFile file(namesPath(path));
    if (!file.exists() || !openForReading(file, report, options))
        return tracks;
    CsvReader reader(file);
    reader.next(); // the columns' names
    while (reader.next() && tracks.size() < options.mostEntries) {
        bool ok = false;
        const int track = reader.fields.value(0).toInt(&ok);
        if (reader.fault != CsvReader::Fault::None) {
            addFault(report, reader);
        } else if (!ok || track < 0 || reader.fields.size() < 2) {
            addProblem(report, AnnotationError::BadValue, reader.number,
                Text::tr("The line in the file of names is no number and a name."));
        } else {
            tracks.insert(track, reader.fields[1]);
        }
    }
    return tracks;
}

void AnnotationExchange::writeNames(const QMap<int, QString> &tracks, Output &output)
{
    output.write("id,name\n");
    for (auto it = tracks.cbegin(); it != tracks.cend(); ++it)
        output.write(QByteArray::number(it.key()) + ',' + csvField(it.value()) + '\n');
}

AnnotationReport writeMotAnnotations(
    const AnnotationSet &set, QIODevice *device, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    QMap<int, QString> &tracks = report.numbers.tracks;
    tracks = options.numbers.tracks;
    numberTracks(tracks, namesOf(set, {FrameInfo::Rect}));
    const QMap<QString, int> numbers = numbersByName(tracks);
    Progress progress(options, report);
    Output output(*device, report);
    const bool whole = eachFrame(set, progress, [&](int frame, FrameInfo &record) {
        if (frame < 0)
            return;
        QMap<int, QByteArray> lines; // by track, as MOTChallenge's own tools write them
        const QStringList rects = record.getNames(FrameInfo::Rect);
        for (const QString &name : rects) {
            const QRect rect = record.getRect(name);
            if (!hasArea(rect))
                continue;
            const QVariant confidence = record.get(FrameInfo::Value, confidenceName(name));
            const bool held = confidence.isValid() && std::isfinite(confidence.toDouble());
            report.entries += held ? 2 : 1;
            lines[numbers[name]] = QByteArray::number(rect.left()) + ',' + QByteArray::number(rect.top())
                + ',' + QByteArray::number(widthOf(rect)) + ',' + QByteArray::number(heightOf(rect)) + ','
                + (held ? numberText(confidence.toDouble()) : QByteArray("1"));
        }
        for (auto it = lines.cbegin(); it != lines.cend(); ++it)
            output.write(QByteArray::number(qint64(frame) + 1) + ',' + QByteArray::number(it.key()) + ','
                + it.value() + ",-1,-1,-1\n");
    });
    report.leftOut = set.entryCount() - report.entries;
    report.done = whole && output.isWhole();
    return report;
}

AnnotationReport writeMotAnnotations(
    const AnnotationSet &set, const QString &path, const AnnotationExchangeOptions &options)
{
    AnnotationReport namesReport;
    AnnotationExchangeOptions named = options;
    if (named.numbers.tracks.isEmpty())
        named.numbers.tracks = readNames(path, namesReport, options);
    QSaveFile names(namesPath(path));
    if (!openForWriting(names, namesReport))
        return namesReport;
    AnnotationReport report = writeFile(path, [&](QIODevice *device) {
        AnnotationReport written = writeMotAnnotations(set, device, named);
        // The names come into their place first: with the older lines they do no harm.
        Output output(names, written);
        if (written.done)
            writeNames(written.numbers.tracks, output);
        written.done = written.done && commit(names, written);
        return written;
    });
    prepend(report, namesReport);
    return report;
}

AnnotationReport readMotAnnotations(
    QIODevice *device, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    MotImport import(set, report, options);
    if (!openForReading(*device, report, options))
        return report;
    Progress progress(options, report);
    LineReader lines(*device);
    bool going = true;
    while (going && lines.next()) {
        const QByteArray line = lines.line.trimmed();
        if (lines.tooLong) {
            addProblem(report, AnnotationError::LineTooLong, lines.number,
                Text::tr("The line is longer than 1 MiB."));
        } else if (!line.isEmpty()) {
            going = import.readLine(lines.number, line);
        }
        going = going && progress.reaches(device->pos(), device->size());
    }
    report.numbers.tracks = import.tracks;
    report.done = going;
    return report;
}

AnnotationReport readMotAnnotations(
    const QString &path, AnnotationSet &set, const AnnotationExchangeOptions &options)
{
    AnnotationExchangeOptions named = options;
    AnnotationReport namesReport;
    if (named.numbers.tracks.isEmpty())
        named.numbers.tracks = readNames(path, namesReport, options);
    QFile file(path);
    AnnotationReport report = readMotAnnotations(&file, set, named);
    prepend(report, namesReport);
    return report;
}
