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
    double lifeS;
};

using Piece = SoundTimeline::Piece;

// `count` passes whose n-th comes `stepS(n)` after the one before, and writes `frames(n)` frames.
std::vector<Pass> passes(
    int count, const std::function<double(int)> &stepS, const std::function<int(int)> &frames = {})
{
    std::vector<Pass> all;
    Pass pass{0, 100.0};
    for (int n = 0; n < count; ++n) {
        pass.lifeS += n ? stepS(n) : 0.0;
        pass.frames += quint64(frames ? frames(n) : 1);
        all.push_back(pass);
    }
    return all;
}

SoundTimeline timelineOf(double rate, const std::vector<Pass> &all)
{
    SoundTimeline timeline(rate);
    for (const Pass &pass : all)
        timeline.addPass(pass.frames, pass.lifeS);
    return timeline;
}

} // namespace

Q_DECLARE_METATYPE(std::vector<Pass>)

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
        QVERIFY(std::abs(pieces.back().end - double(all.back().frames) / rate) < 1e-6);
        size_t at = 0;
        for (const Pass &pass : all) {
            const double video = double(pass.frames - 1) / rate;
            while (pieces[at].end <= video + 1e-9)
                ++at;
            const Piece &piece = pieces[at];
            const double life = piece.lifeBegin
                + (video - piece.begin) * (piece.lifeEnd - piece.lifeBegin) / (piece.end - piece.begin);
            QVERIFY2(std::abs(life - pass.lifeS) < 0.03, qPrintable(QString::number(life - pass.lifeS)));
        }
    }

    void cutKeepsWhatLiesUnderItsFrames()
    {
        // 100 frames, a pause of 5 s, 100 frames; of them the frames 50 to 149.
        const SoundTimeline timeline =
            timelineOf(25.0, passes(200, [](int n) { return n == 100 ? 5.04 : 0.04; }));
        const std::vector<Piece> cut = timeline.pieces(std::pair(50.0, 149.0));
        QCOMPARE(int(cut.size()), 2);
        QVERIFY(std::abs(cut[0].begin) + std::abs(cut[1].begin - 2.0) + std::abs(cut[1].end - 4.0) < 1e-6);
        QVERIFY(std::abs(cut[0].lifeBegin - 102.0) < 1e-6 && std::abs(cut[0].lifeEnd - 104.0) < 1e-6);
        QVERIFY(std::abs(cut[1].lifeBegin - 109.0) < 1e-6);
    }

    void filtersTrimPadAndStretch()
    {
        const auto filters = [](const Piece &piece, double startS) {
            return SoundTimeline::conversion({piece}, {startS, 1.0, 60.0}).filters;
        };
        const QString trimmed = filters({0, 4, 100, 104}, 99.5);
        QVERIFY2(trimmed.contains(QStringLiteral("atrim=0.500000:4.500000")), qPrintable(trimmed));
        QVERIFY(!trimmed.contains(QStringLiteral("adelay")) && !trimmed.contains(QStringLiteral("atempo")));
        const QString padded = filters({0, 4, 100, 104}, 100.25);
        QVERIFY2(padded.contains(QStringLiteral("atrim=0.000000:3.750000")), qPrintable(padded));
        QVERIFY(padded.contains(QStringLiteral("adelay=250.000000:all=1")));
        QVERIFY(padded.contains(QStringLiteral("apad=whole_dur=4.000000,atrim=end=4.000000")));
        QVERIFY(filters({0, 4, 100, 104.4}, 100).contains(QStringLiteral("atempo=1.100000")));
        QVERIFY(filters({0, 4, 100, 104}, 200).contains(QStringLiteral("volume=0,adelay=4000")));
        QVERIFY(SoundTimeline::conversion({}, {}).inputs.empty());
    }

    void soundInManyPiecesIsTheSoundInOne()
    {
        SKIP_WITHOUT("ffmpeg");
        // A tone that rises all the time tells each place in the file; 40 pieces of it, then silence.
        std::vector<Piece> pieces;
        for (int i = 0; i < 50; ++i)
            pieces.push_back({i * 0.25, (i + 1) * 0.25, 100 + i * 0.25, 100 + (i + 1) * 0.25});
        const QTemporaryDir dir;
        const QString tone = dir.filePath(QStringLiteral("tone.wav"));
        const auto run = [](const QStringList &arguments) {
            return ffmpegcall::run(arguments, 60'000, [] { return false; });
        };
        QCOMPARE(run({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                     QStringLiteral("aevalsrc=0.5*sin(300*t*t):d=10:s=44100"), tone}),
            QString());
        const auto conversion = SoundTimeline::conversion(pieces, {100, 1, 10});
        QVERIFY(conversion.inputs.size() > 2);
        QStringList arguments;
        for (double beginS : conversion.inputs)
            arguments << QStringLiteral("-ss") << QString::number(beginS) << QStringLiteral("-i") << tone;
        const QString made = dir.filePath(QStringLiteral("made.wav"));
        QCOMPARE(run(arguments
                     + QStringList{QStringLiteral("-filter_complex"), conversion.filters,
                         QStringLiteral("-map"), QStringLiteral("[out]"), made}),
            QString());
        const std::vector<float> before = sound::samplesIn(tone);
        const std::vector<float> after = sound::samplesIn(made);
        QCOMPARE(std::round(double(after.size()) / sound::rateHz * 100), 1250.0);
        double worst = 0;
        for (size_t i = 0; i < after.size(); ++i)
            worst = std::max(worst, double(std::abs(after[i] - (i < before.size() ? before[i] : 0.0F))));
        QVERIFY2(worst < 0.001, qPrintable(QString::number(worst)));
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
};

QTEST_APPLESS_MAIN(SoundTimelineTest)
#include "tst_soundtimeline.moc"
