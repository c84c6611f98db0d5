#include "Ssim.h"

#include "MallocPtr.h"
#include "SsimFilters.h"
#include "lumo/Threads.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

namespace lumo {

namespace {

using ssim::kRadius;
using ssim::kWindow;

constexpr double kC1 = (0.01 * 255) * (0.01 * 255);
constexpr double kC2 = (0.03 * 255) * (0.03 * 255);

// Output columns per strip: the strip's rolling rows of products stay in L2.
constexpr int kStrip = 384;
// Below this many window positions a helper thread costs more than it saves.
constexpr int64_t kThreadedPositions = 1 << 18;
// Output rows filtered per vertical sweep, and the rows of products a strip
// keeps for it.
constexpr int kGroup = 4;
constexpr int kRing = kWindow + kGroup - 1;
// How far ahead of the row being converted its successors are fetched.
constexpr int kPrefetchRows = 8;

// The formula of one window, for the whole-plane case; the per-position
// sums use the same arithmetic in the kernels. This file is built without
// FMA contraction, so equal inputs give num == den bit for bit.
double WindowSsim(double muX, double muY, double varianceSum, double covariance)
{
    const double num = (2.0 * muX * muY + kC1) * (2.0 * covariance + kC2);
    const double den = (muX * muX + muY * muY + kC1) * (varianceSum + kC2);
    return num / den;
}

// One window over the whole plane with equal weights. Sums are exact
// integers, so the variances carry no cancellation error.
double WholePlaneSsim(const uint8_t* a, const uint8_t* b, int64_t count, int lo, int hi)
{
    auto sample = [lo, hi](uint8_t v) { return static_cast<int64_t>(std::clamp<int>(v, lo, hi)); };
    int64_t sx = 0;
    int64_t sy = 0;
    int64_t sq = 0;
    int64_t sp = 0;
    for (int64_t i = 0; i < count; ++i) {
        const int64_t x = sample(a[i]);
        const int64_t y = sample(b[i]);
        sx += x;
        sy += y;
        sq += x * x + y * y;
        sp += x * y;
    }
    const __int128 n = count;
    const __int128 varianceSum =
        n * sq - static_cast<__int128>(sx) * sx - static_cast<__int128>(sy) * sy;
    const __int128 covariance = n * sp - static_cast<__int128>(sx) * sy;
    const double nn = static_cast<double>(count) * static_cast<double>(count);
    return WindowSsim(sx / static_cast<double>(count), sy / static_cast<double>(count),
                      static_cast<double>(varianceSum) / nn, static_cast<double>(covariance) / nn);
}

struct Frame {
    const uint8_t* a;
    const uint8_t* b;
    int width;
    int height;
    bool clamp;
    int lo;
    int hi;
    double g[kWindow];
};

// Sums window SSIM over vertical strips of the frame, kStrip positions wide,
// keeping per strip a rolling set of product rows so each source row is
// converted once, and filtering kGroup output rows per sweep.
class StripWorker {
public:
    explicit StripWorker(const Frame& frame) : f(frame) {}

    bool Allocate()
    {
        // ring: kRing rows x 4 products; kGroup column-sum rows; one moment row.
        const size_t doubles = Cols() * 4 * (kRing + kGroup) + 4 * static_cast<size_t>(kStrip);
        memory.reset(static_cast<double*>(std::malloc(doubles * sizeof(double))));
        return memory != nullptr;
    }

    double Strip(int strip) const
    {
        const int x0 = strip * kStrip;
        const int positions = std::min(kStrip, f.width - kWindow + 1 - x0);
        const int cols = positions + kWindow - 1;
        const int rows = f.height - kWindow + 1;
        for (int r = 0; r < kWindow - 1; ++r) {
            Convert(r, x0, cols);
        }
        double total = 0.0;
        for (int j = 0; j < rows;) {
            const int group = rows - j >= kGroup ? kGroup : 1;
            for (int r = 0; r < group; ++r) {
                Convert(j + kWindow - 1 + r, x0, cols);
            }
            for (int m = 0; m < 4; ++m) {
                const double* in[kRing];
                double* out[kGroup];
                for (int k = 0; k < kRing; ++k) {
                    in[k] = Ring(j + k, m);
                }
                for (int r = 0; r < kGroup; ++r) {
                    out[r] = Sums(r, m);
                }
                if (group == kGroup) {
                    ssim::VerticalRowQuad(in, cols, f.g, out[0], out[1], out[2], out[3]);
                } else {
                    ssim::VerticalRow(in, cols, f.g, out[0]);
                }
            }
            for (int r = 0; r < group; ++r) {
                total += Row(r, positions);
            }
            j += group;
        }
        return total;
    }

private:
    size_t Cols() const { return kStrip + kWindow - 1; }

    double* Ring(int row, int moment) const
    {
        return memory.get() + ((row % kRing) * 4 + moment) * Cols();
    }

    double* Sums(int which, int moment) const
    {
        return memory.get() + (4 * kRing + which * 4 + moment) * Cols();
    }

    double* Moment(int moment) const
    {
        return memory.get() + 4 * (kRing + kGroup) * Cols() + moment * static_cast<size_t>(kStrip);
    }

    void Convert(int row, int x0, int cols) const
    {
        const size_t at = static_cast<size_t>(row) * f.width + x0;
        // A strip steps down the frame a full row at a time, a stride the
        // hardware prefetcher loses at page boundaries: ask for rows ahead.
        if (row + kPrefetchRows < f.height) {
            const size_t ahead = at + kPrefetchRows * static_cast<size_t>(f.width);
            for (int c = 0; c < cols; c += 64) {
                __builtin_prefetch(f.a + ahead + c);
                __builtin_prefetch(f.b + ahead + c);
            }
        }
        if (f.clamp) {
            ssim::ProductsClamped(f.a + at, f.b + at, cols, f.lo, f.hi, Ring(row, 0),
                                  Ring(row, 1), Ring(row, 2), Ring(row, 3));
        } else {
            ssim::Products(f.a + at, f.b + at, cols, Ring(row, 0), Ring(row, 1), Ring(row, 2),
                           Ring(row, 3));
        }
    }

    double Row(int which, int positions) const
    {
        for (int m = 0; m < 4; ++m) {
            ssim::HorizontalRow(Sums(which, m), positions, f.g, Moment(m));
        }
        return ssim::SumWindows(Moment(0), Moment(1), Moment(2), Moment(3), positions);
    }

    const Frame& f;
    MallocPtr<double> memory;
};

void GaussianWeights(double* g)
{
    constexpr double kSigma = 1.5;
    double sum = 0.0;
    for (int k = 0; k < kWindow; ++k) {
        const double d = k - kRadius;
        g[k] = std::exp(-(d * d) / (2.0 * kSigma * kSigma));
        sum += g[k];
    }
    // The 2-D weights g[i]*g[j] then sum to 1 as well.
    for (int k = 0; k < kWindow; ++k) {
        g[k] /= sum;
    }
}

// Threads take strips from a shared counter, so a thread the scheduler
// delays leaves its share to the others. Strip sums land in a fixed slot each
// and are added in strip order: the result does not depend on who ran what.
bool RunStrips(const Frame& frame, int strips, int threads, std::vector<double>& sums)
{
    std::atomic<int> next{0};
    auto work = [&frame, strips, &next, &sums](bool& ok) {
        StripWorker worker(frame);
        ok = worker.Allocate();
        for (int s = next++; ok && s < strips; s = next++) {
            sums[static_cast<size_t>(s)] = worker.Strip(s);
        }
    };
    std::vector<std::thread> helpers;
    std::unique_ptr<bool[]> ok(new bool[static_cast<size_t>(threads)]());
    for (int t = 1; t < threads; ++t) {
        try {
            helpers.emplace_back(work, std::ref(ok[t]));
        } catch (const std::system_error&) {
            ok[t] = true; // no thread to be had: the others share its strips
        }
    }
    work(ok[0]);
    for (std::thread& helper : helpers) {
        helper.join();
    }
    return std::all_of(ok.get(), ok.get() + threads, [](bool b) { return b; });
}

} // namespace

double PlaneSsim(const uint8_t* a, const uint8_t* b, int width, int height, int lo, int hi)
{
    if (width < kWindow || height < kWindow) {
        return WholePlaneSsim(a, b, static_cast<int64_t>(width) * height, lo, hi);
    }
    Frame frame{a, b, width, height, lo > 0 || hi < 255, lo, hi, {}};
    GaussianWeights(frame.g);
    const int positionsX = width - kWindow + 1;
    const int positionsY = height - kWindow + 1;
    const int strips = (positionsX + kStrip - 1) / kStrip;
    const int64_t positions = static_cast<int64_t>(positionsX) * positionsY;
    const int threads = positions < kThreadedPositions ? 1 : std::min(GetMaxThreads(), strips);

    std::vector<double> sums(static_cast<size_t>(strips), 0.0);
    if (!RunStrips(frame, strips, threads, sums)) {
        return std::nan("");
    }
    double total = 0.0;
    for (double s : sums) {
        total += s;
    }
    return total / static_cast<double>(positions);
}

} // namespace lumo
