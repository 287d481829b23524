#include "checks.h"

#include "options.h"

#include <FFMpegProcessor>
#include <ImageVideoProvider>

#include <opencv2/core.hpp>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <memory>

namespace {

// What can be made of a recording under this suffix: by ffmpeg's own choice, with H.264, with the recorded
// Motion-JPEG, and without ffmpeg.
struct Container
{
    const char *suffix;
    bool chosen;
    bool quality;
    bool copy;
    bool plain;
};

constexpr Container containers[] = {
    {"mkv", true, true, true, true},
    {"mp4", true, true, true, true},
    {"avi", true, true, true, true},
    {"mov", true, true, true, true},
    {"m4v", true, true, false, false},
    {"ts", true, true, false, false},
    {"wmv", true, false, false, true},
    {"webm", true, false, false, false},
    {"mpg", true, false, false, false},
};

bool takes(const Container &container, Options::Delivery delivery)
{
    switch (delivery) {
    case Options::Delivery::Quality:
        return container.quality;
    case Options::Delivery::Copy:
        return container.copy;
    case Options::Delivery::Plain:
        return container.plain;
    default:
        return container.chosen;
    }
}

QString problemWithSuffix(const Options &options)
{
    const QString suffix = QFileInfo(options.out).suffix().toLower();
    QStringList usable;
    for (const Container &container : containers) {
        if (takes(container, options.delivery))
            usable << QLatin1Char('.') + QLatin1String(container.suffix);
    }
    if (usable.contains(QLatin1Char('.') + suffix))
        return {};
    const QString list = usable.join(QLatin1String(", "));
    return suffix.isEmpty()
        ? QStringLiteral("%1 has no suffix; take one of %2").arg(options.out, list)
        : QStringLiteral("no such video can be made with the suffix .%1; take one of %2").arg(suffix, list);
}

QString problemWithFolder(const QString &path)
{
    QDir().mkpath(path);
    QTemporaryFile probe(path + QStringLiteral("/vt-record-XXXXXX"));
    return probe.open() ? QString() : QStringLiteral("the folder %1 cannot be written").arg(path);
}

bool givesAFrame(const QString &path)
{
    ImageVideoProvider video;
    bool given = false;
    QObject::connect(&video, &ImageVideoProvider::nextFrameReady, &video, [&given](cv::Mat *frame, int) {
        const std::unique_ptr<cv::Mat> owned(frame);
        given = !owned->empty();
    });
    video.setFile(path);
    video.prepareFrame(0);
    return given;
}

QString problemWithFile(const QString &path)
{
    const QFileInfo file(path);
    if (file.isDir())
        return QStringLiteral("the source %1 is a folder").arg(path);
    if (!file.exists())
        return QStringLiteral("there is no file %1").arg(path);
    if (!file.isFile())
        return QStringLiteral("%1 is no file; a device is named by its number").arg(path);
    const QString suffix = file.suffix().toLower();
    if (suffix != QLatin1String("avi") && suffix != QLatin1String("mp4"))
        return QStringLiteral("%1 is neither an .avi nor an .mp4 file").arg(path);
    if (!QFile(path).open(QFile::ReadOnly))
        return QStringLiteral("%1 cannot be read").arg(path);
    if (file.size() == 0)
        return QStringLiteral("%1 is empty").arg(path);
    if (!FFMpegProcessor::getVideoInfo(path).isValid || !givesAFrame(path))
        return QStringLiteral("%1 holds no picture that can be read").arg(path);
    return {};
}

QString problemWithSource(const QString &source)
{
    if (source.size() == 1)
        return {}; // the number of a device
    const int scheme = source.indexOf(QLatin1String("://"));
    if (scheme >= 0) {
        return source.startsWith(QLatin1String("rtsp://"))
            ? QString()
            : QStringLiteral("%1 is no address that can be read; it must begin with rtsp://").arg(source);
    }
    const QFileInfo file(source);
    const QString suffix = file.suffix().toLower();
    const bool isFileName =
        file.isAbsolute() || suffix == QLatin1String("avi") || suffix == QLatin1String("mp4");
    return isFileName || file.exists() ? problemWithFile(source) : QString();
}

} // namespace

QString defaultSource(const QString &folder)
{
    QString sample = QStringLiteral("/usr/share/doc/opencv-doc/examples/data/vtest.avi");
    if (QFile::exists(sample))
        return sample;
    QString clip = QDir(folder).filePath(QStringLiteral("clip.avi"));
    QProcess::execute(QStringLiteral("ffmpeg"),
        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
            QStringLiteral("-i"), QStringLiteral("testsrc=duration=10:size=640x480:rate=25"), clip});
    return QFile::exists(clip) ? clip : QString();
}

QString problemWith(const Options &options)
{
    const QFileInfo out(options.out);
    if (out.isDir())
        return QStringLiteral("%1 is a folder").arg(options.out);
    const bool withFFMpeg = options.delivery != Options::Delivery::Plain;
    if (withFFMpeg && QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
        return QStringLiteral("ffmpeg is not installed (or use --no-ffmpeg)");
    for (const QString &problem : {problemWithSuffix(options), problemWithSource(options.source)}) {
        if (!problem.isEmpty())
            return problem;
    }
    if (QFileInfo(options.source) == out && out.exists())
        return QStringLiteral("the source would be overwritten");
    if (QDir::cleanPath(options.temp) == QDir::cleanPath(out.absolutePath()))
        return QStringLiteral("the recording cannot grow in the folder of its video");
    const QString problem = problemWithFolder(out.absolutePath());
    return problem.isEmpty() ? problemWithFolder(options.temp) : problem;
}
