#include "ffmpeg/ffmpegcall_p.h"
#include "recording/soundtimeline_p.h"
#include "support/programs.h"
#include "support/soundserver.h"

#include <QtTest>

#include <functional>

namespace {

struct Pass
{
    quint64 frames;
    double wallS;
};

using Piece = SoundTimeline::Piece;

// `count` passes whose n-th comes `stepS(n)` after the one before, and writes `frames(n)` frames.
std::vector<Pass> passes(
    int count, const std::function<double(int)> &stepS, const std::function<int(int)> &frames = {})
{
    std::vector<Pass> all;
    Pass pass{0, 100.0};
    for (int n = 0; n < count; ++n) {
        pass.wallS += n ? stepS(n) : 0.0;
        pass.frames += quint64(frames ? frames(n) : 1);
        all.push_back(pass);
    }
    return all;
}

SoundTimeline timelineOf(double rate, const std::vector<Pass> &all)
{
    SoundTimeline timeline(rate);
    for (const Pass &pass : all)
        timeline.addPass(pass.frames, pass.wallS);
    return timeline;
}

} // namespace

Q_DECLARE_METATYPE(std::vector<Pass>)
Q_DECLARE_METATYPE(Piece)

class SoundTimelineTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFrameKeepsItsTimeInFewPieces_data()
    {
        QTest::addColumn<double>("rate");
        QTest::addColumn<std::vector<Pass>>("all");
        QTest::addColumn<int>("most"); // pieces
        const auto even = [](int) { return 0.040; };
        QTest::newRow("exact") << 25.0 << passes(5000, even) << 1;
        QTest::newRow("period cut to whole ms") << 24.0 << passes(20000, [](int) { return 0.041; }) << 1;
        QTest::newRow("early and late by turns")
            << 25.0 << passes(5000, [](int n) { return n % 2 ? 0.030 : 0.050; }) << 1;
        QTest::newRow("pauses") << 25.0 << passes(5000, [](int n) { return n % 1000 ? 0.040 : 7.0; }) << 5;
        QTest::newRow("inserted frames")
            << 25.0 << passes(1000, even, [](int n) { return n == 500 ? 51 : 1; }) << 2;
        QTest::newRow("slow encoder for a while")
            << 25.0 << passes(5000, [](int n) { return n / 1000 == 2 ? 0.090 : 0.040; }) << 3;
        QTest::newRow("slower and slower")
            << 25.0 << passes(1000, [](int n) { return 0.040 + n * 0.00005; }) << 40;
    }

    void everyFrameKeepsItsTimeInFewPieces()
    {
        QFETCH(double, rate);
        QFETCH(std::vector<Pass>, all);
        QFETCH(int, most);
        const SoundTimeline timeline = timelineOf(rate, all);
        const std::vector<Piece> pieces = timeline.pieces();
        QVERIFY2(int(pieces.size()) <= most, qPrintable(QString::number(pieces.size())));
        QCOMPARE(timeline.firstFrameS().value(), 100.0);
        QVERIFY(std::abs(pieces.back().videoEnd - double(all.back().frames) / rate) < 1e-6);
        size_t at = 0;
        for (const Pass &pass : all) {
            const double video = double(pass.frames - 1) / rate;
            while (pieces[at].videoEnd <= video + 1e-9)
                ++at;
            const Piece &piece = pieces[at];
            const double wall = piece.wallBegin
                + (video - piece.videoBegin) * (piece.wallEnd - piece.wallBegin)
                    / (piece.videoEnd - piece.videoBegin);
            QVERIFY2(std::abs(wall - pass.wallS) < 0.03, qPrintable(QString::number(wall - pass.wallS)));
        }
    }

    void cutKeepsWhatLiesUnderItsFrames()
    {
        // 100 frames, a pause of 5 s, 100 frames; of them the frames 50 to 149.
        const SoundTimeline timeline =
            timelineOf(25.0, passes(200, [](int n) { return n == 100 ? 5.04 : 0.04; }));
        const std::vector<Piece> cut = timeline.pieces(std::pair(50.0, 149.0));
        QCOMPARE(int(cut.size()), 2);
        QVERIFY(
            std::abs(cut[0].videoBegin) + std::abs(cut[1].videoBegin - 2.0) + std::abs(cut[1].videoEnd - 4.0)
            < 1e-6);
        QVERIFY(std::abs(cut[0].wallBegin - 102.0) < 1e-6 && std::abs(cut[0].wallEnd - 104.0) < 1e-6);
        QVERIFY(std::abs(cut[1].wallBegin - 109.0) < 1e-6);
    }

    void soundIsTrimmedPaddedAndStretched_data()
    {
        QTest::addColumn<Piece>("piece");
        QTest::addColumn<double>("startS");
        QTest::addColumn<double>("speed"); // seconds of the file in a second of the video
        QTest::newRow("trimmed") << Piece{0, 4, 100, 104} << 99.5 << 1.0;
        QTest::newRow("delayed") << Piece{0, 4, 100, 104} << 101.0 << 1.0;
        QTest::newRow("faster") << Piece{0, 4, 100, 104.4} << 100.0 << 1.1;
        QTest::newRow("slower, after a gap") << Piece{1, 4, 102, 104.4} << 101.0 << 0.8;
        QTest::newRow("nothing of it") << Piece{0, 4, 100, 104} << 200.0 << 1.0;
    }

    void soundIsTrimmedPaddedAndStretched()
    {
        SKIP_WITHOUT("ffmpeg");
        QFETCH(Piece, piece);
        QFETCH(double, startS);
        QFETCH(double, speed);
        const std::vector<float> made = converted({piece}, startS);
        QCOMPARE(std::round(double(made.size()) / sound::rateHz * 100), 400.0);
        for (double at : {0.5, 1.5, 2.5, 3.5}) {
            const double inFileS = piece.wallBegin - startS + (at - piece.videoBegin) * speed;
            const auto from = made.begin() + std::ptrdiff_t((at - 0.1) * sound::rateHz);
            const double heard = sound::hertz({from, from + sound::rateHz / 5});
            const double expected = at < piece.videoBegin || inFileS < 0 ? 0 : toneHz(inFileS);
            QVERIFY2(std::abs(heard - expected) < 15, qPrintable(QString("%1 s: %2").arg(at).arg(heard)));
        }
    }

    void soundInManyPiecesIsTheSoundInOne()
    {
        SKIP_WITHOUT("ffmpeg");
        std::vector<Piece> pieces; // 40 of the tone, then silence
        for (int i = 0; i < 50; ++i)
            pieces.push_back({i * 0.25, (i + 1) * 0.25, 100 + i * 0.25, 100 + (i + 1) * 0.25});
        const std::vector<float> after = converted(pieces, 100);
        const std::vector<float> before = sound::samplesIn(dir.filePath("tone.wav"));
        QCOMPARE(std::round(double(after.size()) / sound::rateHz * 100), 1250.0);
        double worst = 0;
        for (size_t i = 0; i < after.size(); ++i)
            worst = std::max(worst, double(std::abs(after[i] - (i < before.size() ? before[i] : 0.0F))));
        QVERIFY2(worst < 0.001, qPrintable(QString::number(worst)));
        QVERIFY(SoundTimeline::conversion(pieces, {100, 1, 10}).inputs.size() > 2);
        QVERIFY(SoundTimeline::conversion({}, {}).inputs.empty());
    }

    void clockTakesTheLagOfTheEncoderOut()
    {
        // Looks at the length are 0.15 s late; the file began at 10 and was stopped at 20.
        const auto clock = SoundTimeline::clockOf({10.17, 10.15, 10.16, 10.15}, 20.0, 10.0);
        QVERIFY(std::abs(clock.startS - 10.0) < 1e-6);
        QCOMPARE(clock.speed, 1.0);
        QCOMPARE(SoundTimeline::clockOf({10.15, 10.17}, {}, 10.0).startS, 10.15); // it failed
        QCOMPARE(SoundTimeline::clockOf({}, 20.0, 9.0).startS, 11.0); // too short for a look
        // A sound card that loses 1 s in 1000 s.
        std::vector<double> begins;
        for (int i = 0; i <= 1000; ++i)
            begins.push_back(10.15 + i / 1000.0);
        const auto slow = SoundTimeline::clockOf(begins, 1010.0, 999.0);
        QVERIFY(std::abs(slow.startS - 10.0) < 0.01);
        QVERIFY(std::abs(slow.speed - 0.999) < 0.0001);
    }

private:
    // 10 s of a tone that rises all the time, so that it tells each place in the file.
    static double toneHz(double atS) { return 200 + 100 * atS; }

    // The sound that ffmpeg makes of the tone for those pieces.
    std::vector<float> converted(const std::vector<Piece> &pieces, double startS)
    {
        const auto run = [](const QStringList &arguments) {
            return ffmpegcall::run(arguments, 60'000, [] { return false; });
        };
        const QString tone = dir.filePath("tone.wav");
        QString error =
            run({"-f", "lavfi", "-i", "aevalsrc=0.5*sin(2*PI*(200*t+50*t*t)):d=10:s=44100", tone});
        const auto conversion = SoundTimeline::conversion(pieces, {startS, 1, 10});
        const QString made = dir.filePath("made.wav");
        error += run(conversion.inputArguments(tone)
            + QStringList{"-filter_complex", conversion.filters, "-map", "[out]", made});
        return error.isEmpty() ? sound::samplesIn(made) : std::vector<float>();
    }

    QTemporaryDir dir;
};

QTEST_APPLESS_MAIN(SoundTimelineTest)
#include "tst_soundtimeline.moc"
