#include "ffmpeg/ffmpegcall_p.h"

#include <QDeadlineTimer>
#include <QProcess>

namespace {

constexpr int lookMs = 100;
constexpr int endMs = 2000;
constexpr int keptText = 2000;

QString runFor(
    QByteArray &output, const QStringList &arguments, int timeoutMs, const std::function<bool()> &isCancelled)
{
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral("ffmpeg"),
        QStringList{
            QStringLiteral("-nostdin"), QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y")}
            + arguments);
    if (!process.waitForStarted())
        return QStringLiteral("ffmpeg cannot be started: ") + process.errorString();

    QString text;
    const QDeadlineTimer deadline(timeoutMs);
    bool isEnded = false;
    while (!isEnded && !deadline.hasExpired() && !isCancelled()) {
        isEnded = process.waitForFinished(lookMs) || process.state() == QProcess::NotRunning;
        text = (text + QString::fromLocal8Bit(process.readAllStandardError())).right(keptText);
        output = (output + process.readAllStandardOutput()).right(keptText);
    }
    if (!isEnded) {
        process.kill();
        process.waitForFinished(endMs);
        return isCancelled() ? QStringLiteral("ffmpeg was stopped") : QStringLiteral("ffmpeg took too long");
    }
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return {};
    text = text.trimmed().section(QLatin1Char('\n'), -1);
    return text.isEmpty() ? QStringLiteral("ffmpeg failed with exit code %1").arg(process.exitCode()) : text;
}

} // namespace

QString ffmpegcall::run(const QStringList &arguments, int timeoutMs, const std::function<bool()> &isCancelled)
{
    QByteArray output;
    return runFor(output, arguments, timeoutMs, isCancelled);
}

double ffmpegcall::soundLengthS(const QString &path, int timeoutMs, const std::function<bool()> &isCancelled)
{
    QByteArray output;
    runFor(output,
        {QStringLiteral("-i"), path, QStringLiteral("-map"), QStringLiteral("0:a:0"),
            QStringLiteral("-progress"), QStringLiteral("pipe:1"), QStringLiteral("-f"),
            QStringLiteral("null"), QStringLiteral("-")},
        timeoutMs, isCancelled);
    const QByteArray key = "out_time_us=";
    const int at = output.lastIndexOf(key);
    return at < 0 ? 0.0 : output.mid(at + key.size()).split('\n').first().trimmed().toDouble() / 1e6;
}
