#ifndef LUMO_SRC_SSIMFILTERS_H
#define LUMO_SRC_SSIMFILTERS_H

#include <cstdint>

// The linear parts of SSIM: per-pixel products and the separable 11-tap
// Gaussian, in double precision. Built with FMA contraction: the filters are
// linear, so equal inputs still give equal outputs (and doubled inputs
// exactly doubled outputs), which is what makes identical frames score 1.
namespace lumo::ssim {

constexpr int kWindow = 11;
constexpr int kRadius = kWindow / 2;

// x = a, y = b, q = a^2 + b^2, p = a*b for n samples; the clamped form
// first limits every sample to 16..235.
void Products(const uint8_t* a, const uint8_t* b, int n, double* x, double* y, double* q,
              double* p);
void ProductsClamped(const uint8_t* a, const uint8_t* b, int n, double* x, double* y, double* q,
                     double* p);

// out[c] = sum over k of g[k] * rows[k][c]: one output row from 11 input
// rows. The quad form makes out[i] from rows[i .. i+10], i = 0..3, in one
// sweep over 14 rows, so each input row is loaded once for all four.
void VerticalRow(const double* const* rows, int n, const double* g, double* out);
void VerticalRowQuad(const double* const* rows, int n, const double* g, double* out0, double* out1,
                     double* out2, double* out3);

// out[c] = sum over k of g[k] * in[c + k] for c < positions.
void HorizontalRow(const double* in, int positions, const double* g, double* out);

} // namespace lumo::ssim

#endif
