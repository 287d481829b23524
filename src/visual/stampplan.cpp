#include "visual/stampplan_p.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

// Row `y`, column `x` of the weights: of the stamp (turned over, since its row is the distance in x), or of
// its differences in both directions. Their sum over all pixels to the left and above gives the stamp again.
std::vector<int> weightsOf(const cv::Mat &stamp, bool differences)
{
    const int stampSize = stamp.rows - 1; // the last row and column never count
    const auto weight = [&](int y, int x) {
        const bool inside = x >= 0 && y >= 0 && x < stampSize && y < stampSize;
        return inside ? static_cast<int>(stamp.at<uchar>(x, y)) : 0;
    };
    const int size = differences ? stampSize + 1 : stampSize;
    std::vector<int> weights;
    weights.reserve(static_cast<size_t>(size) * size);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            weights.push_back(differences
                    ? weight(y, x) - weight(y - 1, x) - weight(y, x - 1) + weight(y - 1, x - 1)
                    : weight(y, x));
        }
    }
    return weights;
}

bool areMirrored(const int *a, const int *b, int count, int sign)
{
    return std::equal(a, a + count, b, [sign](int left, int right) { return left == sign * right; });
}

} // namespace

StampPlan::StampPlan(const cv::Mat &stamp, bool differences)
    : differences(differences), size(differences ? stamp.rows : stamp.rows - 1)
{
    const std::vector<int> weights = weightsOf(stamp, differences);
    const int sign = differences ? -1 : 1; // differences have the opposite sign on the opposite side
    quint64 positive = 0;
    quint64 negative = 0;

    const auto addGroup = [&](int rowA, int rowB) {
        Group group;
        group.rowA = rowA;
        group.rowB = rowB;
        const int *row = weights.data() + static_cast<size_t>(rowA) * size;
        // A place further right in the weights is one further left in the field.
        const auto place = [this](int x) { return size - 1 - x; };
        const auto addPair = [&](int a, int b, int weight) {
            if (weight < 0) {
                std::swap(a, b);
                weight = -weight;
            }
            auto &pairs = weight == 1 ? group.ones : group.weighted;
            pairs.push_back({a, b, static_cast<quint32>(weight)});
        };
        for (int x = 0; x < size; ++x) {
            const int mirror = size - 1 - x;
            const bool paired = x != mirror && row[x] == sign * row[mirror];
            if (row[x] == 0 || (paired && x > mirror))
                continue;
            addPair(place(x), paired ? place(mirror) : nowhere(), row[x]);
        }
        oneCount += group.ones.size();
        weightedCount += group.weighted.size();
        if (!group.ones.empty() || !group.weighted.empty())
            groups.push_back(std::move(group));
    };

    for (int y = 0; y < (size + 1) / 2; ++y) {
        const int mirror = size - 1 - y;
        const auto row = [&](int index) { return weights.data() + static_cast<size_t>(index) * size; };
        if (y != mirror && areMirrored(row(y), row(mirror), size, sign)) {
            addGroup(y, mirror);
        } else {
            addGroup(y, -1);
            if (y != mirror)
                addGroup(mirror, -1);
        }
    }
    for (const int weight : weights)
        (weight > 0 ? positive : negative) += static_cast<quint64>(std::abs(weight));
    reach = std::max(positive, negative);
}
