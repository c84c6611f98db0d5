#ifndef LUMO_SRC_KERNELS_H
#define LUMO_SRC_KERNELS_H

#include <cstddef>
#include <cstdint>

// Row loops shared by the readers and the metrics. Pointers of one call never
// overlap.
//
// Each loop is built several times from one source (KernelsImpl.h): a
// portable version for any x86-64 (or other processor), and on x86-64 an
// AVX2 and an AVX-512 version (with a VBMI variant of one loop). The best version the processor runs is picked
// at the first call. Every version gives the same bits: the integer loops by
// construction, the floating-point ones because they are built without FMA
// contraction and sum in a fixed order.
namespace lumo::kernels {

// Avx512Vbmi is the AVX-512 level with the byte permutes of AVX512-VBMI for
// the RGB packing.
enum class Level { Portable = 0, Avx2 = 1, Avx512 = 2, Avx512Vbmi = 3 };

struct Table {
    Level level;
    void (*widenRow)(const uint8_t*, int, uint8_t*, int);
    void (*splitPairs)(const uint8_t*, int, uint8_t*, uint8_t*);
    void (*narrowLow10)(const uint16_t*, size_t, uint8_t*);
    void (*narrowHigh10)(const uint16_t*, size_t, uint8_t*);
    void (*splitPairsHigh10)(const uint16_t*, int, uint8_t*, uint8_t*);
    void (*unpackYUYV)(const uint8_t*, int, uint8_t*, uint8_t*, uint8_t*);
    void (*unpackUYVY)(const uint8_t*, int, uint8_t*, uint8_t*, uint8_t*);
    void (*unpackYVYU)(const uint8_t*, int, uint8_t*, uint8_t*, uint8_t*);
    void (*chromaTermsRow)(const uint8_t*, const uint8_t*, int, int16_t*, int16_t*, int16_t*);
    void (*chromaTermsWideRow)(const uint8_t*, const uint8_t*, int, int16_t*, int16_t*, int16_t*,
                               int);
    void (*lumaToRgb)(const uint8_t*, const int16_t*, const int16_t*, const int16_t*, uint8_t*,
                      int, bool);
    void (*halveRows)(const uint8_t*, const uint8_t*, uint8_t*, int);
    void (*averageRows)(const uint8_t*, const uint8_t*, uint8_t*, int);
    uint64_t (*sumSquaredError)(const uint8_t*, const uint8_t*, size_t);
    void (*ssimProducts)(const uint8_t*, const uint8_t*, int, double*, double*, double*, double*);
    void (*ssimProductsClamped)(const uint8_t*, const uint8_t*, int, int, int, double*, double*,
                                double*, double*);
    void (*ssimVerticalRow)(const double* const*, int, const double*, double*);
    void (*ssimVerticalRowQuad)(const double* const*, int, const double*, double*, double*,
                                double*, double*);
    void (*ssimHorizontalRow)(const double*, int, const double*, double*);
    double (*ssimSumWindows)(const double*, const double*, const double*, const double*, int);
};

// The table in use: the best level this processor runs, unless one was
// forced.
const Table& Active();

// The best level both this build and this processor offer.
Level BestLevel();

// Internal switch for the tests and benchmarks that compare the levels: from
// now on every call uses level's loops. False, and nothing changed, when
// the build or the processor cannot run it. Not for use while other threads
// are inside the library.
bool ForceLevel(Level level);

const char* LevelName(Level level);

// out[x] = in[min(x / 2, n - 1)] for x < outWidth; outWidth is 2n or 2n+1.
inline void WidenRow(const uint8_t* in, int n, uint8_t* out, int outWidth)
{
    Active().widenRow(in, n, out, outWidth);
}

// Splits n interleaved pairs into their first and second members.
inline void SplitPairs(const uint8_t* in, int n, uint8_t* first, uint8_t* second)
{
    Active().splitPairs(in, n, first, second);
}

// 10-bit samples in 16-bit words to 8 bits, rounded:
// low-aligned min(255, (v + 2) >> 2), high-aligned min(255, (v + 128) >> 8).
inline void NarrowLow10(const uint16_t* in, size_t n, uint8_t* out)
{
    Active().narrowLow10(in, n, out);
}

inline void NarrowHigh10(const uint16_t* in, size_t n, uint8_t* out)
{
    Active().narrowHigh10(in, n, out);
}

inline void SplitPairsHigh10(const uint16_t* in, int n, uint8_t* first, uint8_t* second)
{
    Active().splitPairsHigh10(in, n, first, second);
}

// One row of packed 4:2:2 (pairs groups of 4 bytes) to Y (2 per group), U, V.
inline void UnpackYUYV(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    Active().unpackYUYV(in, pairs, y, u, v);
}

inline void UnpackUYVY(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    Active().unpackUYVY(in, pairs, y, u, v);
}

inline void UnpackYVYU(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v)
{
    Active().unpackYVYU(in, pairs, y, u, v);
}

// BT.601 limited range to RGB in two steps. Chroma first becomes per-pixel
// terms (computed once per chroma row, shared by the rows that use it), then
// each luma row adds its own term and is written as clamped R, G, B bytes.
// ChromaTermsRow: n samples to n terms. ChromaTermsWideRow: n samples to
// outWidth (2n or 2n+1) terms, each sample repeated, the last one again.
inline void ChromaTermsRow(const uint8_t* u, const uint8_t* v, int n, int16_t* r, int16_t* g,
                           int16_t* b)
{
    Active().chromaTermsRow(u, v, n, r, g, b);
}

inline void ChromaTermsWideRow(const uint8_t* u, const uint8_t* v, int n, int16_t* r, int16_t* g,
                               int16_t* b, int outWidth)
{
    Active().chromaTermsWideRow(u, v, n, r, g, b, outWidth);
}

// n pixels of one luma row with their chroma terms to packed R, G, B.
// stream: the output is larger than the caches will keep, so a level that
// can may write it past them.
inline void LumaToRgb(const uint8_t* y, const int16_t* tr, const int16_t* tg, const int16_t* tb,
                      uint8_t* rgb, int n, bool stream)
{
    Active().lumaToRgb(y, tr, tg, tb, rgb, n, stream);
}

// out[i] = rounded mean of the 2x2 block at column 2i of rows r0 and r1.
inline void HalveRows(const uint8_t* r0, const uint8_t* r1, uint8_t* out, int n)
{
    Active().halveRows(r0, r1, out, n);
}

// out[i] = (r0[i] + r1[i] + 1) / 2: the 2x2 mean of a row pair whose
// columns come in equal pairs, as 4:2:2 chroma widened to 4:4:4 does.
inline void AverageRows(const uint8_t* r0, const uint8_t* r1, uint8_t* out, int n)
{
    Active().averageRows(r0, r1, out, n);
}

// Sum of (a[i] - b[i])^2.
inline uint64_t SumSquaredError(const uint8_t* a, const uint8_t* b, size_t n)
{
    return Active().sumSquaredError(a, b, n);
}

} // namespace lumo::kernels

#endif
