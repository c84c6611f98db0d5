#ifndef LUMO_TESTS_LUMOYUV_YUVTESTSUPPORT_H
#define LUMO_TESTS_LUMOYUV_YUVTESTSUPPORT_H

// Test-side knowledge of the layouts, written from their definitions (not
// from the library's code), plus the independent references the library is
// checked against.

#include "TempDir.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace lumo_yuv_test {

using Bytes = std::vector<uint8_t>;

enum class Family { Planar, SemiPlanar, Packed, Gray };
enum class Depth { Bits8, Low10, High10 };

struct LayoutDef {
    std::string id;
    Family family;
    int shiftX; // chroma columns halved
    int shiftY; // chroma rows halved
    bool vFirst;
    Depth depth;
    std::string packOrder; // packed: the four bytes of each pixel pair, e.g. "YUYV"
};

// Registry order.
inline const std::vector<LayoutDef>& Layouts()
{
    static const std::vector<LayoutDef> defs = {
        {"I420", Family::Planar, 1, 1, false, Depth::Bits8, ""},
        {"YV12", Family::Planar, 1, 1, true, Depth::Bits8, ""},
        {"NV12", Family::SemiPlanar, 1, 1, false, Depth::Bits8, ""},
        {"NV21", Family::SemiPlanar, 1, 1, true, Depth::Bits8, ""},
        {"I422", Family::Planar, 1, 0, false, Depth::Bits8, ""},
        {"YV16", Family::Planar, 1, 0, true, Depth::Bits8, ""},
        {"NV16", Family::SemiPlanar, 1, 0, false, Depth::Bits8, ""},
        {"NV61", Family::SemiPlanar, 1, 0, true, Depth::Bits8, ""},
        {"YUYV", Family::Packed, 1, 0, false, Depth::Bits8, "YUYV"},
        {"UYVY", Family::Packed, 1, 0, false, Depth::Bits8, "UYVY"},
        {"YVYU", Family::Packed, 1, 0, false, Depth::Bits8, "YVYU"},
        {"I444", Family::Planar, 0, 0, false, Depth::Bits8, ""},
        {"YV24", Family::Planar, 0, 0, true, Depth::Bits8, ""},
        {"NV24", Family::SemiPlanar, 0, 0, false, Depth::Bits8, ""},
        {"NV42", Family::SemiPlanar, 0, 0, true, Depth::Bits8, ""},
        {"GRAY", Family::Gray, 0, 0, false, Depth::Bits8, ""},
        {"I420P10", Family::Planar, 1, 1, false, Depth::Low10, ""},
        {"I422P10", Family::Planar, 1, 0, false, Depth::Low10, ""},
        {"I444P10", Family::Planar, 0, 0, false, Depth::Low10, ""},
        {"P010", Family::SemiPlanar, 1, 1, false, Depth::High10, ""},
    };
    return defs;
}

inline int ChromaWidth(const LayoutDef& d, int w)
{
    return d.family == Family::Gray ? 0 : w >> d.shiftX;
}

inline int ChromaHeight(const LayoutDef& d, int h)
{
    return d.family == Family::Gray ? 0 : h >> d.shiftY;
}

inline int64_t ExpectedFrameLen(const LayoutDef& d, int w, int h)
{
    const int64_t luma = static_cast<int64_t>(w) * h;
    const int64_t bps = d.depth == Depth::Bits8 ? 1 : 2;
    switch (d.family) {
    case Family::Gray:
        return luma;
    case Family::Packed:
        return 2 * luma;
    default:
        return bps * (luma + 2 * static_cast<int64_t>(ChromaWidth(d, w)) * ChromaHeight(d, h));
    }
}

// One frame as stored codes: 8-bit values, or 16-bit words for 10-bit
// layouts. Chroma planes at the layout's own resolution.
struct Picture {
    int width = 0;
    int height = 0;
    int chromaWidth = 0;
    int chromaHeight = 0;
    std::vector<uint16_t> y, u, v;
};

inline Picture RandomPicture(const LayoutDef& d, int w, int h, std::mt19937& rng)
{
    Picture p;
    p.width = w;
    p.height = h;
    p.chromaWidth = ChromaWidth(d, w);
    p.chromaHeight = ChromaHeight(d, h);
    // 10-bit low-aligned codes reach 1023 (reads as 255 after clamping);
    // high-aligned words carry noise in their low bits too.
    const int top = d.depth == Depth::Bits8 ? 255 : d.depth == Depth::Low10 ? 1023 : 65535;
    std::uniform_int_distribution<int> code(0, top);
    auto fill = [&](std::vector<uint16_t>& plane, size_t n) {
        plane.resize(n);
        for (auto& s : plane) {
            s = static_cast<uint16_t>(code(rng));
        }
    };
    fill(p.y, static_cast<size_t>(w) * h);
    fill(p.u, static_cast<size_t>(p.chromaWidth) * p.chromaHeight);
    fill(p.v, static_cast<size_t>(p.chromaWidth) * p.chromaHeight);
    return p;
}

inline void PutSample(Bytes& out, const LayoutDef& d, uint16_t s)
{
    if (d.depth == Depth::Bits8) {
        out.push_back(static_cast<uint8_t>(s));
    } else {
        out.push_back(static_cast<uint8_t>(s & 0xff)); // little-endian words
        out.push_back(static_cast<uint8_t>(s >> 8));
    }
}

// The frame's bytes as the layout defines them.
inline Bytes WriteFrame(const LayoutDef& d, const Picture& p)
{
    Bytes out;
    const int w = p.width;
    const int cw = p.chromaWidth;
    const int ch = p.chromaHeight;
    if (d.family == Family::Packed) {
        for (int y = 0; y < p.height; ++y) {
            for (int i = 0; i < w / 2; ++i) {
                int luma = 0;
                for (char c : d.packOrder) {
                    if (c == 'Y') {
                        out.push_back(
                            static_cast<uint8_t>(p.y[static_cast<size_t>(y) * w + 2 * i + luma]));
                        ++luma;
                    } else {
                        const auto& plane = c == 'U' ? p.u : p.v;
                        out.push_back(static_cast<uint8_t>(plane[static_cast<size_t>(y) * cw + i]));
                    }
                }
            }
        }
        return out;
    }
    for (uint16_t s : p.y) {
        PutSample(out, d, s);
    }
    const auto& first = d.vFirst ? p.v : p.u;
    const auto& second = d.vFirst ? p.u : p.v;
    if (d.family == Family::Planar) {
        for (uint16_t s : first) {
            PutSample(out, d, s);
        }
        for (uint16_t s : second) {
            PutSample(out, d, s);
        }
    } else if (d.family == Family::SemiPlanar) {
        for (size_t i = 0; i < static_cast<size_t>(cw) * ch; ++i) {
            PutSample(out, d, first[i]);
            PutSample(out, d, second[i]);
        }
    }
    return out;
}

inline uint8_t To8Bit(const LayoutDef& d, uint16_t s)
{
    switch (d.depth) {
    case Depth::Low10:
        return static_cast<uint8_t>(std::min(255, (s + 2) >> 2));
    case Depth::High10:
        return static_cast<uint8_t>(std::min(255, (s + 128) >> 8));
    default:
        return static_cast<uint8_t>(s);
    }
}

// Planar 4:4:4 as the reader should return it: nearest-neighbour chroma,
// the last chroma row and column standing in where the plane was rounded
// down; no chroma at all reads as 128.
inline Bytes Expected444(const LayoutDef& d, const Picture& p)
{
    const size_t plane = static_cast<size_t>(p.width) * p.height;
    Bytes out(3 * plane, 128);
    for (size_t i = 0; i < plane; ++i) {
        out[i] = To8Bit(d, p.y[i]);
    }
    if (p.chromaWidth == 0 || p.chromaHeight == 0) {
        return out;
    }
    for (int y = 0; y < p.height; ++y) {
        const int cy = std::min(y >> d.shiftY, p.chromaHeight - 1);
        for (int x = 0; x < p.width; ++x) {
            const int cx = std::min(x >> d.shiftX, p.chromaWidth - 1);
            const size_t at = static_cast<size_t>(cy) * p.chromaWidth + cx;
            const size_t to = static_cast<size_t>(y) * p.width + x;
            out[plane + to] = To8Bit(d, p.u[at]);
            out[2 * plane + to] = To8Bit(d, p.v[at]);
        }
    }
    return out;
}

inline void WriteFile(const std::string& path, const Bytes& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

inline Bytes RandomBytes(size_t n, std::mt19937& rng)
{
    std::uniform_int_distribution<int> byte(0, 255);
    Bytes out(n);
    for (auto& b : out) {
        b = static_cast<uint8_t>(byte(rng));
    }
    return out;
}

// Owns a buffer the library malloc'ed.
struct FreeDeleter {
    void operator()(unsigned char* p) const { std::free(p); }
};
using LibBuffer = std::unique_ptr<unsigned char, FreeDeleter>;

// BT.601 limited range, real-valued.
inline void RgbExact(int y, int u, int v, double rgb[3])
{
    const double kr = 0.299;
    const double kb = 0.114;
    const double kg = 1.0 - kr - kb;
    const double yy = (y - 16) * 255.0 / 219.0;
    const double cb = (u - 128) * 255.0 / 224.0;
    const double cr = (v - 128) * 255.0 / 224.0;
    rgb[0] = yy + 2.0 * (1.0 - kr) * cr;
    rgb[1] = yy - 2.0 * (1.0 - kb) * kb / kg * cb - 2.0 * (1.0 - kr) * kr / kg * cr;
    rgb[2] = yy + 2.0 * (1.0 - kb) * cb;
}

inline int RgbExpected(double value)
{
    return static_cast<int>(std::clamp(std::lround(value), 0L, 255L));
}

// SSIM straight from its definition: for every window position, the full
// 11x11 Gaussian (sigma 1.5, normalised over the 121 weights), centred
// variances. Frames under 11 in a direction: one equal-weight window.
inline double SsimReference(const uint8_t* a, const uint8_t* b, int w, int h, bool clamp)
{
    auto px = [clamp](uint8_t s) {
        return clamp ? static_cast<double>(std::clamp<int>(s, 16, 235)) : static_cast<double>(s);
    };
    const double c1 = (0.01 * 255) * (0.01 * 255);
    const double c2 = (0.03 * 255) * (0.03 * 255);
    auto score = [&](double mx, double my, double sxx, double syy, double sxy) {
        return ((2 * mx * my + c1) * (2 * sxy + c2)) /
               ((mx * mx + my * my + c1) * (sxx + syy + c2));
    };
    if (w < 11 || h < 11) {
        const double n = static_cast<double>(w) * h;
        double mx = 0, my = 0;
        for (int i = 0; i < w * h; ++i) {
            mx += px(a[i]) / n;
            my += px(b[i]) / n;
        }
        double sxx = 0, syy = 0, sxy = 0;
        for (int i = 0; i < w * h; ++i) {
            sxx += (px(a[i]) - mx) * (px(a[i]) - mx) / n;
            syy += (px(b[i]) - my) * (px(b[i]) - my) / n;
            sxy += (px(a[i]) - mx) * (px(b[i]) - my) / n;
        }
        return score(mx, my, sxx, syy, sxy);
    }
    double weight[11][11];
    double total = 0;
    for (int i = 0; i < 11; ++i) {
        for (int j = 0; j < 11; ++j) {
            weight[i][j] = std::exp(-((i - 5) * (i - 5) + (j - 5) * (j - 5)) / (2 * 1.5 * 1.5));
            total += weight[i][j];
        }
    }
    for (auto& row : weight) {
        for (double& wt : row) {
            wt /= total;
        }
    }
    double sum = 0;
    for (int y0 = 0; y0 + 11 <= h; ++y0) {
        for (int x0 = 0; x0 + 11 <= w; ++x0) {
            double mx = 0, my = 0;
            for (int i = 0; i < 11; ++i) {
                for (int j = 0; j < 11; ++j) {
                    const size_t at = static_cast<size_t>(y0 + i) * w + x0 + j;
                    mx += weight[i][j] * px(a[at]);
                    my += weight[i][j] * px(b[at]);
                }
            }
            double sxx = 0, syy = 0, sxy = 0;
            for (int i = 0; i < 11; ++i) {
                for (int j = 0; j < 11; ++j) {
                    const size_t at = static_cast<size_t>(y0 + i) * w + x0 + j;
                    const double dx = px(a[at]) - mx;
                    const double dy = px(b[at]) - my;
                    sxx += weight[i][j] * dx * dx;
                    syy += weight[i][j] * dy * dy;
                    sxy += weight[i][j] * dx * dy;
                }
            }
            sum += score(mx, my, sxx, syy, sxy);
        }
    }
    return sum / (static_cast<double>(w - 10) * (h - 10));
}

} // namespace lumo_yuv_test

#endif
