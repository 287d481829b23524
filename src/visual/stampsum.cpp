#include "visual/stampsum_p.h"

#include "visual/stampkernels_p.h"
#include "visual/stampplan_p.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <type_traits>
#include <vector>

using namespace StampKernels;

namespace {

/**
 * What the ways cost one core, in nanoseconds. The rows cost more with each sample, the convolutions cost the
 * same for any number of them, so somewhere the latter overtake.
 *
 * Fitted to bench_heatmapways, radius 2 to 50 on 1280 x 720 with AVX2 at 2.6 GHz, which they meet within a
 * fifth. Only the proportions matter. Without AVX2 all loops take longer, the convolutions by 1.5 to 2.5
 * times and the rows by 1.3 to 1.6 times: near the crossover, where both ways cost the same, this loses less
 * than half.
 */
namespace Cost {
constexpr double background = 0.65; // for each pixel, to clear it and to find the largest
constexpr double span = 4.5; // for each row of the stamp of each sample
constexpr double spanPixel = 0.071; // for each pixel of these rows

constexpr double weights = 0.5; // for each pixel, to pad the field
constexpr double differences = 1.3; // and to sum up
constexpr double group = 0.06; // for each pixel and pair of rows
constexpr double pair = 0.075; // for each pixel and pair of places of weight 1
constexpr double weighted = 0.09; // the same for another weight
constexpr double narrow = 0.5; // what 16 bits take of the last three
} // namespace Cost

struct StampRow
{
    const quint32 *weights;
    int begin; // the span that is not 0
    int end;
};

// The stamp's rows (it is kept turned over) as the wide numbers that a row of heat is made of.
class StampRows
{
public:
    explicit StampRows(const cv::Mat &stamp) : size(stamp.rows - 1)
    {
        const size_t stride = size + SplatRow::block; // which is read beyond the end
        weights.resize(stride * size);
        for (int x = 0; x < size; ++x) {
            const uchar *column = stamp.ptr(x);
            for (int y = 0; y < size; ++y)
                weights[stride * y + x] = column[y];
        }
        for (int y = 0; y < size; ++y) {
            const quint32 *row = weights.data() + stride * y;
            const auto isSet = [](quint32 weight) { return weight != 0; };
            const int begin = static_cast<int>(std::find_if(row, row + size, isSet) - row);
            int end = size;
            while (end > begin && row[end - 1] == 0)
                --end;
            rows.push_back({row, begin, end});
            pixels += end - begin;
        }
    }

    const StampRow &operator[](int y) const { return rows[y]; }

    const int size;
    double pixels = 0; // in all spans together

private:
    std::vector<quint32> weights;
    std::vector<StampRow> rows;
};

// Samples row by row, in any order within a row.
struct Samples
{
    explicit Samples(int rows) : rowStart(rows + 1) { }

    // Turns counts of samples, rowStart[y + 1] for row y, into the places where the rows begin.
    void beginRows() { std::partial_sum(rowStart.begin(), rowStart.end(), rowStart.begin()); }

    void makeRoom()
    {
        columns.resize(rowStart.back());
        weights.resize(rowStart.back());
    }

    std::vector<int> rowStart;
    std::vector<int> columns;
    std::vector<quint32> weights;
};

// Where the samples of one axis go if only the last one of each cell counts, at the cell's middle.
class Cells
{
public:
    Cells(int length, int step) : length(length), step(std::max(step, 1)) { }

    // Cells whose middle lies outside do not count.
    int count() const { return step == 1 ? length : (length - 1 - step / 2 + step) / step; }
    int middle(int cell) const { return cell * step + step / 2; }
    int last(int cell) const { return std::min(middle(cell) + (step - step / 2 - 1), length - 1); }

private:
    const int length;
    const int step;
};

bool isNarrow(const StampPlan &plan, qint32 largest)
{
    const quint64 limit =
        plan.differences ? std::numeric_limits<qint16>::max() : std::numeric_limits<quint16>::max();
    return plan.reach <= limit / std::max<quint64>(largest, 1);
}

double costOfRows(const StampRows &stampRows, const cv::Size &size, double samples)
{
    return size.area() * Cost::background
        + samples * (stampRows.size * Cost::span + stampRows.pixels * Cost::spanPixel);
}

double costOf(const StampPlan &plan, const cv::Size &size, qint32 largest)
{
    const double begin = plan.differences ? plan.size / 2 : 0; // they begin left of and above the picture
    const double pairs =
        plan.groups.size() * Cost::group + plan.oneCount * Cost::pair + plan.weightedCount * Cost::weighted;
    const double pixel = (plan.differences ? Cost::differences : Cost::weights)
        + pairs * (isNarrow(plan, largest) ? Cost::narrow : 1.0);
    return (size.width + begin) * (size.height + begin / 2) * pixel;
}

// The convolution that costs less than the rows; null if none does. \a largest is the largest sample.
std::unique_ptr<StampPlan> planFor(const cv::Mat &stamp, StampWay way, const StampRows &stampRows,
    const cv::Size &size, double samples, qint32 largest)
{
    if (way == StampWay::Rows)
        return nullptr;
    if (way != StampWay::Measured)
        return std::make_unique<StampPlan>(stamp, way == StampWay::Differences);

    double best = costOfRows(stampRows, size, samples);
    if (best < 2 * size.area() * Cost::background)
        return nullptr; // the usual case of few samples, told without making a plan
    std::unique_ptr<StampPlan> chosen;
    for (const bool differences : {false, true}) {
        auto plan = std::make_unique<StampPlan>(stamp, differences);
        if (const double cost = costOf(*plan, size, largest); cost < best) {
            best = cost;
            chosen = std::move(plan);
        }
    }
    return chosen;
}

qint32 largestOf(const std::vector<qint32> &maxima)
{
    return *std::max_element(maxima.begin(), maxima.end());
}

// Row by row of the heat, so that a row stays in the cache until it is complete.
qint32 addRows(const Samples &samples, const StampRows &stampRows, cv::Mat &heat)
{
    const int radius = stampRows.size / 2;
    std::vector<qint32> maxima(heat.rows);
    const double steps = heat.total() + samples.columns.size() * (stampRows.pixels + stampRows.size * 10.0);
    inParallel(heat.rows, steps, [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y) {
            const auto row = heat.ptr<quint32>(y);
            std::fill_n(row, heat.cols, 0);
            const int first = std::max(y - radius + 1, 0);
            const int last = std::min(y + radius, heat.rows - 1);
            if (first > last || samples.rowStart[first] == samples.rowStart[last + 1])
                continue; // a maximum of 0 stands there already
            for (int source = first; source <= last; ++source) {
                const int start = samples.rowStart[source];
                const int count = samples.rowStart[source + 1] - start;
                const StampRow &stampRow = stampRows[radius + y - source];
                if (count > 0) {
                    run<SplatRow>(row, heat.cols, samples.columns.data() + start,
                        samples.weights.data() + start, count, stampRow.weights, stampRow.begin, stampRow.end,
                        radius);
                }
            }
            run<RowMaximum>(heat.ptr<qint32>(y), heat.cols, &maxima[y]);
        }
    });
    return largestOf(maxima);
}

// heat(y) = the sum of all rows above and at y, those of `above` included.
qint32 sumDown(cv::Mat &above, cv::Mat &heat)
{
    constexpr int strip = 256;
    const int strips = (heat.cols + strip - 1) / strip;
    std::vector<qint32> maxima(strips, std::numeric_limits<qint32>::min());
    inParallel(strips, static_cast<double>(heat.total()), [&](const cv::Range &range) {
        for (int i = range.start; i < range.end; ++i) {
            const int x = i * strip;
            const int count = std::min(strip, heat.cols - x);
            quint32 running[strip] = {};
            for (int y = 0; y < above.rows; ++y)
                run<AccumulateDown<false>>(above.ptr<quint32>(y) + x, running, count, &maxima[i]);
            for (int y = 0; y < heat.rows; ++y)
                run<AccumulateDown<true>>(heat.ptr<quint32>(y) + x, running, count, &maxima[i]);
        }
    });
    return largestOf(maxima);
}

/**
 * Gathers each pixel from the field by the pairs of a plan, in numbers of type T.
 *
 * 16 bits suffice where no result can be larger: whatever wraps on the way there unwraps again. They take
 * half the time of 32 bits, which hold modulo 2^32 in any case.
 *
 * The differences of a stamp give the differences of the heat, over a picture that begins where the first
 * stamp may begin: a radius further left and further up.
 */
template <typename T, bool Mirrored> class Convolution
{
public:
    Convolution(const StampPlan &plan, const cv::Mat &field)
        : plan(plan), field(field), radius(plan.size / 2), lead(plan.differences ? radius : 0),
          width(field.cols + lead)
    {
    }

    qint32 sumInto(cv::Mat &heat) const
    {
        cv::Mat above(lead, heat.cols, CV_32SC1);
        std::vector<qint32> maxima(heat.rows);
        const double steps = static_cast<double>(heat.total()) * (plan.oneCount + plan.weightedCount);
        inParallel(heat.rows + lead, steps, [&](const cv::Range &range) {
            Work work(plan, width);
            int next = std::max(range.start - lead + radius - plan.size + 1, 0); // the row to be padded next
            for (int i = range.start; i < range.end; ++i) {
                const int y = i - lead;
                for (; next <= y + radius && next < field.rows; ++next)
                    pad(next, work);
                const auto target = y < 0 ? above.ptr<quint32>(i) : heat.ptr<quint32>(y);
                addRow(y, work, target);
                if (lead == 0)
                    run<RowMaximum>(heat.ptr<qint32>(y), heat.cols, &maxima[y]);
            }
        });
        return lead == 0 ? largestOf(maxima) : sumDown(above, heat);
    }

private:
    // What a thread works with. Of the padded field it keeps the rows within reach, which take turns, so that
    // they stay in the cache and no second picture has to be allocated.
    struct Work
    {
        Work(const StampPlan &plan, int width)
            : padded(cv::Mat::zeros(plan.size, width + plan.size - 1, sizeof(T) == 2 ? CV_16UC1 : CV_32SC1)),
              combined(2 * StampPlan::strip + plan.size), sum(StampPlan::strip)
        {
        }

        cv::Mat padded;
        std::vector<T> combined;
        std::vector<T> sum;
    };

    void pad(int y, Work &work) const
    {
        const int left = plan.size - 1 - radius + lead;
        run<ClampRow<T>>(field.ptr<qint32>(y), field.cols, work.padded.template ptr<T>(y % plan.size) + left);
    }

    const T *fieldRow(const Work &work, int y, int x) const
    {
        return y >= 0 && y < field.rows ? work.padded.template ptr<T>(y % plan.size) + x : nullptr;
    }

    void addRow(int y, Work &work, quint32 *target) const
    {
        T *combined = work.combined.data();
        T *sum = work.sum.data();
        quint32 running = 0; // the sum of the differences to the left
        for (int x = 0; x < width; x += StampPlan::strip) {
            const int count = std::min<int>(StampPlan::strip, width - x);
            std::fill_n(sum, count, T(0));
            for (const StampPlan::Group &group : plan.groups) {
                const T *a = fieldRow(work, y + radius - group.rowA, x);
                const T *b = group.rowB < 0 ? nullptr : fieldRow(work, y + radius - group.rowB, x);
                if (!a && !b)
                    continue;
                run<CombineRows<T, Mirrored>>(a, b, count + plan.size - 1, combined);
                run<AddPairs<T, Mirrored, false>>(
                    combined, group.ones.data(), static_cast<int>(group.ones.size()), sum, count);
                run<AddPairs<T, Mirrored, true>>(
                    combined, group.weighted.data(), static_cast<int>(group.weighted.size()), sum, count);
            }
            if (lead == 0) {
                std::copy_n(sum, count, target + x);
                continue;
            }
            for (int i = 0; i < count; ++i) {
                running += static_cast<quint32>(static_cast<std::make_signed_t<T>>(sum[i]));
                if (x + i >= lead)
                    target[x + i - lead] = running;
            }
        }
    }

    const StampPlan &plan;
    const cv::Mat &field;
    const int radius;
    const int lead; // how far the sums begin left of and above the picture
    const int width;
};

qint32 convolve(const StampPlan &plan, const cv::Mat &field, qint32 largest, cv::Mat &heat)
{
    const bool narrow = isNarrow(plan, largest);
    if (plan.differences)
        return narrow ? Convolution<quint16, false>(plan, field).sumInto(heat)
                      : Convolution<quint32, false>(plan, field).sumInto(heat);
    return narrow ? Convolution<quint16, true>(plan, field).sumInto(heat)
                  : Convolution<quint32, true>(plan, field).sumInto(heat);
}

// Counts the samples of each row that count into `samples.rowStart`, and finds the largest.
qint32 countRows(const cv::Mat &values, Samples &samples)
{
    std::vector<qint32> maxima(values.rows);
    inParallel(values.rows, static_cast<double>(values.total()), [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y)
            run<CountPositive>(values.ptr<qint32>(y), values.cols, &samples.rowStart[y + 1], &maxima[y]);
    });
    return largestOf(maxima);
}

// The samples of rows that countRows() has counted.
void collectRows(const cv::Mat &values, Samples &samples)
{
    samples.makeRoom();
    inParallel(values.rows, static_cast<double>(values.total()), [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y) {
            const int start = samples.rowStart[y];
            run<CollectPositive>(values.ptr<qint32>(y), values.cols, samples.rowStart[y + 1] - start,
                samples.columns.data() + start, samples.weights.data() + start);
        }
    });
}

// The last sample of each cell, at the cell's middle; and the largest.
qint32 collectCells(const cv::Mat &values, const Cells &across, const Cells &down, Samples &samples)
{
    qint32 largest = 0;
    for (int j = 0; j < down.count(); ++j) {
        const auto row = values.ptr<qint32>(down.last(j));
        for (int i = 0; i < across.count(); ++i) {
            const qint32 value = row[across.last(i)];
            if (value <= 0)
                continue;
            largest = std::max(largest, value);
            samples.columns.push_back(across.middle(i));
            samples.weights.push_back(static_cast<quint32>(value));
            ++samples.rowStart[down.middle(j) + 1];
        }
    }
    return largest;
}

cv::Mat fieldOf(const Samples &samples, const cv::Size &size)
{
    cv::Mat field = cv::Mat::zeros(size, CV_32SC1);
    for (int y = 0; y < size.height; ++y) {
        for (int i = samples.rowStart[y]; i < samples.rowStart[y + 1]; ++i)
            field.at<qint32>(y, samples.columns[i]) = static_cast<qint32>(samples.weights[i]);
    }
    return field;
}

// The part of the stamp that a field of this size can get to see.
cv::Mat visiblePart(const cv::Mat &stamp, const cv::Size &size)
{
    const int radius = (stamp.rows - 1) / 2;
    const int visible = std::min(radius, std::max(size.width, size.height));
    return stamp(cv::Rect(radius - visible, radius - visible, 2 * visible + 1, 2 * visible + 1));
}

} // namespace

StampSum::StampSum(const cv::Mat &stamp, StampWay way) : stamp(stamp), way(way) { }

qint32 StampSum::add(const cv::Mat &values, int stepX, int stepY, cv::Mat &heat) const
{
    if (stamp.rows < 3) {
        heat = 0;
        return 0;
    }
    const bool snapped = stepX > 1 || stepY > 1;
    const cv::Mat visible = visiblePart(stamp, values.size());
    const StampRows stampRows(visible);
    Samples samples(values.rows);
    const qint32 largest = snapped
        ? collectCells(values, Cells(values.cols, stepX), Cells(values.rows, stepY), samples)
        : countRows(values, samples);
    samples.beginRows();
    const int count = samples.rowStart.back();
    if (const auto plan = planFor(visible, way, stampRows, values.size(), count, largest))
        return convolve(*plan, snapped ? fieldOf(samples, values.size()) : values, largest, heat);
    if (!snapped) {
        collectRows(values, samples);
    }
    return addRows(samples, stampRows, heat);
}

qint32 StampSum::add(const QVector<QPoint> &points, int stepX, int stepY, cv::Mat &heat) const
{
    if (stamp.rows < 3) {
        heat = 0;
        return 0;
    }
    const auto isInside = [&heat](const QPoint &point) {
        return point.x() >= 0 && point.x() < heat.cols && point.y() >= 0 && point.y() < heat.rows;
    };
    const cv::Mat visible = visiblePart(stamp, heat.size());
    const StampRows stampRows(visible);
    // A convolution needs a field; so does a step, which makes points in a cell replace one another.
    if (stepX > 1 || stepY > 1 || planFor(visible, way, stampRows, heat.size(), points.size(), 1)) {
        cv::Mat field = cv::Mat::zeros(heat.size(), CV_32SC1);
        for (const QPoint &point : points) {
            if (isInside(point))
                ++field.at<qint32>(point.y(), point.x());
        }
        return add(field, stepX, stepY, heat);
    }

    // Few points need no field: those that lie on one another are added one by one.
    Samples samples(heat.rows);
    for (const QPoint &point : points) {
        if (isInside(point))
            ++samples.rowStart[point.y() + 1];
    }
    samples.beginRows();
    samples.makeRoom();
    std::fill(samples.weights.begin(), samples.weights.end(), 1);
    std::vector<int> next = samples.rowStart;
    for (const QPoint &point : points) {
        if (isInside(point))
            samples.columns[next[point.y()]++] = point.x();
    }
    return addRows(samples, stampRows, heat);
}
