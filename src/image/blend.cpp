#include "image/composition_p.h"

#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

// The loops below are written for the compiler's vectoriser, which does them on any machine that it builds
// for. On x86 the library is built for the oldest processors, so the same loops are there again for those
// that have AVX2 or the AVX-512 of Ice Lake and Zen 4, and the choice is made when they run.
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#define VTCV_HAS_AVX2 1
#if !defined(__clang__) // which has no such attribute for the length of vectors
#define VTCV_HAS_AVX512 1
#endif
#endif
#if defined(__GNUC__)
#define VTCV_INLINE inline __attribute__((always_inline)) // or the second version would call the first
#define VTCV_RESTRICT __restrict__
#else
#define VTCV_INLINE inline
#define VTCV_RESTRICT __restrict
#endif

namespace Composition {

namespace {

// Pixels that are looked at together: what is wholly outside the mask, or inside, is done the short way.
constexpr ptrdiff_t chunk = 192;

// Rows are shared out to the cores by this many pixels; less is not worth another thread.
constexpr double pixelsPerThread = 1 << 16;

using Row = void (*)(const uchar *src, uchar *dst, const uchar *mask, ptrdiff_t width);

// Two bytes at a time in 16 bits: the low and the high one, each with room for its product.
VTCV_INLINE void blendBytes(
    const uchar *VTCV_RESTRICT src, uchar *VTCV_RESTRICT dst, const uchar *VTCV_RESTRICT mask)
{
    for (ptrdiff_t i = 0; i < 3 * chunk; i += 2) {
        uint16_t m;
        uint16_t s;
        uint16_t d;
        std::memcpy(&m, mask + i, 2);
        std::memcpy(&s, src + i, 2);
        std::memcpy(&d, dst + i, 2);
        const uint16_t mLow = m & 0xff;
        const uint16_t sLow = s & 0xff;
        const uint16_t dLow = d & 0xff;
        const uint16_t mHigh = m >> 8;
        const uint16_t sHigh = s >> 8;
        const uint16_t dHigh = d >> 8;
        // (255 - m) d + m s is 256 d - d + m (s - d), modulo 2 to the 16th. Without the -d, 256 d keeps d.
        const uint16_t lessLow = mLow != 0 ? dLow : 0;
        const uint16_t lessHigh = mHigh != 0 ? dHigh : 0;
        const uint16_t low = uint16_t(uint16_t(d << 8) - lessLow + uint16_t(mLow * uint16_t(sLow - dLow)));
        const uint16_t high =
            uint16_t(uint16_t(d & 0xff00) - lessHigh + uint16_t(mHigh * uint16_t(sHigh - dHigh)));
        const uint16_t result = uint16_t((low >> 8) | (high & 0xff00));
        std::memcpy(dst + i, &result, 2);
    }
}

VTCV_INLINE void blendChunk(
    const uchar *VTCV_RESTRICT src, uchar *VTCV_RESTRICT dst, const uchar *VTCV_RESTRICT mask)
{
    uchar any = 0;
    uchar all = 255;
    for (ptrdiff_t i = 0; i < chunk; ++i) {
        any |= mask[i];
        all &= mask[i];
    }
    if (any == 0)
        return;
    if (all == 255) {
        for (ptrdiff_t i = 0; i < 3 * chunk; ++i)
            dst[i] = static_cast<uchar>(src[i] - (src[i] != 0 ? 1 : 0)); // 255 s / 256
        return;
    }
    uchar spread[3 * chunk];
    for (ptrdiff_t i = 0; i < chunk; ++i) {
        spread[3 * i] = mask[i];
        spread[3 * i + 1] = mask[i];
        spread[3 * i + 2] = mask[i];
    }
    blendBytes(src, dst, spread);
}

VTCV_INLINE void blendRow(const uchar *src, uchar *dst, const uchar *mask, ptrdiff_t width)
{
    ptrdiff_t x = 0;
    for (; x + chunk <= width; x += chunk)
        blendChunk(src + 3 * x, dst + 3 * x, mask + x);
    if (x == width)
        return;
    // The rest of the row in a chunk of its own, filled up with pixels that the mask leaves alone.
    uchar restSrc[3 * chunk] = {};
    uchar restDst[3 * chunk] = {};
    uchar restMask[chunk] = {};
    const auto rest = static_cast<size_t>(width - x);
    std::memcpy(restSrc, src + 3 * x, 3 * rest);
    std::memcpy(restDst, dst + 3 * x, 3 * rest);
    std::memcpy(restMask, mask + x, rest);
    blendChunk(restSrc, restDst, restMask);
    std::memcpy(dst + 3 * x, restDst, 3 * rest);
}

void blendRowPortably(const uchar *src, uchar *dst, const uchar *mask, ptrdiff_t width)
{
    blendRow(src, dst, mask, width);
}

#ifdef VTCV_HAS_AVX2
__attribute__((target("avx2"))) void blendRowWithAvx2(
    const uchar *src, uchar *dst, const uchar *mask, ptrdiff_t width)
{
    blendRow(src, dst, mask, width);
}
#endif

#ifdef VTCV_HAS_AVX512
__attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,prefer-vector-width=512"))) void
blendRowWithAvx512(const uchar *src, uchar *dst, const uchar *mask, ptrdiff_t width)
{
    blendRow(src, dst, mask, width);
}
#endif

Row rowFor([[maybe_unused]] Instructions instructions)
{
#ifdef VTCV_HAS_AVX512
    if (instructions == Instructions::Best && cv::checkHardwareSupport(CV_CPU_AVX512_ICL))
        return blendRowWithAvx512;
#endif
#ifdef VTCV_HAS_AVX2
    if (instructions != Instructions::Portable && cv::checkHardwareSupport(CV_CPU_AVX2))
        return blendRowWithAvx2;
#endif
    return blendRowPortably;
}

} // namespace

void blend(const cv::Mat &src, const cv::Mat &dst, const cv::Mat &mask, Instructions instructions)
{
    const Row row = rowFor(instructions);
    const auto rows = [&](const cv::Range &range) {
        for (int y = range.start; y < range.end; ++y)
            row(src.ptr(y), const_cast<uchar *>(dst.ptr(y)), mask.ptr(y), dst.cols);
    };
    const double threads = static_cast<double>(dst.total()) / pixelsPerThread;
    if (threads < 2)
        rows({0, dst.rows});
    else
        cv::parallel_for_({0, dst.rows}, rows, threads);
}

} // namespace Composition
