#include "ffmpeg/ffmpegcall_p.h"

#include "ffmpeg/ffmpegchild_p.h"

#include <utility>

namespace {

constexpr int keptOutput = 2000;

QString runFor(QByteArray &printed, const QStringList &arguments, const QString &output, int timeoutMs,
    const std::function<bool()> &isCancelled)
{
    FFMpegChild child;
    QObject::connect(&child, &FFMpegChild::printed, &child,
        [&](const QByteArray &chunk) { printed = (printed + chunk).right(keptOutput); });
    child.start(QStringList{QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"),
                    QStringLiteral("-y")}
            + arguments,
        {output, {}, false});
    const bool isEnded = child.waitFor(timeoutMs, isCancelled);
    const FFMpegChild::Result &result = child.result();
    if (result.ok)
        return {};
    if (!isEnded && result.code == -1)
        return QStringLiteral("ffmpeg cannot be started: ") + result.text;
    if (!isEnded)
        return isCancelled() ? QStringLiteral("ffmpeg was stopped") : QStringLiteral("ffmpeg took too long");
    const QString reason =
        result.fault.isEmpty() ? result.text.trimmed().section(QLatin1Char('\n'), -1) : result.fault;
    return reason.isEmpty() ? QStringLiteral("ffmpeg failed with exit code %1").arg(result.code) : reason;
}

} // namespace

QString ffmpegcall::run(const QStringList &arguments, int timeoutMs, const std::function<bool()> &isCancelled)
{
    QByteArray printed;
    return runFor(printed, arguments, arguments.value(arguments.size() - 1), timeoutMs, isCancelled);
}

double ffmpegcall::soundLengthS(const QString &path, int timeoutMs, const std::function<bool()> &isCancelled)
{
    QByteArray printed;
    runFor(printed,
        {QStringLiteral("-i"), FFMpegChild::path(path), QStringLiteral("-map"), QStringLiteral("0:a:0"),
            QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-f"),
            QStringLiteral("null"), QStringLiteral("-")},
        {}, timeoutMs, isCancelled);
    const QByteArray key = "out_time_us=";
    const int at = printed.lastIndexOf(key);
    return at < 0 ? 0.0 : printed.mid(at + key.size()).split('\n').first().trimmed().toDouble() / 1e6;
}
