#include "options.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <cmath>
#include <cstdlib>
#include <iostream>

namespace {

[[noreturn]] void refuse(const QString &reason)
{
    std::cerr << "vt-record: " << qPrintable(reason) << std::endl;
    std::exit(2);
}

double number(const QCommandLineParser &parser, const QString &name, double lowest, double highest)
{
    bool ok = false;
    const double value = parser.value(name).toDouble(&ok);
    if (!ok || !(value >= lowest && value <= highest))
        refuse(QStringLiteral("--%1 takes a number from %2 to %3").arg(name).arg(lowest).arg(highest));
    return value;
}

} // namespace

Options parseOptions()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Records a camera, a stream or a video file into a finished video."));
    parser.addHelpOption();
    parser.addVersionOption();
    const auto add = [&parser](const char *name, const char *text, const char *value = "",
                         const char *initial = "") {
        parser.addOption(
            {QLatin1String(name), QLatin1String(text), QLatin1String(value), QLatin1String(initial)});
    };
    add("source",
        "What to record: an .avi or .mp4 file (looped), rtsp://..., host/stream, or a device number.",
        "source");
    add("login", "Login for host/stream.", "name");
    add("password", "Password for host/stream.", "text");
    add("rate", "Frames a second in the video.", "Hz", "25");
    add("seconds", "Length of the recording.", "s", "10");
    add("out", "The video to make.", "file", "take.avi");
    add("frame-log", "Leave a frame time log beside the video.");
    add("cut", "Keep only these frames, both included.", "first:last");
    add("no-ffmpeg", "Copy the recording as it is, do not convert it.");
    add("rotate", "Rotation of the camera, 0 to 3 quarter turns.", "N", "0");
    add("flip", "Flip of the camera: 0 none, 1 X, 2 Y, 3 both.", "N", "0");
    parser.process(*QCoreApplication::instance());
    if (!parser.positionalArguments().isEmpty())
        refuse(QStringLiteral("unknown argument %1").arg(parser.positionalArguments().constFirst()));

    Options options;
    options.source = parser.value(QStringLiteral("source"));
    options.login = parser.value(QStringLiteral("login"));
    options.password = parser.value(QStringLiteral("password"));
    options.rate = number(parser, QStringLiteral("rate"), 0.1, 500.0);
    options.seconds = number(parser, QStringLiteral("seconds"), 0.1, 86'400.0);
    options.out = QFileInfo(parser.value(QStringLiteral("out"))).absoluteFilePath();
    options.frameLog = parser.isSet(QStringLiteral("frame-log"));
    options.useFFMpeg = !parser.isSet(QStringLiteral("no-ffmpeg"));
    options.rotation = static_cast<int>(number(parser, QStringLiteral("rotate"), 0, 3));
    options.flip = static_cast<int>(number(parser, QStringLiteral("flip"), 0, 3));
    if (parser.isSet(QStringLiteral("cut"))) {
        const QRegularExpression form(QStringLiteral("^(\\d{1,9}):(\\d{1,9})$"));
        const QRegularExpressionMatch match = form.match(parser.value(QStringLiteral("cut")));
        if (!match.hasMatch() || match.captured(1).toUInt() > match.captured(2).toUInt())
            refuse(QStringLiteral("--cut takes the first and the last frame, such as 10:59"));
        options.cut = std::pair(match.captured(1).toUInt(), match.captured(2).toUInt());
    }
    if (parser.isSet(QStringLiteral("source")) && options.source.isEmpty())
        refuse(QStringLiteral("--source must not be empty"));
    return options;
}

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
    QDir().mkpath(out.absolutePath());
    QTemporaryFile probe(out.absolutePath() + QStringLiteral("/vt-record-XXXXXX"));
    if (!probe.open())
        return QStringLiteral("the folder %1 cannot be written").arg(out.absolutePath());
    if (options.useFFMpeg && QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty())
        return QStringLiteral("ffmpeg is not installed (or use --no-ffmpeg)");
    const bool isAddress = options.source.contains(QLatin1String("://"));
    const QFileInfo file(options.source);
    const QString suffix = file.suffix().toLower();
    const bool isVideoName = suffix == QLatin1String("avi") || suffix == QLatin1String("mp4");
    if (!isAddress && isVideoName && !file.isFile())
        return QStringLiteral("there is no file %1").arg(options.source);
    if (!isAddress && !isVideoName && file.isFile())
        return QStringLiteral("%1 is neither an .avi nor an .mp4 file").arg(options.source);
    if (!isAddress && isVideoName && file == out)
        return QStringLiteral("the source would be overwritten");
    return {};
}
