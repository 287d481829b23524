#include "playback/annotationexchange.h"

#include "playback/annotationexchange_p.h"

#include <QFileInfo>
#include <QSet>

#include <cmath>
#include <limits>

using namespace AnnotationExchange;

FrameInfo &AnnotationSet::frame(int number)
{
    QSharedPointer<FrameInfo> &record = frames[number];
    if (!record)
        record.reset(new FrameInfo(number));
    return *record;
}

int AnnotationSet::entryCount() const
{
    int count = 0;
    for (const auto &record : frames)
        count += record ? record->count() : 0;
    return count;
}

QString AnnotationSet::pictureName(int frame) const
{
    const QString base = QFileInfo(fileName).completeBaseName();
    return (base.isEmpty() ? QStringLiteral("frame") : base)
        + QStringLiteral("_%1").arg(frame, 6, 10, QLatin1Char('0'));
}

bool sameAnnotations(const AnnotationSet &a, const AnnotationSet &b)
{
    const auto next = [](const AnnotationSet &set, auto it) {
        while (it != set.frames.cend() && (!*it || (*it)->count() == 0))
            ++it;
        return it;
    };
    auto left = next(a, a.frames.cbegin());
    auto right = next(b, b.frames.cbegin());
    while (left != a.frames.cend() && right != b.frames.cend()) {
        if (left.key() != right.key() || !(*left)->equals(**right))
            return false;
        left = next(a, ++left);
        right = next(b, ++right);
    }
    return left == a.frames.cend() && right == b.frames.cend();
}

namespace AnnotationExchange {

void addProblem(AnnotationReport &report, AnnotationError error, qint64 place, const QString &text)
{
    // A hostile file has one a byte.
    constexpr int mostProblems = 1000;
    if (report.problems.size() < mostProblems)
        report.problems.append({error, place, text});
    if (report.problemCount < std::numeric_limits<int>::max())
        ++report.problemCount;
}

qint64 widthOf(const QRect &rect)
{
    return qint64(rect.right()) - rect.left() + 1;
}

qint64 heightOf(const QRect &rect)
{
    return qint64(rect.bottom()) - rect.top() + 1;
}

bool hasArea(const QRect &rect)
{
    return widthOf(rect) > 0 && heightOf(rect) > 0;
}

QString className(const QString &objectName)
{
    int end = objectName.size();
    while (end > 0 && objectName[end - 1] >= QLatin1Char('0') && objectName[end - 1] <= QLatin1Char('9'))
        --end;
    const bool numbered = end < objectName.size() && end > 1 && objectName[end - 1] == QLatin1Char('#');
    return numbered ? objectName.left(end - 1) : objectName;
}

QString confidenceName(const QString &objectName)
{
    return objectName + QStringLiteral(".confidence");
}

QString withoutControls(const QString &text)
{
    QString clean = text;
    for (QChar &character : clean) {
        if (character < QLatin1Char(' ') || character == QChar(0x7F) || character == QChar(0xFFFE)
            || character == QChar(0xFFFF) || character == QChar::LineSeparator
            || character == QChar::ParagraphSeparator)
            character = QLatin1Char(' ');
    }
    return clean;
}

QByteArray numberText(double number)
{
    return QString::number(number, 'g', QLocale::FloatingPointShortest).toLatin1();
}

void numberTracks(QMap<int, QString> &tracks, const QStringList &names)
{
    QSet<QString> known;
    for (const QString &name : qAsConst(tracks))
        known.insert(name);
    QStringList nameless;
    for (const QString &name : names) {
        bool ok = false;
        const int number = name.toInt(&ok);
        if (known.contains(name))
            continue;
        if (ok && number >= 0 && name == QString::number(number) && !tracks.contains(number))
            tracks.insert(number, name);
        else
            nameless.append(name);
    }
    int free = 1;
    for (const QString &name : qAsConst(nameless)) {
        while (tracks.contains(free))
            ++free;
        tracks.insert(free, name);
    }
}

void addClasses(QStringList &classes, const QStringList &names)
{
    QSet<QString> known(classes.cbegin(), classes.cend());
    for (const QString &name : names) {
        const QString objectClass = className(name);
        if (known.contains(objectClass))
            continue;
        known.insert(objectClass);
        classes.append(objectClass);
    }
}

QStringList namesOf(const AnnotationSet &set, const QList<FrameInfo::InfoDataType> &kinds)
{
    QSet<QString> names;
    for (const auto &record : set.frames) {
        for (FrameInfo::InfoDataType kind : kinds) {
            const QStringList added = record ? record->getNames(kind) : QStringList();
            for (const QString &name : added)
                names.insert(name);
        }
    }
    QStringList sorted = names.values();
    sorted.sort();
    return sorted;
}

bool openForWriting(QSaveFile &file, AnnotationReport &report)
{
    if (file.open(QIODevice::WriteOnly))
        return true;
    addProblem(report, AnnotationError::CannotWrite, 0, file.errorString());
    return false;
}

bool openForReading(QIODevice &file, AnnotationReport &report, const AnnotationExchangeOptions &options)
{
    if (!file.isOpen() && !file.open(QIODevice::ReadOnly)) {
        addProblem(report, AnnotationError::CannotOpen, 0, file.errorString());
        return false;
    }
    if (!file.isReadable() || file.isSequential()) {
        addProblem(
            report, AnnotationError::CannotOpen, 0, Text::tr("This is no file that can be read as a whole."));
        return false;
    }
    if (file.size() > options.largestFile) {
        addProblem(report, AnnotationError::TooLarge, 0,
            Text::tr("The file has more than %1 bytes.").arg(options.largestFile));
        return false;
    }
    return true;
}

bool commit(QSaveFile &file, AnnotationReport &report)
{
    // commit() alone does not notice a full disk while the text fits its buffer.
    const bool flushed = file.flush();
    const QString reason = file.errorString();
    if (!flushed)
        file.cancelWriting();
    if (file.commit())
        return true;
    addProblem(report, AnnotationError::CannotWrite, 0, flushed ? file.errorString() : reason);
    return false;
}

Output::Output(QIODevice &device, AnnotationReport &report) : device(device), report(report) { }

void Output::write(const QByteArray &bytes)
{
    if (!whole || device.write(bytes) == bytes.size())
        return;
    whole = false;
    addProblem(report, AnnotationError::CannotWrite, 0, device.errorString());
}

bool Output::isWhole() const
{
    return whole;
}

AnnotationReport writeFile(const QString &path, const std::function<AnnotationReport(QIODevice *)> &write)
{
    AnnotationReport report;
    QSaveFile file(path);
    if (!openForWriting(file, report))
        return report;
    report = write(&file);
    report.done = report.done && commit(file, report);
    return report;
}

Progress::Progress(const AnnotationExchangeOptions &options, AnnotationReport &report)
    : options(options), report(report)
{
}

bool Progress::reaches(qint64 done, qint64 total)
{
    const int percent = total > 0 ? int(std::min<qint64>(100, done * 100 / total)) : 100;
    if (!options.progress || cancelled || percent == lastPercent)
        return !cancelled;
    lastPercent = percent;
    cancelled = !options.progress(percent);
    if (cancelled)
        addProblem(report, AnnotationError::Cancelled, 0, Text::tr("Cancelled."));
    return !cancelled;
}

} // namespace AnnotationExchange
