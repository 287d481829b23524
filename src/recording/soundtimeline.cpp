#include "recording/soundtimeline_p.h"

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

SoundTimeline::SoundClock SoundTimeline::clockOf(
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
    SoundClock clock{early - lag, 1.0, lengthS};
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

void SoundTimeline::addPass(quint64 frames, double wallS)
{
    if (frames == 0 || period == 0.0)
        return;
    const Pass pass{double(frames - 1) * period, wallS};
    if (!first) {
        first = Pass{0.0, wallS - pass.video};
        begin({pass.video, wallS});
        return;
    }
    const double step = pass.video - last.video;
    if (step <= 0.0)
        return; // a pass that wrote nothing
    if (std::abs(pass.wall - last.wall - step) > jumpS) {
        close(done);
        begin(pass);
        return;
    }
    for (int round = 0; round < 2; ++round) {
        const double length = pass.video - start.video;
        const double low = std::max(lowest, (pass.wall - start.wall - tolerance()) / length);
        const double high = std::min(highest, (pass.wall - start.wall + tolerance()) / length);
        if (low <= high) {
            lowest = low;
            highest = high;
            break;
        }
        // No line fits any more: a new piece, which joins the old one without a gap.
        done.push_back({start.video, last.video, start.wall, last.wall});
        begin(last);
    }
    last = pass;
}

// The last frame of a piece is shown for a whole period.
void SoundTimeline::close(std::vector<Piece> &to) const
{
    const double length = last.video - start.video;
    const double slope = length > 0.0 ? (last.wall - start.wall) / length : 1.0;
    to.push_back({start.video, last.video + period, start.wall, last.wall + period * slope});
}

std::optional<double> SoundTimeline::firstFrameS() const
{
    return first ? std::optional(first->wall) : std::nullopt;
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
        const double slope = (piece.wallEnd - piece.wallBegin) / (piece.videoEnd - piece.videoBegin);
        if (piece.videoEnd <= from || piece.videoBegin >= to)
            continue;
        if (piece.videoBegin < from) {
            piece.wallBegin += (from - piece.videoBegin) * slope;
            piece.videoBegin = from;
        }
        if (piece.videoEnd > to) {
            piece.wallEnd -= (piece.videoEnd - to) * slope;
            piece.videoEnd = to;
        }
        cut.push_back({piece.videoBegin - from, piece.videoEnd - from, piece.wallBegin, piece.wallEnd});
    }
    return cut;
}

SoundTimeline::Conversion SoundTimeline::conversion(const std::vector<Piece> &pieces, const SoundClock &clock)
{
    Conversion result;
    QStringList inputs; // of the pieces of one opened file
    QStringList outputs;
    QStringList chains;
    double reached = 0.0; // in the video
    for (size_t i = 0; i < pieces.size(); ++i) {
        const Piece &piece = pieces[i];
        // Frames that were inserted before the piece are silent.
        const double gap = std::max(0.0, piece.videoBegin - reached);
        const double length = piece.videoEnd - piece.videoBegin;
        reached = piece.videoEnd;
        double from = (piece.wallBegin - clock.startS) * clock.speed;
        double to = (piece.wallEnd - clock.startS) * clock.speed;
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

QStringList SoundTimeline::Conversion::inputArguments(const QString &file) const
{
    QStringList arguments;
    for (double beginS : inputs)
        arguments << QStringLiteral("-ss") << seconds(beginS) << QStringLiteral("-i") << file;
    return arguments;
}
