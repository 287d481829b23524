#include "ffmpeg/ffmpegtask_p.h"

#include "baselib/texthelper.h"
#include "common/samefile_p.h"
#include "ffmpeg/ffmpegchild_p.h"
#include "ffmpeg/inplace_p.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <utility>

namespace {

constexpr int nameAttempts = 1100; // of 1 ms: enough for stamps of whole seconds as well

#ifdef Q_OS_WIN
const QLatin1String programName("ffmpeg.exe");
#else
const QLatin1String programName("ffmpeg");
#endif

const QLatin1String inputMark("-i");
const QLatin1String overwriteMark("-y");
const QLatin1String convertFailed("FFMPEG convert error: ");

bool programExists()
{
#ifdef Q_OS_WIN
    return QFile::exists(programName);
#else
    return !QStandardPaths::findExecutable(programName).isEmpty();
#endif
}

QString numberText(float number)
{
    return QString::number(double(number), 'g', 6);
}

bool offer(const QString &source, const QString &link)
{
#ifdef Q_OS_UNIX
    // Dangling where there is no such file: it is for ffmpeg to miss it, as under any other name.
    if (QFile::link(source, link))
        return true;
#endif
    return QFile::copy(source, link);
}

} // namespace

FFMpegTask::FFMpegTask(const QStringList &given, const QString &wanted)
    : destination(wanted), sources(given), to(FFMpegChild::path(wanted)), folder(QDir::currentPath())
{
    for (const QString &source : sources)
        from << FFMpegChild::path(source);
}

FFMpegTask::FFMpegTask(FFMpegTask &&other) noexcept = default;

FFMpegTask::~FFMpegTask() = default;

FFMpegTask FFMpegTask::convert(
    const QString &source, const QString &destination, const QString &parameters, bool overwrite)
{
    FFMpegTask task({source}, destination);
    if (destination == source)
        task.refuse(convertFailed + QStringLiteral("Source = Destination = ") + source);
    else if (!QFile::exists(task.from.first()))
        task.refuse(convertFailed + QStringLiteral("Source file does not exist") + source);
    else if (destination.isEmpty())
        task.refuse(convertFailed + QStringLiteral("Too small destination filename ") + destination);
    else if (!programExists())
        task.refuse(programName + QStringLiteral(" not found"));
    else if (task.readsDestination()) // what follows would remove the source
        task.refuse(convertFailed + QStringLiteral("Source = Destination = ") + source);
    task.preparation = Preparation::Convert;
    task.overwrites = overwrite;
    task.arguments << inputMark << task.from;
    if (!parameters.isEmpty())
        task.arguments << parameters.split(QLatin1Char(' '));
    task.arguments << task.to << overwriteMark;
    return task;
}

FFMpegTask FFMpegTask::convertToMP4(const QString &path, bool removeSource)
{
    const QString suffix(QStringLiteral("mp4"));
    QString made = path;
    made.replace(QLatin1Char('.') + QFileInfo(path).suffix(), QLatin1Char('.') + suffix);
    const bool inPlace = SameFile::isSamePath(made, path);
    if (inPlace)
        made = InPlace::sideFile({}, made, suffix, QStringLiteral("_"));
    FFMpegTask task = convert(path, made, QString(), true);
    task.mp4 = MP4{inPlace, removeSource};
    if (!QFileInfo::exists(path))
        task.refuse(tr("%1 does not exist").arg(path));
    return task;
}

FFMpegTask FFMpegTask::changeVolume(const QString &source, const QString &destination, float volume)
{
    FFMpegTask task({source}, destination);
    const float factor = qBound(0.0F, volume, 2.0F);
    const bool changes = factor < 1.0F || factor > 1.0F;
    task.arguments << inputMark << task.from;
    if (changes)
        task.arguments << QStringLiteral("-filter:a") << QStringLiteral("volume=") + numberText(factor);
    task.arguments << task.to << overwriteMark;
    if (!changes && SameFile::isSamePath(source, destination))
        task.state = State::Unneeded;
    else
        task.refuseOneFile();
    return task;
}

FFMpegTask FFMpegTask::crop(const QString &source, const QString &destination, int durationMs)
{
    FFMpegTask task({source}, destination);
    task.limitMs = qMax(0, durationMs);
    task.arguments << QStringLiteral("-t") << numberText(float(durationMs) / 1000.0F) << inputMark
                   << task.from << task.to << overwriteMark;
    task.tellsArguments = true;
    task.refuseOneFile();
    return task;
}

FFMpegTask FFMpegTask::join(const QStringList &sources, const QString &destination, bool safe)
{
    FFMpegTask task(sources, destination);
    task.copies = true;
    task.preparation = Preparation::Join;
    task.arguments << QStringLiteral("-f") << QStringLiteral("concat");
    if (!safe)
        task.arguments << QStringLiteral("-safe") << QStringLiteral("0");
    return task;
}

QString FFMpegTask::timeoutError(unsigned int timeoutMs)
{
    return QStringLiteral("FFMPEG timeout exceeded: %1ms").arg(timeoutMs);
}

void FFMpegTask::start(FFMpegChild &child, bool countFrames)
{
    if (preparation == Preparation::Convert)
        prepareConvert();
    else if (preparation == Preparation::Join)
        prepareJoin();
    if (state == State::Refused)
        return;
    child.start(arguments, {to, from.size() == 1 ? from.first() : QString(), countFrames});
    if (tellsArguments)
        qDebug() << "ARGS" << arguments;
}

bool FFMpegTask::destinationExists() const
{
    return QFile::exists(to);
}

void FFMpegTask::reportSizes() const
{
    const qint64 bytes = QFileInfo(to).size();
    const qint64 percentage = bytes * 100 / (QFileInfo(from.first()).size() + 1);
    qDebug() << "FFMPEG " << destination << destinationExists() << "was" << sourceBytes << "bytes, now"
             << bytes << "bytes"
             << "(" << QString::number(percentage) << "% of source)";
}

void FFMpegTask::removeList()
{
    links.reset();
    if (!listFile.isEmpty())
        QFile::remove(std::exchange(listFile, QString()));
}

void FFMpegTask::removeHalfMade(const FFMpegChild &child) const
{
    if (!readsDestination())
        child.removeTouchedOutput();
}

void FFMpegTask::settle(bool ok)
{
    if (!mp4)
        return;
    const QString source = from.first();
    if (!mp4->inPlace) {
        if (ok && mp4->removesSource)
            QFile::remove(source);
        if (!ok)
            destination = sources.first();
        return;
    }
    // The new file may be the only version left; it must not be tidied away then.
    if (ok && !InPlace::swap(to, source).renamed && !QFile::exists(source))
        return;
    if (to != source && QFile::exists(source) && !SameFile::leadToOne(to, source))
        QFile::remove(to);
    destination = sources.first();
}

void FFMpegTask::refuse(const QString &reason)
{
    state = State::Refused;
    error = reason;
}

void FFMpegTask::refuseOneFile()
{
    // Equal paths ffmpeg refuses by itself.
    if (!from.contains(to) && readsDestination())
        refuse(tr("%1 and %2 are the same file").arg(sources.first(), destination));
}

bool FFMpegTask::readsDestination() const
{
    return std::any_of(from.cbegin(), from.cend(),
        [this](const QString &source) { return SameFile::leadToOne(source, to); });
}

void FFMpegTask::prepareConvert()
{
    sourceBytes = QFileInfo(from.first()).size();
    if (!overwrites || !destinationExists())
        return;
    QFile::remove(to);
    if (destinationExists())
        refuse(convertFailed + QStringLiteral("File %1 cannot be deleted").arg(destination));
}

void FFMpegTask::prepareJoin()
{
    if (!writeList()) {
        refuse(tr("The list of the files to join cannot be written"));
        return;
    }
    for (const QString &source : qAsConst(from))
        sourceBytes += QFileInfo(source).size();
    arguments << inputMark << listFile << QStringLiteral("-c") << QStringLiteral("copy") << to;
}

bool FFMpegTask::writeList()
{
    // The child reads what the list says at the time, so no other join, of this or another program, may get
    // hold of the same file: only a name that nobody has yet will do.
    QFile list;
    for (int attempt = 0; attempt < nameAttempts && !list.isOpen(); ++attempt) {
        list.setFileName(QDir(folder).filePath(
            QStringLiteral("list%1.txt").arg(TextHelper::DateTimeFileString(QDateTime(), true))));
        if (!list.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (!list.exists())
                return false;
            QThread::msleep(1);
        }
    }
    if (!list.isOpen())
        return false;
    listFile = list.fileName();
    bool whole = true;
    for (int i = 0; i < sources.size(); ++i) {
        const QString name = nameInList(i);
        list.write(QStringLiteral("file '%1' \r\n").arg(name).toUtf8());
        whole = whole && !name.isNull();
    }
    // A list cut short by a full disk would be a join cut short.
    whole = list.flush() && whole;
    list.close();
    if (!whole)
        removeList();
    return whole;
}

QString FFMpegTask::nameInList(int index)
{
    const QString source = sources.at(index);
    static const QRegularExpression unfit(QStringLiteral("['\r\n]"));
    static const QRegularExpression plainSuffix(QStringLiteral("\\.[A-Za-z0-9]+$"));
    if (!source.contains(unfit))
        return source.isNull() ? QStringLiteral("") : source;
    // In the list's own folder, so that the name is short and plain whatever the path of the folder holds.
    if (!links)
        links = std::make_unique<QTemporaryDir>(QDir(folder).filePath(QStringLiteral("list-XXXXXX")));
    if (!links->isValid())
        return {};
    const QString name = QString::number(index) + plainSuffix.match(source).captured();
    if (!offer(from.at(index), links->filePath(name)))
        return {};
    return QFileInfo(links->path()).fileName() + QLatin1Char('/') + name;
}
