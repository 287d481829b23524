#pragma once

#include <QtGlobal>

#include <opencv2/core.hpp>

#include <algorithm>

/**
 * \file
 * The inner loops of heat maps, written plainly for the compiler to vectorise and built twice on x86-64: for
 * any processor, and for those with AVX2.
 *
 * Which build runs is decided by OpenCV at run time, so cv::setUseOptimized(false) selects the portable one.
 * Both give the same bits: the loops are integer arithmetic modulo a power of two, and the one in floating
 * point is a single product per pixel.
 */

#if (defined(__GNUC__) || defined(__clang__)) && defined(__x86_64__)
#define VTCV_KERNEL_AVX2 __attribute__((target("avx2")))
#endif
#if defined(__GNUC__) || defined(__clang__)
#define VTCV_KERNEL_INLINE static inline __attribute__((always_inline))
#else
#define VTCV_KERNEL_INLINE static inline
#endif

namespace StampKernels {

/** Two places in a row of the field that weigh the same. */
struct Pair
{
    int a;
    int b;
    quint32 weight;
};

/**
 * heat[x] += weight * stamp[x], for all samples of one row of the field.
 *
 * \a stamp is 0 outside of \a begin to \a end and readable for another block behind \a end: short spans cost
 * less as whole blocks, where these fit into the row.
 */
struct SplatRow
{
    static constexpr int block = 8;

    template <bool Weighted>
    VTCV_KERNEL_INLINE void add(
        quint32 *__restrict heat, const quint32 *__restrict stamp, int length, quint32 weight)
    {
        int x = 0;
        for (; x + block <= length; x += block) {
            for (int i = 0; i < block; ++i)
                heat[x + i] += Weighted ? weight * stamp[x + i] : stamp[x + i];
        }
        for (; x < length; ++x)
            heat[x] += Weighted ? weight * stamp[x] : stamp[x];
    }

    VTCV_KERNEL_INLINE void run(quint32 *__restrict heat, int cols, const int *xs, const quint32 *weights,
        int count, const quint32 *__restrict stamp, int begin, int end, int radius)
    {
        for (int i = 0; i < count; ++i) {
            const int left = xs[i] - radius;
            const int from = std::max(begin, -left);
            const int room = cols - left - from;
            const int whole = (end - from + block - 1) / block * block;
            const int length = whole <= room ? whole : std::min(end - from, room);
            if (weights[i] == 1)
                add<false>(heat + left + from, stamp + from, length, 1);
            else
                add<true>(heat + left + from, stamp + from, length, weights[i]);
        }
    }
};

/** The largest of a row of heat, which is signed. */
struct RowMaximum
{
    VTCV_KERNEL_INLINE void run(const qint32 *row, int count, qint32 *maximum)
    {
        qint32 largest = row[0];
        for (int x = 1; x < count; ++x)
            largest = std::max(largest, row[x]);
        *maximum = largest;
    }
};

/** How many samples of a row count, and the largest of them. */
struct CountPositive
{
    VTCV_KERNEL_INLINE void run(const qint32 *row, int cols, qint32 *count, qint32 *maximum)
    {
        qint32 positive = 0;
        qint32 largest = 0;
        for (int x = 0; x < cols; ++x) {
            positive += row[x] > 0;
            largest = std::max(largest, row[x]);
        }
        *count = positive;
        *maximum = largest;
    }
};

/** The columns and values of the samples of a row that count, of which there are \a count. */
struct CollectPositive
{
    VTCV_KERNEL_INLINE void run(const qint32 *row, int cols, int count, int *columns, quint32 *values)
    {
        constexpr int block = 16;
        for (int start = 0; count > 0; start += block) {
            const int end = std::min(start + block, cols);
            if (end - start == block) {
                qint32 largest = 0;
                for (int x = 0; x < block; ++x)
                    largest = std::max(largest, row[start + x]);
                if (largest == 0)
                    continue; // most blocks where samples are few
            }
            for (int x = start; x < end; ++x) {
                if (row[x] > 0) {
                    *columns++ = x;
                    *values++ = static_cast<quint32>(row[x]);
                    --count;
                }
            }
        }
    }
};

/** row[x] = running[x] += row[x]; and the largest result. */
template <bool Store> struct AccumulateDown
{
    VTCV_KERNEL_INLINE void run(
        quint32 *__restrict row, quint32 *__restrict running, int count, qint32 *maximum)
    {
        qint32 largest = *maximum;
        for (int x = 0; x < count; ++x) {
            running[x] += row[x];
            if (Store) {
                row[x] = running[x];
                largest = std::max(largest, static_cast<qint32>(running[x]));
            }
        }
        *maximum = largest;
    }
};

/** The samples of a row that count, as T; the others become 0. */
template <typename T> struct ClampRow
{
    VTCV_KERNEL_INLINE void run(const qint32 *__restrict row, int cols, T *__restrict clamped)
    {
        for (int x = 0; x < cols; ++x)
            clamped[x] = static_cast<T>(std::max(row[x], 0));
    }
};

/** out = a + b or a - b, where either may be missing. */
template <typename T, bool Mirrored> struct CombineRows
{
    VTCV_KERNEL_INLINE void run(const T *__restrict a, const T *__restrict b, int count, T *__restrict out)
    {
        if (a && b) {
            for (int x = 0; x < count; ++x)
                out[x] = static_cast<T>(Mirrored ? a[x] + b[x] : a[x] - b[x]);
        } else if (a || Mirrored) {
            std::copy_n(a ? a : b, count, out);
        } else {
            for (int x = 0; x < count; ++x)
                out[x] = static_cast<T>(0 - b[x]);
        }
    }
};

/**
 * sum[x] += the weighted pairs, four of them at a time: the sum is then read and written once for eight reads
 * of the field, and needs no more registers than there are.
 */
template <typename T, bool Mirrored, bool Weighted> struct AddPairs
{
    VTCV_KERNEL_INLINE quint32 term(const T *__restrict a, const T *__restrict b, quint32 weight, int x)
    {
        const quint32 both = Mirrored ? quint32(a[x]) + quint32(b[x]) : quint32(a[x]) - quint32(b[x]);
        return Weighted ? both * weight : both;
    }

    VTCV_KERNEL_INLINE void run(
        const T *__restrict row, const Pair *pairs, int pairCount, T *__restrict sum, int count)
    {
        int i = 0;
        for (; i + 4 <= pairCount; i += 4) {
            const T *__restrict a0 = row + pairs[i].a;
            const T *__restrict b0 = row + pairs[i].b;
            const T *__restrict a1 = row + pairs[i + 1].a;
            const T *__restrict b1 = row + pairs[i + 1].b;
            const T *__restrict a2 = row + pairs[i + 2].a;
            const T *__restrict b2 = row + pairs[i + 2].b;
            const T *__restrict a3 = row + pairs[i + 3].a;
            const T *__restrict b3 = row + pairs[i + 3].b;
            const quint32 w0 = pairs[i].weight;
            const quint32 w1 = pairs[i + 1].weight;
            const quint32 w2 = pairs[i + 2].weight;
            const quint32 w3 = pairs[i + 3].weight;
            for (int x = 0; x < count; ++x)
                sum[x] = static_cast<T>(sum[x] + term(a0, b0, w0, x) + term(a1, b1, w1, x)
                    + term(a2, b2, w2, x) + term(a3, b3, w3, x));
        }
        for (; i < pairCount; ++i) {
            const T *__restrict a = row + pairs[i].a;
            const T *__restrict b = row + pairs[i].b;
            const quint32 weight = pairs[i].weight;
            for (int x = 0; x < count; ++x)
                sum[x] = static_cast<T>(sum[x] + term(a, b, weight, x));
        }
    }
};

/** The place in the ramp for a heat. \a scale is the ramp's length divided by the largest heat, which is
 * above 0. */
VTCV_KERNEL_INLINE qint32 rampIndex(qint32 heat, double scale, int rampSize)
{
    return std::min(static_cast<qint32>(std::max(heat, 0) * scale), rampSize - 1);
}

/** Replaces heat by the ramp's colours. \a Direct: the ramp has an entry for each heat, so nothing is scaled.
 */
template <bool Direct> struct LookUpRow
{
    static constexpr int block = 32;

    VTCV_KERNEL_INLINE void look(
        qint32 *__restrict pixels, int count, const quint32 *__restrict ramp, int rampSize, double scale)
    {
        qint32 index[block];
        for (int x = 0; x < count; ++x)
            index[x] = Direct ? std::max(pixels[x], 0) : rampIndex(pixels[x], scale, rampSize);
        for (int x = 0; x < count; ++x)
            pixels[x] = static_cast<qint32>(ramp[index[x]]);
    }

    VTCV_KERNEL_INLINE void run(qint32 *row, int cols, const quint32 *ramp, int rampSize, double scale)
    {
        int start = 0;
        for (; start + block <= cols; start += block) {
            qint32 *pixels = row + start;
            qint32 any = 0;
            for (int x = 0; x < block; ++x)
                any |= pixels[x];
            if (any == 0) // most of the picture where samples are few
                std::fill_n(pixels, block, static_cast<qint32>(ramp[0]));
            else
                look(pixels, block, ramp, rampSize, scale);
        }
        look(row + start, cols - start, ramp, rampSize, scale);
    }
};

template <typename Kernel, typename... Arguments> void runPortable(Arguments... arguments)
{
    Kernel::run(arguments...);
}

#ifdef VTCV_KERNEL_AVX2
template <typename Kernel, typename... Arguments> VTCV_KERNEL_AVX2 void runAvx2(Arguments... arguments)
{
    Kernel::run(arguments...);
}
#endif

/** Runs \a Kernel in the build for this processor. */
template <typename Kernel, typename... Arguments> void run(Arguments... arguments)
{
#ifdef VTCV_KERNEL_AVX2
    if (cv::checkHardwareSupport(CV_CPU_AVX2)) {
        runAvx2<Kernel>(arguments...);
        return;
    }
#endif
    runPortable<Kernel>(arguments...);
}

/**
 * Splits 0 to \a count - 1 into ranges and runs \a body for each, on all of OpenCV's threads where that pays.
 *
 * \param steps roughly how many elementary steps the whole takes: below some tens of microseconds, waking
 * other threads costs more than they save.
 */
template <typename Body> void inParallel(int count, double steps, const Body &body)
{
    constexpr double worthThreads = 50'000;
    if (steps < worthThreads)
        body(cv::Range(0, count));
    else
        cv::parallel_for_(cv::Range(0, count), body, 8.0 * cv::getNumThreads());
}

} // namespace StampKernels
