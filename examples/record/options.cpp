#include "options.h"

#include "console.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>

#include <cstdlib>

namespace {

[[noreturn]] void refuse(const QString &reason)
{
    Console::fault(reason);
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

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Records a camera, a stream or a video file into a finished video.\n\n"
        "While it is recorded, the video grows in a hidden folder beside its destination, on the "
        "same disk.\nWhat cannot be delivered stays there, and the last line says where. The "
        "folder goes when it is empty.\nCtrl-C ends the recording in good order."));
    parser.addHelpOption();
    parser.addVersionOption();
    const auto add = [&parser](const char *name, const char *text, const char *value = "",
                         const char *initial = "") {
        const QString preset = QString::fromLatin1(initial);
        QString description = QString::fromLatin1(text);
        if (!preset.isEmpty())
            description += QStringLiteral(" Default: %1.").arg(preset);
        parser.addOption({QLatin1String(name), description, QLatin1String(value), preset});
    };
    parser.addPositionalArgument(QStringLiteral("source"),
        QStringLiteral(
            "What to record: an .avi or .mp4 file (looped), rtsp://..., host/stream, or the number "
            "of a device. Default: a sample video."),
        QStringLiteral("[source]"));
    add("source", "The same as an option.", "source");
    add("login", "Login for host/stream.", "name");
    add("password", "Password for host/stream. It is stored nowhere.", "text");
    add("rate", "Frames a second in the video.", "Hz", "25");
    add("seconds", "Length of the recording.", "s", "10");
    add("out", "The video to make. A file of that name is replaced.", "file", "take.mkv");
    parser.addOption({QStringLiteral("temp"),
        QStringLiteral("Where the recording grows. Default: .vt-record beside the video."),
        QStringLiteral("folder")});
    add("delivery",
        "How the video is made: quality (H.264), copy (not encoded again), ffmpeg (as ffmpeg chooses by the "
        "suffix), custom.",
        "kind", "quality");
    add("crf", "Constant rate factor of quality: 0 is without loss, 51 the worst.", "N", "18");
    add("encoder", "Arguments of ffmpeg for custom, such as \"-c:v h264_nvenc\".", "arguments");
    add("no-ffmpeg", "Move the recording as it is, without ffmpeg.");
    add("keep-pace", "Repeat a frame where the encoder is late, so that 10 s give 10 s: on or off.", "switch",
        "on");
    add("frame-log", "Leave a frame time log beside the video: take.log.");
    add("frame-list", "Leave a list of frames beside the video: take.frames.csv.");
    add("result", "Leave how the recording ended beside the video: take.json.");
    add("cut", "Keep only these frames, both included.", "first:last");
    add("min-free", "End in good order when its disk has less space than this.", "MiB", "64");
    add("rotate", "Rotation of the camera, 0 to 3 quarter turns.", "N", "0");
    add("flip", "Flip of the camera: 0 none, 1 X, 2 Y, 3 both.", "N", "0");
    add("recover",
        "Record nothing: list the recordings that were left in temporary folders, and deliver them to the "
        "folder that stands in the place of the source, if there is one.");
}

// The index of the word that was given.
int choice(const QCommandLineParser &parser, const QString &name, const QStringList &words)
{
    const int index = words.indexOf(parser.value(name));
    if (index < 0)
        refuse(QStringLiteral("--%1 takes one of %2").arg(name, words.join(QLatin1String(", "))));
    return index;
}

Options::Delivery deliveryOf(const QCommandLineParser &parser)
{
    const QString name = QStringLiteral("delivery");
    const int kind = choice(parser, name,
        {QStringLiteral("quality"), QStringLiteral("copy"), QStringLiteral("ffmpeg"),
            QStringLiteral("custom")});
    if (!parser.isSet(QStringLiteral("no-ffmpeg")))
        return Options::Delivery(kind);
    if (parser.isSet(name))
        refuse(QStringLiteral("--delivery and --no-ffmpeg exclude each other"));
    return Options::Delivery::Plain;
}

QString sourceOf(const QCommandLineParser &parser)
{
    const QStringList arguments = parser.positionalArguments();
    const bool isOption = parser.isSet(QStringLiteral("source"));
    if (arguments.size() > (isOption ? 0 : 1))
        refuse(QStringLiteral("unknown argument %1").arg(arguments.constLast()));
    QString source = isOption ? parser.value(QStringLiteral("source")) : arguments.value(0);
    if (source.isEmpty() && (isOption || !arguments.isEmpty()))
        refuse(QStringLiteral("the source must not be empty"));
    return source;
}

} // namespace

Options parseOptions()
{
    QCommandLineParser parser;
    describe(parser);
    parser.process(*QCoreApplication::instance());

    Options options;
    options.source = sourceOf(parser);
    options.recovers = parser.isSet(QStringLiteral("recover"));
    if (options.recovers && !options.source.isEmpty())
        options.recoverTo = QFileInfo(options.source).absoluteFilePath();
    options.login = parser.value(QStringLiteral("login"));
    options.password = parser.value(QStringLiteral("password"));
    options.rate = number(parser, QStringLiteral("rate"), 0.1, 500.0);
    options.seconds = number(parser, QStringLiteral("seconds"), 0.1, 86'400.0);
    const QFileInfo out(parser.value(QStringLiteral("out")));
    options.out = out.absoluteFilePath();
    const QString temp = parser.value(QStringLiteral("temp"));
    options.tempIsOwn = temp.isEmpty();
    options.temp = options.tempIsOwn ? out.absolutePath() + QStringLiteral("/.vt-record")
                                     : QFileInfo(temp).absoluteFilePath();
    options.frameLog = parser.isSet(QStringLiteral("frame-log"));
    options.frameList = parser.isSet(QStringLiteral("frame-list"));
    options.resultFile = parser.isSet(QStringLiteral("result"));
    options.keepPace =
        choice(parser, QStringLiteral("keep-pace"), {QStringLiteral("on"), QStringLiteral("off")}) == 0;
    options.minFreeBytes =
        static_cast<qint64>(number(parser, QStringLiteral("min-free"), 0, 1e6) * 1024 * 1024);
    options.delivery = deliveryOf(parser);
    options.crf = static_cast<int>(number(parser, QStringLiteral("crf"), 0, 51));
    options.encoder = parser.value(QStringLiteral("encoder")).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (options.encoder.isEmpty() == (options.delivery == Options::Delivery::Custom))
        refuse(QStringLiteral("--encoder and --delivery custom need each other"));
    options.rotation = static_cast<int>(number(parser, QStringLiteral("rotate"), 0, 3));
    options.flip = static_cast<int>(number(parser, QStringLiteral("flip"), 0, 3));
    if (parser.isSet(QStringLiteral("cut"))) {
        const QRegularExpression form(QStringLiteral("^(\\d{1,9}):(\\d{1,9})$"));
        const QRegularExpressionMatch match = form.match(parser.value(QStringLiteral("cut")));
        if (!match.hasMatch() || match.captured(1).toUInt() > match.captured(2).toUInt())
            refuse(QStringLiteral("--cut takes the first and the last frame, such as 10:59"));
        options.cut = std::pair(match.captured(1).toUInt(), match.captured(2).toUInt());
    }
    return options;
}
