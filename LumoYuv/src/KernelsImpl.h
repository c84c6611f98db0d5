// The bodies of the row loops, built once per instruction-set level. The
// including file defines LUMO_KERNEL_NS (the namespace of this copy) and
// LUMO_KERNEL_LEVEL, and is compiled with that level's flags, at -O3, with
// -fopenmp-simd and without FMA contraction.
//
// Everything here has internal linkage or lives in the level's own
// namespace, and nothing from the standard library is instantiated: an
// inline function shared between copies could end up, in the linked
// program, as the one built for the widest level.

#include "Kernels.h"
#include "SsimFilters.h"

#if defined(__AVX2__)
#include <immintrin.h>
#endif

namespace lumo::kernels::LUMO_KERNEL_NS {

namespace {

#define LUMO_INLINE inline __attribute__((always_inline))

LUMO_INLINE int Min(int a, int b)
{
    return a < b ? a : b;
}

LUMO_INLINE int Max(int a, int b)
{
    return a > b ? a : b;
}

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
    return static_cast<uint8_t>(Min(Max(v, 0), 255));
}

LUMO_INLINE int16_t LumaTerm(uint8_t y)
{
    return HighProduct(static_cast<int16_t>((y - 16) * (1 << kLumaShift)), kCoefY);
}

void WidenRow(const uint8_t* __restrict in, int n, uint8_t* __restrict out, int outWidth)
{
    for (int i = 0; i < n; ++i) {
        out[2 * i] = in[i];
        out[2 * i + 1] = in[i];
    }
    if (outWidth > 2 * n) {
        out[outWidth - 1] = in[n - 1];
    }
}

void SplitPairs(const uint8_t* __restrict in, int n, uint8_t* __restrict first,
                uint8_t* __restrict second)
{
    for (int i = 0; i < n; ++i) {
        first[i] = in[2 * i];
        second[i] = in[2 * i + 1];
    }
}

void NarrowLow10(const uint16_t* __restrict in, size_t n, uint8_t* __restrict out)
{
    for (size_t i = 0; i < n; ++i) {
        out[i] = static_cast<uint8_t>(Min((in[i] + 2) >> 2, 255));
    }
}

void NarrowHigh10(const uint16_t* __restrict in, size_t n, uint8_t* __restrict out)
{
    for (size_t i = 0; i < n; ++i) {
        out[i] = static_cast<uint8_t>(Min((in[i] + 128) >> 8, 255));
    }
}

void SplitPairsHigh10(const uint16_t* __restrict in, int n, uint8_t* __restrict first,
                      uint8_t* __restrict second)
{
    for (int i = 0; i < n; ++i) {
        first[i] = static_cast<uint8_t>(Min((in[2 * i] + 128) >> 8, 255));
        second[i] = static_cast<uint8_t>(Min((in[2 * i + 1] + 128) >> 8, 255));
    }
}

void UnpackYUYV(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<0, 1, 2, 3>(in, pairs, y, u, v);
}

void UnpackUYVY(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<1, 0, 3, 2>(in, pairs, y, u, v);
}

void UnpackYVYU(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    UnpackPacked<0, 3, 2, 1>(in, pairs, y, u, v);
}

void ChromaTermsRow(const uint8_t* __restrict u, const uint8_t* __restrict v, int n,
                    int16_t* __restrict r, int16_t* __restrict g, int16_t* __restrict b)
{
    for (int i = 0; i < n; ++i) {
        const ChromaTerms t = TermsOf(u[i], v[i]);
        r[i] = t.r;
        g[i] = t.g;
        b[i] = t.b;
    }
}

void ChromaTermsWideRow(const uint8_t* __restrict u, const uint8_t* __restrict v, int n,
                        int16_t* __restrict r, int16_t* __restrict g, int16_t* __restrict b,
                        int outWidth)
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

// Pixels [from, n) one at a time, for the portable build and the ends of
// rows.
LUMO_INLINE void LumaToRgbScalar(const uint8_t* __restrict y, const int16_t* __restrict tr,
                                 const int16_t* __restrict tg, const int16_t* __restrict tb,
                                 uint8_t* __restrict rgb, int from, int n)
{
    for (int i = from; i < n; ++i) {
        const int16_t luma = LumaTerm(y[i]);
        rgb[3 * i] = ClampByte(static_cast<int16_t>(luma + tr[i]) >> kRgbFraction);
        rgb[3 * i + 1] = ClampByte(static_cast<int16_t>(luma + tg[i]) >> kRgbFraction);
        rgb[3 * i + 2] = ClampByte(static_cast<int16_t>(luma + tb[i]) >> kRgbFraction);
    }
}

#if defined(__AVX2__)

// 16 R, G or B values of 16 pixels: luma term plus chroma term, scaled down
// and clamped to bytes by the saturating pack.
LUMO_INLINE __m256i Channel16(__m256i luma, const int16_t* term)
{
    const __m256i t = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(term));
    return _mm256_srai_epi16(_mm256_add_epi16(luma, t), kRgbFraction);
}

// 32 bytes per channel in pixel order.
LUMO_INLINE __m256i Channel32(__m256i lumaLo, __m256i lumaHi, const int16_t* term)
{
    const __m256i packed = _mm256_packus_epi16(Channel16(lumaLo, term), Channel16(lumaHi, term + 16));
    return _mm256_permute4x64_epi64(packed, 0xD8);
}

LUMO_INLINE __m256i LumaTerms16(__m128i y)
{
    const __m256i wide = _mm256_cvtepu8_epi16(y);
    const __m256i centred = _mm256_slli_epi16(_mm256_sub_epi16(wide, _mm256_set1_epi16(16)), kLumaShift);
    return _mm256_mulhi_epi16(centred, _mm256_set1_epi16(kCoefY));
}

// Byte k of the 48 that 16 pixels make comes from channel k % 3, pixel
// k / 3. Within one 16-byte lane each output block takes its bytes from the
// three channel registers through one shuffle each.
LUMO_INLINE __m256i ShuffleMask(int block, int channel)
{
    alignas(32) int8_t m[32];
    for (int k = 0; k < 16; ++k) {
        const int at = 16 * block + k;
        m[k] = static_cast<int8_t>(at % 3 == channel ? at / 3 : -128);
        m[16 + k] = m[k];
    }
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(m));
}

#if defined(__AVX512BW__)

LUMO_INLINE __m512i LumaTerms32(__m256i y)
{
    const __m512i wide = _mm512_cvtepu8_epi16(y);
    const __m512i centred =
        _mm512_slli_epi16(_mm512_sub_epi16(wide, _mm512_set1_epi16(16)), kLumaShift);
    return _mm512_mulhi_epi16(centred, _mm512_set1_epi16(kCoefY));
}

LUMO_INLINE __m512i Sum32(__m512i luma, const int16_t* term)
{
    const __m512i t = _mm512_loadu_si512(term);
    return _mm512_srai_epi16(_mm512_add_epi16(luma, t), kRgbFraction);
}

// 64 bytes of one channel in pixel order: packus works per 128-bit lane,
// the permute puts the quarters back in order.
LUMO_INLINE __m512i Channel64(__m512i lumaLo, __m512i lumaHi, const int16_t* term)
{
    const __m512i packed =
        _mm512_packus_epi16(Sum32(lumaLo, term), Sum32(lumaHi, term + 32));
    return _mm512_maskz_permutexvar_epi64(0xff, _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0), packed);
}

// Quadwords q0..q7 of a permutex2var: 0..7 from the first source, 8..15
// from the second.
LUMO_INLINE __m512i Quads(int q0, int q1, int q2, int q3, int q4, int q5, int q6, int q7)
{
    return _mm512_set_epi64(q7, q6, q5, q4, q3, q2, q1, q0);
}

#endif

#if defined(__AVX512BW__)

// Pixels from i on, 64 at a time; returns where it stopped. Streaming stores
// (Stream, rgb + 3 * i 64-byte aligned) skip reading the output's cache lines
// first: a frame's RGB is larger than the caches, so that halves the memory
// traffic of the writes.
template <bool Stream>
LUMO_INLINE int LumaToRgb64(const uint8_t* __restrict y, const int16_t* __restrict tr,
                            const int16_t* __restrict tg, const int16_t* __restrict tb,
                            uint8_t* __restrict rgb, int i, int n)
{
    __m512i masks[3][3];
    for (int block = 0; block < 3; ++block) {
        for (int channel = 0; channel < 3; ++channel) {
            const __m256i half = ShuffleMask(block, channel);
            masks[block][channel] = _mm512_maskz_broadcast_i64x4(0xff, half);
        }
    }
    for (; i + 64 <= n; i += 64) {
        const __m512i lumaLo =
            LumaTerms32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i)));
        const __m512i lumaHi =
            LumaTerms32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i + 32)));
        const __m512i ch[3] = {Channel64(lumaLo, lumaHi, tr + i), Channel64(lumaLo, lumaHi, tg + i),
                               Channel64(lumaLo, lumaHi, tb + i)};
        // Lane g of each block holds its share of pixels i+16g .. i+16g+15.
        __m512i o[3];
        for (int block = 0; block < 3; ++block) {
            o[block] = _mm512_or_si512(_mm512_or_si512(_mm512_shuffle_epi8(ch[0], masks[block][0]),
                                                       _mm512_shuffle_epi8(ch[1], masks[block][1])),
                                       _mm512_shuffle_epi8(ch[2], masks[block][2]));
        }
        // Memory order is o0.l0 o1.l0 o2.l0 o0.l1 o1.l1 o2.l1 ... o2.l3.
        const __m512i t0 = _mm512_permutex2var_epi64(o[0], Quads(0, 1, 8, 9, 2, 3, 2, 3), o[1]);
        const __m512i t1 = _mm512_permutex2var_epi64(o[1], Quads(2, 3, 10, 11, 4, 5, 4, 5), o[2]);
        const __m512i t2 = _mm512_permutex2var_epi64(o[2], Quads(4, 5, 14, 15, 6, 7, 6, 7), o[0]);
        const __m512i out[3] = {_mm512_permutex2var_epi64(t0, Quads(0, 1, 2, 3, 8, 9, 4, 5), o[2]),
                                _mm512_permutex2var_epi64(t1, Quads(0, 1, 2, 3, 12, 13, 4, 5), o[0]),
                                _mm512_permutex2var_epi64(t2, Quads(0, 1, 2, 3, 14, 15, 4, 5), o[1])};
        uint8_t* dst = rgb + 3 * i;
        for (int k = 0; k < 3; ++k) {
            if (Stream) {
                _mm512_stream_si512(reinterpret_cast<__m512i*>(dst + 64 * k), out[k]);
            } else {
                _mm512_storeu_si512(dst + 64 * k, out[k]);
            }
        }
    }
    return i;
}

#endif

void LumaToRgb(const uint8_t* __restrict y, const int16_t* __restrict tr,
               const int16_t* __restrict tg, const int16_t* __restrict tb, uint8_t* __restrict rgb,
               int n, bool stream)
{
    int i = 0;
#if defined(__AVX512BW__)
    {
        // Pixels before the first one whose 3 bytes start a 64-byte line
        // (3 * 43 = 1 mod 64), done one at a time.
        const int misaligned = static_cast<int>(reinterpret_cast<uintptr_t>(rgb) % 64);
        const int lead = (64 - misaligned) % 64 * 43 % 64;
        if (stream && n >= lead + 256) {
            LumaToRgbScalar(y, tr, tg, tb, rgb, 0, lead);
            i = LumaToRgb64<true>(y, tr, tg, tb, rgb, lead, n);
            _mm_sfence();
        } else {
            i = LumaToRgb64<false>(y, tr, tg, tb, rgb, 0, n);
        }
    }
#else
    (void)stream;
#endif
    __m256i masks[3][3];
    for (int block = 0; block < 3; ++block) {
        for (int channel = 0; channel < 3; ++channel) {
            masks[block][channel] = ShuffleMask(block, channel);
        }
    }
    for (; i + 32 <= n; i += 32) {
        const __m256i lumaLo = LumaTerms16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y + i)));
        const __m256i lumaHi =
            LumaTerms16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(y + i + 16)));
        const __m256i ch[3] = {Channel32(lumaLo, lumaHi, tr + i), Channel32(lumaLo, lumaHi, tg + i),
                               Channel32(lumaLo, lumaHi, tb + i)};
        // Lane 0 holds pixels i..i+15, lane 1 pixels i+16..i+31.
        __m256i out[3];
        for (int block = 0; block < 3; ++block) {
            out[block] = _mm256_or_si256(
                _mm256_or_si256(_mm256_shuffle_epi8(ch[0], masks[block][0]),
                                _mm256_shuffle_epi8(ch[1], masks[block][1])),
                _mm256_shuffle_epi8(ch[2], masks[block][2]));
        }
        auto* dst = reinterpret_cast<__m256i*>(rgb + 3 * i);
        _mm256_storeu_si256(dst, _mm256_permute2x128_si256(out[0], out[1], 0x20));
        _mm256_storeu_si256(dst + 1, _mm256_permute2x128_si256(out[2], out[0], 0x30));
        _mm256_storeu_si256(dst + 2, _mm256_permute2x128_si256(out[1], out[2], 0x31));
    }
    LumaToRgbScalar(y, tr, tg, tb, rgb, i, n);
}

#if defined(__AVX512BW__)

// With AVX512-VBMI each 64-byte block of output is two byte permutes: R and
// G bytes picked from both registers at once, then B merged in under a
// mask. The channel registers are used as packus leaves them (lane L holds
// pixels 8L..8L+7, then 32+8L..32+8L+7), the permutes' indices undoing it.
struct VbmiIndices {
    alignas(64) uint8_t redGreen[3][64];
    alignas(64) uint8_t blue[3][64];
    uint64_t blueMask[3];
};

constexpr int PackedPosition(int pixel)
{
    return pixel < 32 ? 16 * (pixel / 8) + pixel % 8 : 16 * ((pixel - 32) / 8) + 8 + (pixel - 32) % 8;
}

VbmiIndices MakeVbmiIndices()
{
    VbmiIndices t{};
    for (int block = 0; block < 3; ++block) {
        for (int j = 0; j < 64; ++j) {
            const int at = 64 * block + j;
            const int position = PackedPosition(at / 3);
            const int channel = at % 3;
            t.redGreen[block][j] = static_cast<uint8_t>(channel == 1 ? 64 + position : position);
            t.blue[block][j] = static_cast<uint8_t>(position);
            if (channel == 2) {
                t.blueMask[block] |= uint64_t(1) << j;
            }
        }
    }
    return t;
}

__attribute__((target("avx512vbmi"))) void LumaToRgbVbmi(
    const uint8_t* __restrict y, const int16_t* __restrict tr, const int16_t* __restrict tg,
    const int16_t* __restrict tb, uint8_t* __restrict rgb, int n, bool stream)
{
    static const VbmiIndices indices = MakeVbmiIndices();
    __m512i redGreen[3];
    __m512i blue[3];
    for (int block = 0; block < 3; ++block) {
        redGreen[block] = _mm512_load_si512(indices.redGreen[block]);
        blue[block] = _mm512_load_si512(indices.blue[block]);
    }
    int i = 0;
    const int misaligned = static_cast<int>(reinterpret_cast<uintptr_t>(rgb) % 64);
    const int lead = (64 - misaligned) % 64 * 43 % 64;
    stream = stream && n >= lead + 256;
    if (stream) {
        LumaToRgbScalar(y, tr, tg, tb, rgb, 0, lead);
        i = lead;
    }
    for (; i + 64 <= n; i += 64) {
        const __m512i lumaLo =
            LumaTerms32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i)));
        const __m512i lumaHi =
            LumaTerms32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(y + i + 32)));
        const __m512i r = _mm512_packus_epi16(Sum32(lumaLo, tr + i), Sum32(lumaHi, tr + i + 32));
        const __m512i g = _mm512_packus_epi16(Sum32(lumaLo, tg + i), Sum32(lumaHi, tg + i + 32));
        const __m512i b = _mm512_packus_epi16(Sum32(lumaLo, tb + i), Sum32(lumaHi, tb + i + 32));
        uint8_t* dst = rgb + 3 * i;
        for (int block = 0; block < 3; ++block) {
            const __m512i rg = _mm512_permutex2var_epi8(r, redGreen[block], g);
            const __m512i out =
                _mm512_mask_permutexvar_epi8(rg, indices.blueMask[block], blue[block], b);
            if (stream) {
                _mm512_stream_si512(reinterpret_cast<__m512i*>(dst + 64 * block), out);
            } else {
                _mm512_storeu_si512(dst + 64 * block, out);
            }
        }
    }
    if (stream) {
        _mm_sfence();
    }
    LumaToRgb(y + i, tr + i, tg + i, tb + i, rgb + 3 * i, n - i, false);
}

#endif

#else

// Two simple loops per chunk vectorise better than one that packs.
void LumaToRgb(const uint8_t* __restrict y, const int16_t* __restrict tr,
               const int16_t* __restrict tg, const int16_t* __restrict tb, uint8_t* __restrict rgb,
               int n, bool)
{
    constexpr int kChunk = 256;
    uint8_t r[kChunk];
    uint8_t g[kChunk];
    uint8_t b[kChunk];
    for (int at = 0; at < n; at += kChunk) {
        const int len = Min(kChunk, n - at);
        for (int i = 0; i < len; ++i) {
            const int16_t luma = LumaTerm(y[at + i]);
            r[i] = ClampByte(static_cast<int16_t>(luma + tr[at + i]) >> kRgbFraction);
            g[i] = ClampByte(static_cast<int16_t>(luma + tg[at + i]) >> kRgbFraction);
            b[i] = ClampByte(static_cast<int16_t>(luma + tb[at + i]) >> kRgbFraction);
        }
        uint8_t* out = rgb + 3 * at;
        for (int i = 0; i < len; ++i) {
            out[3 * i] = r[i];
            out[3 * i + 1] = g[i];
            out[3 * i + 2] = b[i];
        }
    }
}

#endif

LUMO_INLINE void HalveRowsScalar(const uint8_t* __restrict r0, const uint8_t* __restrict r1,
                                 uint8_t* __restrict out, int from, int n)
{
    // Each horizontal pair read as one 16-bit word: its bytes are summed in
    // 16-bit lanes with no byte shuffling.
#pragma GCC unroll 2
    for (int i = from; i < n; ++i) {
        uint16_t a;
        uint16_t b;
        __builtin_memcpy(&a, r0 + 2 * i, 2);
        __builtin_memcpy(&b, r1 + 2 * i, 2);
        const auto low = static_cast<uint16_t>((a & 0xff) + (b & 0xff));
        const auto high = static_cast<uint16_t>((a >> 8) + (b >> 8));
        out[i] = static_cast<uint8_t>(static_cast<uint16_t>(low + high + 2) >> 2);
    }
}

// GCC does not find the horizontal pair add (pmaddubsw) on its own; with it
// the 2x2 mean is a handful of instructions per 32 (or 64) outputs.
void HalveRows(const uint8_t* __restrict r0, const uint8_t* __restrict r1, uint8_t* __restrict out,
               int n)
{
    int i = 0;
#if defined(__AVX512BW__)
    {
        const __m512i ones = _mm512_set1_epi8(1);
        const __m512i two = _mm512_set1_epi16(2);
        // packus interleaves the 128-bit lanes of its two inputs; put them back.
        const __m512i order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
        for (; i + 64 <= n; i += 64) {
            const uint8_t* a = r0 + 2 * i;
            const uint8_t* b = r1 + 2 * i;
            __m512i lo = _mm512_add_epi16(_mm512_maddubs_epi16(_mm512_loadu_si512(a), ones),
                                          _mm512_maddubs_epi16(_mm512_loadu_si512(b), ones));
            __m512i hi = _mm512_add_epi16(_mm512_maddubs_epi16(_mm512_loadu_si512(a + 64), ones),
                                          _mm512_maddubs_epi16(_mm512_loadu_si512(b + 64), ones));
            lo = _mm512_srli_epi16(_mm512_add_epi16(lo, two), 2);
            hi = _mm512_srli_epi16(_mm512_add_epi16(hi, two), 2);
            // The zero-masking form: GCC 12 warns about the plain one's undefined
            // pass-through operand.
            const __m512i packed =
                _mm512_maskz_permutexvar_epi64(0xff, order, _mm512_packus_epi16(lo, hi));
            _mm512_storeu_si512(out + i, packed);
        }
    }
#endif
#if defined(__AVX2__)
    {
        const __m256i ones = _mm256_set1_epi8(1);
        const __m256i two = _mm256_set1_epi16(2);
        for (; i + 32 <= n; i += 32) {
            const auto* a = reinterpret_cast<const __m256i*>(r0 + 2 * i);
            const auto* b = reinterpret_cast<const __m256i*>(r1 + 2 * i);
            __m256i lo = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_loadu_si256(a), ones),
                                          _mm256_maddubs_epi16(_mm256_loadu_si256(b), ones));
            __m256i hi = _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_loadu_si256(a + 1), ones),
                                          _mm256_maddubs_epi16(_mm256_loadu_si256(b + 1), ones));
            lo = _mm256_srli_epi16(_mm256_add_epi16(lo, two), 2);
            hi = _mm256_srli_epi16(_mm256_add_epi16(hi, two), 2);
            const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(lo, hi), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
        }
    }
#endif
    HalveRowsScalar(r0, r1, out, i, n);
}

void AverageRows(const uint8_t* __restrict r0, const uint8_t* __restrict r1,
                 uint8_t* __restrict out, int n)
{
    for (int i = 0; i < n; ++i) {
        out[i] = static_cast<uint8_t>((r0[i] + r1[i] + 1) >> 1);
    }
}

uint64_t SumSquaredError(const uint8_t* __restrict a, const uint8_t* __restrict b, size_t n)
{
    // 32-bit lanes hold 2^15 squares of at most 255^2 without overflow.
    constexpr size_t kChunk = 1 << 15;
    uint64_t total = 0;
    while (n > 0) {
        const size_t len = n < kChunk ? n : kChunk;
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

// ---- SSIM ----

using ssim::kRadius;
using ssim::kWindow;

constexpr double kC1 = (0.01 * 255) * (0.01 * 255);
constexpr double kC2 = (0.03 * 255) * (0.03 * 255);

template <bool Clamp>
LUMO_INLINE void ProductsOf(const uint8_t* __restrict a, const uint8_t* __restrict b, int n,
                            int lo, int hi, double* __restrict x, double* __restrict y,
                            double* __restrict q, double* __restrict p)
{
    for (int i = 0; i < n; ++i) {
        int va = a[i];
        int vb = b[i];
        if (Clamp) {
            va = Min(Max(va, lo), hi);
            vb = Min(Max(vb, lo), hi);
        }
        // Products of small integers are exact in double; only the filters
        // round.
        const double dx = va;
        const double dy = vb;
        x[i] = dx;
        y[i] = dy;
        q[i] = dx * dx + dy * dy;
        p[i] = dx * dy;
    }
}

void Products(const uint8_t* a, const uint8_t* b, int n, double* x, double* y, double* q,
              double* p)
{
    ProductsOf<false>(a, b, n, 0, 255, x, y, q, p);
}

void ProductsClamped(const uint8_t* a, const uint8_t* b, int n, int lo, int hi, double* x,
                     double* y, double* q, double* p)
{
    ProductsOf<true>(a, b, n, lo, hi, x, y, q, p);
}

// The window is symmetric: g[k] and g[10-k] are equal, so each pair of rows
// is added before the one multiply.
void VerticalRow(const double* const* rows, int n, const double* g, double* __restrict out)
{
    const double* r[kWindow];
    double w[kRadius + 1];
    for (int k = 0; k < kWindow; ++k) {
        r[k] = rows[k];
    }
    for (int k = 0; k <= kRadius; ++k) {
        w[k] = g[k];
    }
    for (int c = 0; c < n; ++c) {
        double acc = w[kRadius] * r[kRadius][c];
        for (int k = 0; k < kRadius; ++k) {
            acc += w[k] * (r[k][c] + r[kWindow - 1 - k][c]);
        }
        out[c] = acc;
    }
}

void VerticalRowQuad(const double* const* rows, int n, const double* g, double* __restrict out0,
                     double* __restrict out1, double* __restrict out2, double* __restrict out3)
{
    const double* r[kWindow + 3];
    double w[kRadius + 1];
    for (int k = 0; k < kWindow + 3; ++k) {
        r[k] = rows[k];
    }
    for (int k = 0; k <= kRadius; ++k) {
        w[k] = g[k];
    }
    for (int c = 0; c < n; ++c) {
        double acc0 = w[kRadius] * r[kRadius][c];
        double acc1 = w[kRadius] * r[kRadius + 1][c];
        double acc2 = w[kRadius] * r[kRadius + 2][c];
        double acc3 = w[kRadius] * r[kRadius + 3][c];
        for (int k = 0; k < kRadius; ++k) {
            const int k1 = kWindow - 1 - k;
            acc0 += w[k] * (r[k][c] + r[k1][c]);
            acc1 += w[k] * (r[k + 1][c] + r[k1 + 1][c]);
            acc2 += w[k] * (r[k + 2][c] + r[k1 + 2][c]);
            acc3 += w[k] * (r[k + 3][c] + r[k1 + 3][c]);
        }
        out0[c] = acc0;
        out1[c] = acc1;
        out2[c] = acc2;
        out3[c] = acc3;
    }
}

void HorizontalRow(const double* __restrict in, int positions, const double* g,
                   double* __restrict out)
{
    double w[kRadius + 1];
    for (int k = 0; k <= kRadius; ++k) {
        w[k] = g[k];
    }
    for (int c = 0; c < positions; ++c) {
        double acc = w[kRadius] * in[c + kRadius];
        for (int k = 0; k < kRadius; ++k) {
            acc += w[k] * (in[c + k] + in[c + kWindow - 1 - k]);
        }
        out[c] = acc;
    }
}

// Written so that equal inputs give num == den bit for bit: x*y and x*x
// round alike, and doubling is exact.
LUMO_INLINE double WindowSsim(double muX, double muY, double varianceSum, double covariance)
{
    const double num = (2.0 * muX * muY + kC1) * (2.0 * covariance + kC2);
    const double den = (muX * muX + muY * muY + kC1) * (varianceSum + kC2);
    return num / den;
}

// Sum of the window SSIM over n positions from their Gaussian moments.
// Position c adds into lane c % 8 and the lanes are added in a fixed order,
// so every level, whatever its vector width, gives the same bits.
double SumWindows(const double* __restrict mx, const double* __restrict my,
                  const double* __restrict mq, const double* __restrict mp, int n)
{
    constexpr int kLanes = 8;
    double lane[kLanes] = {0, 0, 0, 0, 0, 0, 0, 0};
    int c = 0;
    for (; c + kLanes <= n; c += kLanes) {
        for (int l = 0; l < kLanes; ++l) {
            const double x = mx[c + l];
            const double y = my[c + l];
            lane[l] += WindowSsim(x, y, mq[c + l] - (x * x + y * y), mp[c + l] - x * y);
        }
    }
    for (int l = 0; c + l < n; ++l) {
        const double x = mx[c + l];
        const double y = my[c + l];
        lane[l] += WindowSsim(x, y, mq[c + l] - (x * x + y * y), mp[c + l] - x * y);
    }
    return ((lane[0] + lane[1]) + (lane[2] + lane[3])) + ((lane[4] + lane[5]) + (lane[6] + lane[7]));
}

#undef LUMO_INLINE

} // namespace

// Constant-initialised, so a table is complete before any code runs.
#define LUMO_TABLE(level, lumaToRgb)                                                              \
    {                                                                                             \
        level, WidenRow, SplitPairs, NarrowLow10, NarrowHigh10, SplitPairsHigh10, UnpackYUYV,     \
            UnpackUYVY, UnpackYVYU, ChromaTermsRow, ChromaTermsWideRow, lumaToRgb, HalveRows,     \
            AverageRows, SumSquaredError, Products, ProductsClamped, VerticalRow,                 \
            VerticalRowQuad, HorizontalRow, SumWindows                                            \
    }

extern const Table kTable;
constexpr Table kTable = LUMO_TABLE(LUMO_KERNEL_LEVEL, LumaToRgb);

#if defined(__AVX512BW__)
// The same loops with the VBMI packing of RGB, for processors that have it.
extern const Table kTableVbmi;
constexpr Table kTableVbmi = LUMO_TABLE(Level::Avx512Vbmi, LumaToRgbVbmi);
#endif

#undef LUMO_TABLE

} // namespace lumo::kernels::LUMO_KERNEL_NS
