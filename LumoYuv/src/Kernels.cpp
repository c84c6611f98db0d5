#include "Kernels.h"

#include "Dispatch.h"

#include <algorithm>
#include <cstring>

#if LUMO_HAVE_AVX2_INTRINSICS
#include <immintrin.h>
#endif

namespace lumo::kernels {

namespace {

template <int Y0, int U, int Y1, int V>
LUMO_INLINE void UnpackPacked(const uint8_t* __restrict in, int pairs, uint8_t* __restrict y,
                              uint8_t* __restrict u, uint8_t* __restrict v)
{
    for (int i = 0; i < pairs; ++i) {
        const uint8_t* g = in + 4 * i;
        y[2 * i] = g[Y0];
        y[2 * i + 1] = g[Y1];
        u[i] = g[U];
        v[i] = g[V];
    }
}

// BT.601 limited range in 16-bit lanes. Each term is the high half of a
// 16 x 16-bit product in units of 1/32 code; coefficients are good to
// 2^-14 and each product truncates by under one unit, so R, G and B stay
// within 0.1 code of the exact value and round to within 1 of it.
constexpr int kRgbFraction = 5;
constexpr double kKr = 0.299;
constexpr double kKb = 0.114;
constexpr double kKg = 1.0 - kKr - kKb;
constexpr double kYScale = 255.0 / 219.0;
constexpr double kCScale = 255.0 / 224.0;

// c * 2^kRgbFraction as a multiplier of an input pre-shifted left by
// inputShift, for a (x * m) >> 16 product.
constexpr int16_t Coefficient(double c, int inputShift)
{
    return static_cast<int16_t>(c * (1 << (16 + kRgbFraction - inputShift)) + 0.5);
}

constexpr int kLumaShift = 7;   // (Y - 16) * 2^7 spans -2048 .. 30592
constexpr int kChromaShift = 8; // (C - 128) * 2^8 spans -32768 .. 32512
constexpr int16_t kCoefY = Coefficient(kYScale, kLumaShift);
constexpr int16_t kCoefRV = Coefficient(kCScale * 2.0 * (1.0 - kKr), kChromaShift);
constexpr int16_t kCoefGU = Coefficient(kCScale * 2.0 * (1.0 - kKb) * kKb / kKg, kChromaShift);
constexpr int16_t kCoefGV = Coefficient(kCScale * 2.0 * (1.0 - kKr) * kKr / kKg, kChromaShift);
constexpr int16_t kCoefBU = Coefficient(kCScale * 2.0 * (1.0 - kKb), kChromaShift);

constexpr int16_t kRgbHalf = 1 << (kRgbFraction - 1);

LUMO_INLINE int16_t HighProduct(int16_t a, int16_t b)
{
    return static_cast<int16_t>((a * b) >> 16);
}

struct ChromaTerms {
    int16_t r, g, b;
};

// The chroma share of R, G and B with the rounding half folded in. Each
// product rounds down, so G, which subtracts two of them, leans up by about
// one unit; one unit less keeps it centred.
LUMO_INLINE ChromaTerms TermsOf(uint8_t u, uint8_t v)
{
    const auto cu = static_cast<int16_t>((u - 128) * (1 << kChromaShift));
    const auto cv = static_cast<int16_t>((v - 128) * (1 << kChromaShift));
    return {
        static_cast<int16_t>(HighProduct(cv, kCoefRV) + kRgbHalf),
        static_cast<int16_t>(kRgbHalf - 1 - HighProduct(cu, kCoefGU) - HighProduct(cv, kCoefGV)),
        static_cast<int16_t>(HighProduct(cu, kCoefBU) + kRgbHalf)};
}

LUMO_INLINE uint8_t ClampByte(int v)
{
    return static_cast<uint8_t>(std::min(std::max(v, 0), 255));
}

} // namespace

LUMO_KERNEL void WidenRow(const uint8_t* __restrict in, int n, uint8_t* __restrict out,
                          int outWidth)
{
    for (int i = 0; i < n; ++i) {
        out[2 * i] = in[i];
        out[2 * i + 1] = in[i];
    }
    if (outWidth > 2 * n) {
        out[outWidth - 1] = in[n - 1];
    }
}

LUMO_KERNEL void SplitPairs(const uint8_t* __restrict in, int n, uint8_t* __restrict first,
                            uint8_t* __restrict second)
{
    for (int i = 0; i < n; ++i) {
        first[i] = in[2 * i];
        second[i] = in[2 * i + 1];
    }
}

LUMO_KERNEL void NarrowLow10(const uint16_t* __restrict in, size_t n, uint8_t* __restrict out)
{
    for (size_t i = 0; i < n; ++i) {
        out[i] = static_cast<uint8_t>(std::min((in[i] + 2) >> 2, 255));
    }
}

LUMO_KERNEL void NarrowHigh10(const uint16_t* __restrict in, size_t n, uint8_t* __restrict out)
{
    for (size_t i = 0; i < n; ++i) {
        out[i] = static_cast<uint8_t>(std::min((in[i] + 128) >> 8, 255));
    }
}

LUMO_KERNEL void SplitPairsHigh10(const uint16_t* __restrict in, int n, uint8_t* __restrict first,
                                  uint8_t* __restrict second)
{
    for (int i = 0; i < n; ++i) {
        first[i] = static_cast<uint8_t>(std::min((in[2 * i] + 128) >> 8, 255));
        second[i] = static_cast<uint8_t>(std::min((in[2 * i + 1] + 128) >> 8, 255));
    }
}

LUMO_KERNEL void UnpackYUYV(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<0, 1, 2, 3>(in, pairs, y, u, v);
}

LUMO_KERNEL void UnpackUYVY(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<1, 0, 3, 2>(in, pairs, y, u, v);
}

LUMO_KERNEL void UnpackYVYU(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<0, 3, 2, 1>(in, pairs, y, u, v);
}

LUMO_KERNEL void ChromaTermsRow(const uint8_t* __restrict u, const uint8_t* __restrict v, int n,
                                int16_t* __restrict r, int16_t* __restrict g, int16_t* __restrict b)
{
    for (int i = 0; i < n; ++i) {
        const ChromaTerms t = TermsOf(u[i], v[i]);
        r[i] = t.r;
        g[i] = t.g;
        b[i] = t.b;
    }
}

LUMO_KERNEL void ChromaTermsWideRow(const uint8_t* __restrict u, const uint8_t* __restrict v, int n,
                                    int16_t* __restrict r, int16_t* __restrict g,
                                    int16_t* __restrict b, int outWidth)
{
    for (int i = 0; i < n; ++i) {
        const ChromaTerms t = TermsOf(u[i], v[i]);
        r[2 * i] = t.r;
        r[2 * i + 1] = t.r;
        g[2 * i] = t.g;
        g[2 * i + 1] = t.g;
        b[2 * i] = t.b;
        b[2 * i + 1] = t.b;
    }
    if (outWidth > 2 * n) {
        r[outWidth - 1] = r[outWidth - 2];
        g[outWidth - 1] = g[outWidth - 2];
        b[outWidth - 1] = b[outWidth - 2];
    }
}

LUMO_KERNEL void LumaToRgbPlanes(const uint8_t* __restrict y, const int16_t* __restrict tr,
                                 const int16_t* __restrict tg, const int16_t* __restrict tb,
                                 uint8_t* __restrict r, uint8_t* __restrict g,
                                 uint8_t* __restrict b, int n)
{
    for (int i = 0; i < n; ++i) {
        const int16_t luma =
            HighProduct(static_cast<int16_t>((y[i] - 16) * (1 << kLumaShift)), kCoefY);
        r[i] = ClampByte(static_cast<int16_t>(luma + tr[i]) >> kRgbFraction);
        g[i] = ClampByte(static_cast<int16_t>(luma + tg[i]) >> kRgbFraction);
        b[i] = ClampByte(static_cast<int16_t>(luma + tb[i]) >> kRgbFraction);
    }
}

LUMO_KERNEL void InterleaveRgb(const uint8_t* __restrict r, const uint8_t* __restrict g,
                               const uint8_t* __restrict b, uint8_t* __restrict rgb, int n)
{
    for (int i = 0; i < n; ++i) {
        rgb[3 * i] = r[i];
        rgb[3 * i + 1] = g[i];
        rgb[3 * i + 2] = b[i];
    }
}

namespace {

LUMO_INLINE void HalveRowsScalar(const uint8_t* __restrict r0, const uint8_t* __restrict r1,
                                 uint8_t* __restrict out, int from, int n)
{
    // Each horizontal pair read as one 16-bit word: its bytes are summed in
    // 16-bit lanes with no byte shuffling.
#pragma GCC unroll 2
    for (int i = from; i < n; ++i) {
        uint16_t a;
        uint16_t b;
        std::memcpy(&a, r0 + 2 * i, 2);
        std::memcpy(&b, r1 + 2 * i, 2);
        const auto low = static_cast<uint16_t>((a & 0xff) + (b & 0xff));
        const auto high = static_cast<uint16_t>((a >> 8) + (b >> 8));
        out[i] = static_cast<uint8_t>(static_cast<uint16_t>(low + high + 2) >> 2);
    }
}

} // namespace

#if LUMO_HAVE_AVX2_INTRINSICS
// GCC does not find the horizontal pair add (pmaddubsw) on its own; with it
// the 2x2 mean is a handful of instructions per 32 outputs.
__attribute__((target("avx2"))) void HalveRowsAvx2(const uint8_t* __restrict r0, const uint8_t* __restrict r1,
                                                   uint8_t* __restrict out, int n)
{
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i two = _mm256_set1_epi16(2);
    int i = 0;
    for (; i + 32 <= n; i += 32) {
        const auto* a = reinterpret_cast<const __m256i*>(r0 + 2 * i);
        const auto* b = reinterpret_cast<const __m256i*>(r1 + 2 * i);
        __m256i lo = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_loadu_si256(a), ones),
                                      _mm256_maddubs_epi16(_mm256_loadu_si256(b), ones));
        __m256i hi = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_loadu_si256(a + 1), ones),
                                      _mm256_maddubs_epi16(_mm256_loadu_si256(b + 1), ones));
        lo = _mm256_srli_epi16(_mm256_add_epi16(lo, two), 2);
        hi = _mm256_srli_epi16(_mm256_add_epi16(hi, two), 2);
        // packus interleaves the 128-bit lanes of its two inputs; put them back.
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
    }
    HalveRowsScalar(r0, r1, out, i, n);
}

#endif

void HalveRows(const uint8_t* __restrict r0, const uint8_t* __restrict r1, uint8_t* __restrict out, int n)
{
#if LUMO_HAVE_AVX2_INTRINSICS
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) {
        HalveRowsAvx2(r0, r1, out, n);
        return;
    }
#endif
    HalveRowsScalar(r0, r1, out, 0, n);
}

LUMO_KERNEL uint64_t SumSquaredError(const uint8_t* __restrict a, const uint8_t* __restrict b,
                                     size_t n)
{
    // 32-bit lanes hold 2^15 squares of at most 255^2 without overflow.
    constexpr size_t kChunk = 1 << 15;
    uint64_t total = 0;
    while (n > 0) {
        const size_t len = std::min(n, kChunk);
        uint32_t sum = 0;
        for (size_t i = 0; i < len; ++i) {
            const int d = a[i] - b[i];
            sum += static_cast<uint32_t>(d * d);
        }
        total += sum;
        a += len;
        b += len;
        n -= len;
    }
    return total;
}

} // namespace lumo::kernels
