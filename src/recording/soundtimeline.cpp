#include "recording/soundtimeline_p.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double jumpS = 0.06;
constexpr double toleranceS = 0.02;
constexpr size_t finePieces = 100; // a recording in more pieces than that is followed more coarsely
constexpr double leastStretchS = 0.004; // a smaller difference is not worth the stretching
constexpr size_t looks = 5; // at the length of a sound, of which the best counts
constexpr double greatestLagS = 0.5;
constexpr double driftCountsS = 60.0;
constexpr size_t piecesAtATime = 16;
constexpr double slowest = 0.5; // what ffmpeg's filter can do
constexpr double fastest = 100.0;

QString seconds(double value)
{
    return QString::number(value, 'f', 6);
}

} // namespace

SoundTimeline::Clock SoundTimeline::clockOf(
    const std::vector<double> &begins, std::optional<double> stopS, double lengthS)
{
    if (begins.empty())
        return {stopS.value_or(0.0) - lengthS, 1.0, lengthS};
    const auto window = std::ptrdiff_t(std::min(begins.size(), looks));
    const double early = *std::min_element(begins.begin(), begins.begin() + window);
    const double late = *std::min_element(begins.end() - window, begins.end());
    if (!stopS || lengthS <= 0.0)
        return {early, 1.0, lengthS};
    const double lag = std::clamp(late - (*stopS - lengthS), 0.0, greatestLagS);
    const double drift = late - early;
    Clock clock{early - lag, 1.0, lengthS};
    if (lengthS > driftCountsS && std::abs(drift) > toleranceS)
        clock.speed = lengthS / (lengthS + drift);
    return clock;
}

SoundTimeline::SoundTimeline(double frameRateHz) : period(frameRateHz > 0.0 ? 1.0 / frameRateHz : 0.0) { }

double SoundTimeline::tolerance() const
{
    const size_t coarser = done.size() / finePieces;
    return toleranceS * double(1 + coarser);
}

void SoundTimeline::begin(Pass pass)
{
    start = pass;
    last = pass;
    lowest = 0.0;
    highest = std::numeric_limits<double>::infinity();
}

void SoundTimeline::addPass(quint64 frames, double lifeS)
{
    if (frames == 0 || period == 0.0)
        return;
    const Pass pass{double(frames - 1) * period, lifeS};
    if (!first) {
        first = Pass{0.0, lifeS - pass.video};
        begin({pass.video, lifeS});
        return;
    }
    const double step = pass.video - last.video;
    if (step <= 0.0)
        return; // a pass that wrote nothing
    if (std::abs(pass.life - last.life - step) > jumpS) {
        close(done);
        begin(pass);
        return;
    }
    for (int round = 0; round < 2; ++round) {
        const double length = pass.video - start.video;
        const double low = std::max(lowest, (pass.life - start.life - tolerance()) / length);
        const double high = std::min(highest, (pass.life - start.life + tolerance()) / length);
        if (low <= high) {
            lowest = low;
            highest = high;
            break;
        }
        // No line fits any more: a new piece, which joins the old one without a gap.
        done.push_back({start.video, last.video, start.life, last.life});
        begin(last);
    }
    last = pass;
}

// The last frame of a piece is shown for a whole period.
void SoundTimeline::close(std::vector<Piece> &to) const
{
    const double length = last.video - start.video;
    const double slope = length > 0.0 ? (last.life - start.life) / length : 1.0;
    to.push_back({start.video, last.video + period, start.life, last.life + period * slope});
}

std::optional<double> SoundTimeline::firstFrameS() const
{
    return first ? std::optional(first->life) : std::nullopt;
}

std::vector<SoundTimeline::Piece> SoundTimeline::pieces(std::optional<std::pair<double, double>> frames) const
{
    std::vector<Piece> all = done;
    if (first)
        close(all);
    if (!frames)
        return all;
    const double from = frames->first * period;
    const double to = (frames->second + 1.0) * period;
    std::vector<Piece> cut;
    for (Piece piece : all) {
        const double slope = (piece.lifeEnd - piece.lifeBegin) / (piece.end - piece.begin);
        if (piece.end <= from || piece.begin >= to)
            continue;
        if (piece.begin < from) {
            piece.lifeBegin += (from - piece.begin) * slope;
            piece.begin = from;
        }
        if (piece.end > to) {
            piece.lifeEnd -= (piece.end - to) * slope;
            piece.end = to;
        }
        cut.push_back({piece.begin - from, piece.end - from, piece.lifeBegin, piece.lifeEnd});
    }
    return cut;
}

SoundTimeline::Conversion SoundTimeline::conversion(const std::vector<Piece> &pieces, const Clock &clock)
{
    Conversion result;
    QStringList inputs; // of the pieces of one opened file
    QStringList outputs;
    QStringList chains;
    double reached = 0.0; // in the video
    for (size_t i = 0; i < pieces.size(); ++i) {
        const Piece &piece = pieces[i];
        // Frames that were inserted before the piece are silent.
        const double gap = std::max(0.0, piece.begin - reached);
        const double length = piece.end - piece.begin;
        reached = piece.end;
        double from = (piece.lifeBegin - clock.startS) * clock.speed;
        double to = (piece.lifeEnd - clock.startS) * clock.speed;
        double speed = std::clamp((to - from) / length, slowest, fastest);
        if (std::abs(to - from - length) < leastStretchS) {
            speed = 1.0;
            to = from + length;
        }
        const double silence = gap + std::min(length, std::max(0.0, -from) / speed);
        const bool isSilent = to <= 0.0 || (clock.lengthS > 0.0 && from >= clock.lengthS - leastStretchS);
        if (i % piecesAtATime == 0)
            result.inputs.push_back(i == 0 ? 0.0 : std::max(0.0, std::min(from, clock.lengthS - 1.0)));
        from = std::max(0.0, from - result.inputs.back());
        to -= result.inputs.back();
        QString chain = QStringLiteral("[in%1]").arg(i);
        if (!isSilent) {
            chain += QStringLiteral("atrim=%1:%2,asetpts=PTS-STARTPTS").arg(seconds(from), seconds(to));
            if (speed != 1.0)
                chain += QStringLiteral(",atempo=%1").arg(seconds(speed));
        } else {
            chain += QStringLiteral("volume=0");
        }
        if (silence > 0.0)
            chain += QStringLiteral(",adelay=%1:all=1").arg(seconds(silence * 1000.0));
        const QString whole = seconds(gap + length);
        chains << chain + QStringLiteral(",apad=whole_dur=%1,atrim=end=%1[out%2]").arg(whole).arg(i);
        inputs << QStringLiteral("[in%1]").arg(i);
        outputs << QStringLiteral("[out%1]").arg(i);
        if (inputs.size() == int(piecesAtATime) || i + 1 == pieces.size()) {
            chains << QStringLiteral("[%1:a:0]asplit=%2%3")
                          .arg(result.inputs.size() - 1)
                          .arg(inputs.size())
                          .arg(inputs.join(QString()));
            inputs.clear();
        }
    }
    if (chains.isEmpty())
        return {};
    chains << outputs.join(QString()) + QStringLiteral("concat=n=%1:v=0:a=1[out]").arg(outputs.size());
    result.filters = chains.join(QStringLiteral(";\n"));
    return result;
}
