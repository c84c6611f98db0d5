#ifndef LUMO_SRC_KERNELS_H
#define LUMO_SRC_KERNELS_H

#include <cstddef>
#include <cstdint>

// Row loops shared by the readers and the metrics. Pointers of one call never
// overlap.
namespace lumo::kernels {

// out[x] = in[min(x / 2, n - 1)] for x < outWidth; outWidth is 2n or 2n+1.
void WidenRow(const uint8_t* in, int n, uint8_t* out, int outWidth);

// Splits n interleaved pairs into their first and second members.
void SplitPairs(const uint8_t* in, int n, uint8_t* first, uint8_t* second);

// 10-bit samples in 16-bit words to 8 bits, rounded:
// low-aligned min(255, (v + 2) >> 2), high-aligned min(255, (v + 128) >> 8).
void NarrowLow10(const uint16_t* in, size_t n, uint8_t* out);
void NarrowHigh10(const uint16_t* in, size_t n, uint8_t* out);
void SplitPairsHigh10(const uint16_t* in, int n, uint8_t* first, uint8_t* second);

// One row of packed 4:2:2 (pairs groups of 4 bytes) to Y (2 per group), U, V.
void UnpackYUYV(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v);
void UnpackUYVY(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v);
void UnpackYVYU(const uint8_t* in, int pairs, uint8_t* y, uint8_t* u, uint8_t* v);

// BT.601 limited range to RGB in two steps. Chroma first becomes per-pixel
// terms (computed once per chroma row, shared by the rows that use it), then
// each luma row adds its own term and is split into clamped R, G, B planes,
// which InterleaveRgb packs; two simple loops vectorise better than one.
// ChromaTermsRow: n samples to n terms. ChromaTermsWideRow: n samples to
// outWidth (2n or 2n+1) terms, each sample repeated, the last one again.
void ChromaTermsRow(const uint8_t* u, const uint8_t* v, int n, int16_t* r, int16_t* g, int16_t* b);
void ChromaTermsWideRow(const uint8_t* u, const uint8_t* v, int n, int16_t* r, int16_t* g,
                        int16_t* b, int outWidth);
void LumaToRgbPlanes(const uint8_t* y, const int16_t* tr, const int16_t* tg, const int16_t* tb,
                     uint8_t* r, uint8_t* g, uint8_t* b, int n);
void InterleaveRgb(const uint8_t* r, const uint8_t* g, const uint8_t* b, uint8_t* rgb, int n);

// out[i] = rounded mean of the 2x2 block at column 2i of rows r0 and r1.
void HalveRows(const uint8_t* r0, const uint8_t* r1, uint8_t* out, int n);

// Sum of (a[i] - b[i])^2.
uint64_t SumSquaredError(const uint8_t* a, const uint8_t* b, size_t n);

} // namespace lumo::kernels

#endif
