#include "support/soundserver.h"

#include "support/programs.h"

#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

constexpr int startMs = 20'000;
constexpr double pi = 3.14159265358979323846;

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    return process.waitForFinished() && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

} // namespace

SoundServer::SoundServer(const QStringList &sinks)
{
    QFile script(dir.filePath(QStringLiteral("server.pa")));
    if (!script.open(QIODevice::WriteOnly))
        qFatal("The sound server's script cannot be written");
    const QString socket = dir.filePath(QStringLiteral("native"));
    QString text =
        QStringLiteral("load-module module-native-protocol-unix auth-anonymous=1 socket=%1\n").arg(socket);
    for (const QString &sink : sinks)
        text += QStringLiteral("load-module module-null-sink sink_name=%1\n").arg(sink);
    text += QStringLiteral("set-default-source %1\n").arg(microphone(sinks.first()));
    script.write(text.toLocal8Bit());

    for (const char *folder : {"HOME", "XDG_RUNTIME_DIR", "PULSE_RUNTIME_PATH"})
        qputenv(folder, QFile::encodeName(dir.path()));
    qputenv("PULSE_SERVER", "unix:" + QFile::encodeName(socket));
    // Without it, such a sink hands its sound out in blocks of one to two seconds.
    qputenv("PULSE_LATENCY_MSEC", "30");
    qunsetenv("PULSE_SOURCE");
    process.setStandardErrorFile(QProcess::nullDevice()); // it warns of root and of a missing D-Bus
}

SoundServer::~SoundServer()
{
    kill();
}

QString SoundServer::whyMissing()
{
    return programs::whyMissing({"pulseaudio", "pacat", "pactl", "ffmpeg"});
}

bool SoundServer::start()
{
    process.start(QStringLiteral("pulseaudio"),
        {QStringLiteral("-n"), QStringLiteral("-F"), dir.filePath(QStringLiteral("server.pa")),
            QStringLiteral("--daemonize=no"), QStringLiteral("--use-pid-file=no"),
            QStringLiteral("--exit-idle-time=-1")});
    QElapsedTimer timer;
    timer.start();
    while (process.waitForStarted() && timer.elapsed() < startMs) {
        if (run(QStringLiteral("pactl"), {QStringLiteral("info")}))
            return true;
        QThread::msleep(20);
    }
    return false;
}

void SoundServer::kill()
{
    stopPlaying();
    process.kill();
    process.waitForFinished();
}

bool SoundServer::play(const QString &sink, const std::vector<qint16> &samples)
{
    QFile file(dir.filePath(QStringLiteral("sound%1").arg(++played)));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(
        reinterpret_cast<const char *>(samples.data()), qint64(samples.size() * sizeof(samples.front())));
    file.close();
    players.push_back(std::make_unique<QProcess>());
    players.back()->start(QStringLiteral("pacat"),
        {QStringLiteral("--device=") + sink, QStringLiteral("--format=s16ne"),
            QStringLiteral("--rate=%1").arg(rateHz), QStringLiteral("--channels=1"), file.fileName()});
    return players.back()->waitForStarted();
}

void SoundServer::stopPlaying()
{
    for (const std::unique_ptr<QProcess> &player : players) {
        player->kill();
        player->waitForFinished();
    }
    players.clear();
}

bool SoundServer::suspend(const QString &sink, bool suspended)
{
    return run(QStringLiteral("pactl"), {QStringLiteral("suspend-sink"), sink, QString::number(suspended)});
}

std::vector<qint16> SoundServer::tone(double hertz, double seconds, double peak)
{
    std::vector<qint16> samples(size_t(rateHz * seconds));
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = qint16(32767 * peak * std::sin(2 * pi * hertz * double(i) / rateHz));
    return samples;
}

std::vector<float> sound::samplesIn(const QString &path)
{
    QProcess ffmpeg;
    ffmpeg.setStandardErrorFile(QProcess::nullDevice());
    ffmpeg.start(QStringLiteral("ffmpeg"),
        {QStringLiteral("-nostdin"), QStringLiteral("-i"), path, QStringLiteral("-vn"), QStringLiteral("-ac"),
            QStringLiteral("1"), QStringLiteral("-ar"), QString::number(rateHz), QStringLiteral("-f"),
            QStringLiteral("f32le"), QStringLiteral("-")});
    ffmpeg.waitForFinished();
    const QByteArray bytes = ffmpeg.readAllStandardOutput();
    std::vector<float> samples(size_t(bytes.size()) / sizeof(float));
    std::copy_n(bytes.constData(), samples.size() * sizeof(float), reinterpret_cast<char *>(samples.data()));
    return samples;
}

double sound::hertz(const std::vector<float> &samples)
{
    constexpr float level = 0.1F;
    std::vector<double> periods;
    std::optional<double> last;
    bool isLow = false;
    for (size_t i = 1; i < samples.size(); ++i) {
        isLow = isLow || samples[i] < -level;
        if (!isLow || samples[i] <= level)
            continue;
        isLow = false;
        const double rise = double(i) - double((samples[i] - level) / (samples[i] - samples[i - 1]));
        if (last)
            periods.push_back(rise - *last);
        last = rise;
    }
    if (periods.empty())
        return 0;
    const auto middle = periods.begin() + std::ptrdiff_t(periods.size() / 2);
    std::nth_element(periods.begin(), middle, periods.end());
    return rateHz / *middle;
}

std::vector<double> sound::onsets(const std::vector<float> &samples)
{
    std::vector<double> found;
    int silent = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (std::abs(samples[i]) < 0.1F) {
            ++silent;
            continue;
        }
        if (silent > rateHz / 5)
            found.push_back(double(i) / rateHz);
        silent = 0;
    }
    return found;
}
