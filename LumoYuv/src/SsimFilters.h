#ifndef LUMO_SRC_SSIMFILTERS_H
#define LUMO_SRC_SSIMFILTERS_H

#include "Kernels.h"

// The parts of SSIM that run per sample: products, the separable 11-tap
// Gaussian and the window formula, in double precision. They are linear
// apart from the formula, built without FMA contraction, so equal inputs
// give equal outputs and identical frames score exactly 1.
namespace lumo::ssim {

constexpr int kWindow = 11;
constexpr int kRadius = kWindow / 2;

// x = a, y = b, q = a^2 + b^2, p = a*b for n samples.
inline void Products(const uint8_t* a, const uint8_t* b, int n, double* x, double* y, double* q,
                     double* p)
{
    kernels::Active().ssimProducts(a, b, n, x, y, q, p);
}

// The same with every sample first limited to lo..hi.
inline void ProductsClamped(const uint8_t* a, const uint8_t* b, int n, int lo, int hi, double* x,
                            double* y, double* q, double* p)
{
    kernels::Active().ssimProductsClamped(a, b, n, lo, hi, x, y, q, p);
}

// out[c] = sum over k of g[k] * rows[k][c]: one output row from 11 input
// rows. The quad form makes out[i] from rows[i .. i+10], i = 0..3, in one
// sweep over 14 rows, so each input row is loaded once for all four.
inline void VerticalRow(const double* const* rows, int n, const double* g, double* out)
{
    kernels::Active().ssimVerticalRow(rows, n, g, out);
}

inline void VerticalRowQuad(const double* const* rows, int n, const double* g, double* out0,
                            double* out1, double* out2, double* out3)
{
    kernels::Active().ssimVerticalRowQuad(rows, n, g, out0, out1, out2, out3);
}

// out[c] = sum over k of g[k] * in[c + k] for c < positions.
inline void HorizontalRow(const double* in, int positions, const double* g, double* out)
{
    kernels::Active().ssimHorizontalRow(in, positions, g, out);
}

// Sum of the window SSIM over n positions from the four moments (means of
// x and y, of x^2 + y^2 and of x*y).
inline double SumWindows(const double* mx, const double* my, const double* mq, const double* mp,
                         int n)
{
    return kernels::Active().ssimSumWindows(mx, my, mq, mp, n);
}

} // namespace lumo::ssim

#endif
