#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

/**
 * A PulseAudio server of the test's own, whose sinks lead nowhere; what is played into a sink is what its
 * monitor, a microphone, records. Needs no sound card and leaves the user's server alone.
 *
 *     SoundServer server({QStringLiteral("left"), QStringLiteral("right")});
 *     QVERIFY(server.start());
 *     server.play(QStringLiteral("right"), SoundServer::tone(440.0, 5.0));
 *     recorder.setDevice(SoundServer::microphone(QStringLiteral("right")));
 *
 * The first sink's monitor is the default microphone. Make it before any use of Qt Multimedia: it changes the
 * environment.
 */
class SoundServer
{
public:
    static constexpr int rateHz = 44100;

    explicit SoundServer(const QStringList &sinks);
    ~SoundServer();

    /** Why there can be none here; empty if there can. */
    static QString whyMissing();

    bool start();
    void kill();

    /** Plays mono 16-bit \a samples into \a sink, once, beside what is played already. */
    bool play(const QString &sink, const std::vector<qint16> &samples);
    void stopPlaying();

    static QString microphone(const QString &sink) { return sink + QStringLiteral(".monitor"); }

    /** Stops \a sink and its microphone without an error, or lets them go on. */
    static bool suspend(const QString &sink, bool suspended);

    /** A sine whose highest sample is \a peak of full scale. */
    static std::vector<qint16> tone(double hertz, double seconds, double peak = 0.5);

private:
    QTemporaryDir dir;
    QProcess process;
    std::vector<std::unique_ptr<QProcess>> players;
    int played = 0;
};

/** What a file's sound is made of. */
namespace sound {

constexpr int rateHz = 44100;

/** The sound of \a path as mono samples from -1 to 1, by ffmpeg; empty if there is none. */
std::vector<float> samplesIn(const QString &path);

/** The frequency in Hz of a tone whose samples reach beyond 0.1; 0 for silence. It is that of the median
 * period, so breaks do not count. */
double hertz(const std::vector<float> &samples);

/** The seconds at which sound begins after at least 0.2 s of silence. */
std::vector<double> onsets(const std::vector<float> &samples);

} // namespace sound
