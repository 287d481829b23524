#include "playback/annotationexchange_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

using namespace AnnotationExchange;

namespace {

// The part of a rectangle that lies in the picture, as the label's four fields; empty if there is none.
QByteArray placeOf(const QRect &rect, const AnnotationSet &set, bool *clipped)
{
    const double left = std::max(0, rect.left());
    const double top = std::max(0, rect.top());
    const double right = double(std::min<qint64>(set.width, rect.left() + widthOf(rect)));
    const double bottom = double(std::min<qint64>(set.height, rect.top() + heightOf(rect)));
    if (left >= right || top >= bottom)
        return {};
    *clipped = right - left != widthOf(rect) || bottom - top != heightOf(rect);
    // Six digits are finer than a pixel of any picture.
    const auto share = [](double number, int of) { return ' ' + QByteArray::number(number / of, 'f', 6); };
    return share((left + right) / 2, set.width) + share((top + bottom) / 2, set.height)
        + share(right - left, set.width) + share(bottom - top, set.height);
}

// False if a list is there that cannot be read: the labels of other videos depend on it.
bool readClasses(const QString &path, QStringList &classes, AnnotationReport &report,
    const AnnotationExchangeOptions &options)
{
    QFile file(path);
    if (!file.exists())
        return true;
    if (!openForReading(file, report, options))
        return false;
    LineReader lines(file);
    while (lines.next()) {
        QByteArray line = lines.line;
        if (line.endsWith('\r'))
            line.chop(1);
        classes.append(QString::fromUtf8(line));
    }
    return true;
}

bool storeClasses(const QString &path, const QByteArray &text, AnnotationReport &report)
{
    QSaveFile file(path);
    if (!openForWriting(file, report))
        return false;
    file.write(text);
    return commit(file, report);
}

// QSaveFile waits for the disk with each file, which makes minutes of the seconds for a long video.
bool storeLabels(const QString &path, const QByteArray &text, AnnotationReport &report)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        if (file.write(text) == text.size() && file.flush())
            return true;
        const QString reason = file.errorString();
        file.remove(); // labels that are cut off would say that nothing else is there
        addProblem(report, AnnotationError::CannotWrite, 0, reason);
        return false;
    }
    addProblem(report, AnnotationError::CannotWrite, 0, file.errorString());
    return false;
}

void lookForStaleLabels(
    const QDir &folder, const AnnotationSet &set, const QSet<QString> &written, AnnotationReport &report)
{
    const QString start = set.pictureName(0).chopped(6); // without the number
    const QStringList files = folder.entryList({QStringLiteral("*.txt")}, QDir::Files);
    int stale = 0;
    for (const QString &file : files) {
        bool numbered = false;
        file.mid(start.size()).chopped(4).toInt(&numbered);
        stale += numbered && file.startsWith(start) && !written.contains(file) ? 1 : 0;
    }
    if (stale > 0)
        addProblem(report, AnnotationError::StaleLabels, 0,
            Text::tr("Labels of this video from an earlier export are in the folder: %1 files.").arg(stale));
}

} // namespace

AnnotationReport writeYoloAnnotations(
    const AnnotationSet &set, const QString &folder, const AnnotationExchangeOptions &options)
{
    AnnotationReport report;
    if (set.width <= 0 || set.height <= 0) {
        addProblem(
            report, AnnotationError::NoPictureSize, 0, Text::tr("The size of the pictures is not known."));
        return report;
    }
    const QDir target(folder);
    if (!target.mkpath(QStringLiteral("."))) {
        addProblem(report, AnnotationError::CannotWrite, 0, Text::tr("The folder cannot be made."));
        return report;
    }

    const QString classesPath = target.filePath(QStringLiteral("classes.txt"));
    QStringList &classes = report.numbers.classes;
    classes = options.numbers.classes;
    if (classes.isEmpty() && !readClasses(classesPath, classes, report, options))
        return report;
    QStringList names = namesOf(set, {FrameInfo::Rect});
    for (QString &name : names)
        name = withoutControls(name);
    addClasses(classes, names);
    QHash<QString, int> classNumbers;
    QByteArray list;
    for (int i = 0; i < classes.size(); ++i) {
        if (!classNumbers.contains(classes[i])) // of a class that stands there twice, the first counts
            classNumbers.insert(classes[i], i);
        list += withoutControls(classes[i]).toUtf8() + '\n';
    }
    if (!storeClasses(classesPath, list, report))
        return report;

    Progress progress(options, report);
    QSet<QString> written;
    bool stored = true;
    const bool whole = eachFrame(set, progress, [&](int frame, FrameInfo &record) {
        QByteArray labels;
        const QStringList rects = frame < 0 || !stored ? QStringList() : record.getNames(FrameInfo::Rect);
        for (const QString &name : rects) {
            bool clipped = false;
            const QString clean = withoutControls(name);
            const QByteArray place = placeOf(record.getRect(name), set, &clipped);
            if (place.isEmpty())
                continue;
            labels += QByteArray::number(classNumbers.value(className(clean))) + place + '\n';
            report.altered += clipped || clean != name ? 1 : 0;
            ++report.entries;
        }
        if (labels.isEmpty())
            return;
        const QString file = set.pictureName(frame) + QStringLiteral(".txt");
        stored = storeLabels(target.filePath(file), labels, report);
        written.insert(file);
    });
    report.leftOut = set.entryCount() - report.entries;
    report.done = whole && stored;
    if (report.done)
        lookForStaleLabels(target, set, written, report);
    return report;
}
