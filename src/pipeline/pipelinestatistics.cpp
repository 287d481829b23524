#include "pipeline/pipelinestatistics.h"

#include <algorithm>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::nanoseconds rateWindow = std::chrono::seconds(10);

qint64 sinceEpochNs(Clock::time_point time)
{
    return std::chrono::nanoseconds(time.time_since_epoch()).count();
}

// Of the times at which frames were done. The time since the last one counts too as soon as it is longer than
// a frame usually takes, or the rate of a source that has died would stand still.
double rateOf(const std::vector<qint64> &endsNs, qint64 nowNs)
{
    std::vector<qint64> recent;
    std::copy_if(endsNs.begin(), endsNs.end(), std::back_inserter(recent),
        [nowNs](qint64 end) { return nowNs - end <= rateWindow.count(); });
    if (recent.size() < 2)
        return 0.0;
    const auto [first, last] = std::minmax_element(recent.begin(), recent.end());
    const double intervals = static_cast<double>(recent.size() - 1);
    const double spanNs = static_cast<double>(*last - *first);
    const double overdueNs = std::max(0.0, static_cast<double>(nowNs - *last) - spanNs / intervals);
    return spanNs + overdueNs > 0.0 ? intervals * 1e9 / (spanNs + overdueNs) : 0.0;
}

double percentileMs(std::vector<qint64> &latenciesNs, int percent)
{
    if (latenciesNs.empty())
        return 0.0;
    const size_t rank = (latenciesNs.size() * static_cast<size_t>(percent) + 99) / 100;
    const auto place = latenciesNs.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::nth_element(latenciesNs.begin(), place, latenciesNs.end());
    return static_cast<double>(*place) / 1e6;
}

} // namespace

PipelineStatistics::Figures PipelineStatistics::figures() const
{
    Figures figures;
    // What a frame ends as is read before what it began as, so no frame seems to have come from nowhere.
    figures.processed = processed;
    figures.dropped = dropped;
    figures.offered = offered;

    std::vector<qint64> endsNs;
    std::vector<qint64> latenciesNs;
    for (quint64 i = 0; i < std::min(figures.processed, keptRuns); ++i) {
        endsNs.push_back(runs[i].endNs);
        latenciesNs.push_back(runs[i].latencyNs);
    }
    figures.rate = rateOf(endsNs, sinceEpochNs(Clock::now()));
    figures.latencyMedianMs = percentileMs(latenciesNs, 50);
    figures.latency95Ms = percentileMs(latenciesNs, 95);
    return figures;
}

void PipelineStatistics::restart()
{
    offered = 0;
    processed = 0;
    dropped = 0;
}

void PipelineStatistics::countOffered()
{
    ++offered;
}

void PipelineStatistics::countDropped()
{
    ++dropped;
}

void PipelineStatistics::countProcessed(Clock::time_point handedOver)
{
    const Clock::time_point now = Clock::now();
    Run &run = runs[processed % keptRuns];
    run.endNs = sinceEpochNs(now);
    run.latencyNs = std::chrono::nanoseconds(now - handedOver).count();
    ++processed;
}
