#include "ffmpeg/ffmpegtask_p.h"

#include "baselib/samefile_p.h"
#include "baselib/texthelper.h"
#include "ffmpeg/ffmpeghelperjob.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
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

FFMpegTask::FFMpegTask(const QStringList &from, const QString &to) : sources(from), destination(to) { }

FFMpegTask::FFMpegTask(FFMpegTask &&other) noexcept = default;

FFMpegTask::~FFMpegTask() = default;

FFMpegTask FFMpegTask::convert(
    const QString &source, const QString &destination, const QString &parameters, bool overwrite)
{
    FFMpegTask task({source}, destination);
    const QString failed(QStringLiteral("FFMPEG convert error: "));
    if (destination == source) {
        task.refuse(failed + QStringLiteral("Source = Destination = ") + source);
    } else if (!QFile::exists(source)) {
        task.refuse(failed + QStringLiteral("Source file does not exist") + source);
    } else if (destination.isEmpty()) {
        task.refuse(failed + QStringLiteral("Too small destination filename ") + destination);
    } else if (!programExists()) {
        task.refuse(programName + QStringLiteral(" not found"));
    } else if (task.readsDestination()) {
        // What follows would remove the source.
        task.refuse(failed + QStringLiteral("Source = Destination = ") + source);
    } else {
        task.sourceBytes = QFileInfo(source).size();
        if (overwrite && QFile::exists(destination)) {
            QFile::remove(destination);
            if (QFile::exists(destination))
                task.refuse(failed + QStringLiteral("File %1 cannot be deleted").arg(destination));
        }
    }
    task.arguments << inputMark << source;
    if (!parameters.isEmpty())
        task.arguments << parameters.split(QLatin1Char(' '));
    task.arguments << destination << overwriteMark;
    return task;
}

FFMpegTask FFMpegTask::convertToMP4(const QString &path, bool removeSource)
{
    const FFMpegMP4 mp4(path, removeSource);
    if (!QFileInfo::exists(path)) {
        FFMpegTask task({path}, mp4.target());
        task.refuse(FFMPEGHelperJob::tr("%1 does not exist").arg(path));
        return task;
    }
    FFMpegTask task = convert(path, mp4.target(), QString(), true);
    task.mp4 = mp4;
    return task;
}

FFMpegTask FFMpegTask::changeVolume(const QString &source, const QString &destination, float volume)
{
    FFMpegTask task({source}, destination);
    const float factor = qBound(0.0F, volume, 2.0F);
    const bool changes = factor < 1.0F || factor > 1.0F;
    task.arguments << inputMark << source;
    if (changes)
        task.arguments << QStringLiteral("-filter:a") << QStringLiteral("volume=") + numberText(factor);
    task.arguments << destination << overwriteMark;
    if (!changes && source.compare(destination, Qt::CaseInsensitive) == 0)
        task.state = State::Unneeded;
    else
        task.refuseOneFile();
    return task;
}

FFMpegTask FFMpegTask::crop(const QString &source, const QString &destination, int durationMs)
{
    FFMpegTask task({source}, destination);
    task.limitMs = qMax(0, durationMs);
    task.arguments << QStringLiteral("-t") << numberText(float(durationMs) / 1000.0F) << inputMark << source
                   << destination << overwriteMark;
    task.tellsArguments = true;
    task.refuseOneFile();
    return task;
}

FFMpegTask FFMpegTask::join(const QStringList &sources, const QString &destination, bool safe)
{
    FFMpegTask task(sources, destination);
    if (!task.writeList()) {
        task.refuse(FFMPEGHelperJob::tr("The list of the files to join cannot be written"));
        return task;
    }
    task.copies = true;
    for (const QString &source : sources)
        task.sourceBytes += QFileInfo(source).size();
    task.arguments << QStringLiteral("-f") << QStringLiteral("concat");
    if (!safe)
        task.arguments << QStringLiteral("-safe") << QStringLiteral("0");
    task.arguments << inputMark << QFileInfo(task.listFile).fileName() << QStringLiteral("-c")
                   << QStringLiteral("copy") << destination;
    return task;
}

QString FFMpegTask::timeoutError(unsigned int timeoutMs)
{
    return QStringLiteral("FFMPEG timeout exceeded: %1ms").arg(timeoutMs);
}

void FFMpegTask::start(QProcess &process)
{
    before = stampOfDestination();
    process.start(programName, arguments, QIODevice::ReadWrite);
    // Asked whether to overwrite a file, ffmpeg would wait for ever; a closed input is a no.
    process.closeWriteChannel();
    if (tellsArguments)
        qDebug() << "ARGS" << arguments;
}

void FFMpegTask::reportSizes() const
{
    const qint64 bytes = QFileInfo(destination).size();
    const qint64 percentage = bytes * 100 / (QFileInfo(sources.first()).size() + 1);
    qDebug() << "FFMPEG " << destination << QFile::exists(destination) << "was" << sourceBytes << "bytes, now"
             << bytes << "bytes"
             << "(" << QString::number(percentage) << "% of source)";
}

void FFMpegTask::removeList()
{
    links.reset();
    if (!listFile.isEmpty())
        QFile::remove(std::exchange(listFile, QString()));
}

void FFMpegTask::removeHalfMade() const
{
    const Stamp now = stampOfDestination();
    const bool touched =
        now.exists && (!before.exists || now.bytes != before.bytes || now.changedMs != before.changedMs);
    if (touched && !readsDestination())
        QFile::remove(destination);
}

void FFMpegTask::refuse(const QString &reason)
{
    state = State::Refused;
    error = reason;
}

void FFMpegTask::refuseOneFile()
{
    // Equal paths ffmpeg refuses by itself.
    if (!sources.contains(destination) && readsDestination())
        refuse(FFMPEGHelperJob::tr("%1 and %2 are the same file").arg(sources.first(), destination));
}

bool FFMpegTask::readsDestination() const
{
    return std::any_of(sources.cbegin(), sources.cend(),
        [this](const QString &source) { return SameFile::leadToOne(source, destination); });
}

FFMpegTask::Stamp FFMpegTask::stampOfDestination() const
{
    const QFileInfo info(destination);
    return {info.isFile(), info.size(), info.lastModified().toMSecsSinceEpoch()};
}

bool FFMpegTask::writeList()
{
    // The child reads what the list says at the time, so no other join, of this or another program, may get
    // hold of the same file: only a name that nobody has yet will do.
    QFile list;
    for (int attempt = 0; attempt < nameAttempts && !list.isOpen(); ++attempt) {
        list.setFileName(QStringLiteral("list%1.txt").arg(TextHelper::DateTimeFileString(QDateTime(), true)));
        if (!list.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
            if (!list.exists())
                return false;
            QThread::msleep(1);
        }
    }
    if (!list.isOpen())
        return false;
    listFile = QFileInfo(list).absoluteFilePath();
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
        links = std::make_unique<QTemporaryDir>(QDir::current().filePath(QStringLiteral("list-XXXXXX")));
    if (!links->isValid())
        return {};
    const QString name = QString::number(index) + plainSuffix.match(source).captured();
    if (!offer(QFileInfo(source).absoluteFilePath(), links->filePath(name)))
        return {};
    return QFileInfo(links->path()).fileName() + QLatin1Char('/') + name;
}
