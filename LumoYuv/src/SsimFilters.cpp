#include "SsimFilters.h"

#include "Dispatch.h"

#include <algorithm>

namespace lumo::ssim {

namespace {

template <bool Clamp>
LUMO_INLINE void ProductsOf(const uint8_t* __restrict a, const uint8_t* __restrict b, int n,
                            double* __restrict x, double* __restrict y, double* __restrict q,
                            double* __restrict p)
{
    for (int i = 0; i < n; ++i) {
        int va = a[i];
        int vb = b[i];
        if (Clamp) {
            va = std::min(std::max(va, 16), 235);
            vb = std::min(std::max(vb, 16), 235);
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

} // namespace

LUMO_KERNEL void Products(const uint8_t* a, const uint8_t* b, int n, double* x, double* y,
                          double* q, double* p)
{
    ProductsOf<false>(a, b, n, x, y, q, p);
}

LUMO_KERNEL void ProductsClamped(const uint8_t* a, const uint8_t* b, int n, double* x, double* y,
                                 double* q, double* p)
{
    ProductsOf<true>(a, b, n, x, y, q, p);
}

// The window is symmetric: g[k] and g[10-k] are equal, so each pair of rows
// is added before the one multiply.
LUMO_KERNEL void VerticalRow(const double* const* rows, int n, const double* g,
                             double* __restrict out)
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

LUMO_KERNEL void VerticalRowQuad(const double* const* rows, int n, const double* g,
                                 double* __restrict out0, double* __restrict out1,
                                 double* __restrict out2, double* __restrict out3)
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

LUMO_KERNEL void HorizontalRow(const double* __restrict in, int positions, const double* g,
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

} // namespace lumo::ssim
