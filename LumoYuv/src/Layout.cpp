#include "Layout.h"

#include "lumo/YUVReader.h"

namespace lumo {

namespace {

constexpr Packing P = Packing::Planar;
constexpr Packing S = Packing::SemiPlanar;
constexpr Packing K = Packing::Packed422;
constexpr Packing G = Packing::LumaOnly;
constexpr SampleDepth B8 = SampleDepth::Bits8;
constexpr SampleDepth LO = SampleDepth::Bits10Low;
constexpr SampleDepth HI = SampleDepth::Bits10High;

// Registry order is persisted: append only.
constexpr Layout kLayouts[] = {
    {"I420", "I420 (YUV 4:2:0 planar)", P, B8, 1, 1, false, 0, 0, 0, 0},
    {"YV12", "YV12 (YVU 4:2:0 planar)", P, B8, 1, 1, true, 0, 0, 0, 0},
    {"NV12", "NV12 (Y + UV 4:2:0)", S, B8, 1, 1, false, 0, 0, 0, 0},
    {"NV21", "NV21 (Y + VU 4:2:0)", S, B8, 1, 1, true, 0, 0, 0, 0},
    {"I422", "I422 (YUV 4:2:2 planar)", P, B8, 1, 0, false, 0, 0, 0, 0},
    {"YV16", "YV16 (YVU 4:2:2 planar)", P, B8, 1, 0, true, 0, 0, 0, 0},
    {"NV16", "NV16 (Y + UV 4:2:2)", S, B8, 1, 0, false, 0, 0, 0, 0},
    {"NV61", "NV61 (Y + VU 4:2:2)", S, B8, 1, 0, true, 0, 0, 0, 0},
    {"YUYV", "YUYV (4:2:2 packed)", K, B8, 1, 0, false, 0, 1, 2, 3},
    {"UYVY", "UYVY (4:2:2 packed)", K, B8, 1, 0, false, 1, 0, 3, 2},
    {"YVYU", "YVYU (4:2:2 packed)", K, B8, 1, 0, true, 0, 3, 2, 1},
    {"I444", "I444 (YUV 4:4:4 planar)", P, B8, 0, 0, false, 0, 0, 0, 0},
    {"YV24", "YV24 (YVU 4:4:4 planar)", P, B8, 0, 0, true, 0, 0, 0, 0},
    {"NV24", "NV24 (Y + UV 4:4:4)", S, B8, 0, 0, false, 0, 0, 0, 0},
    {"NV42", "NV42 (Y + VU 4:4:4)", S, B8, 0, 0, true, 0, 0, 0, 0},
    {"GRAY", "GRAY (luma only)", G, B8, 0, 0, false, 0, 0, 0, 0},
    {"I420P10", "I420P10 (10-bit 4:2:0 planar)", P, LO, 1, 1, false, 0, 0, 0, 0},
    {"I422P10", "I422P10 (10-bit 4:2:2 planar)", P, LO, 1, 0, false, 0, 0, 0, 0},
    {"I444P10", "I444P10 (10-bit 4:4:4 planar)", P, LO, 0, 0, false, 0, 0, 0, 0},
    {"P010", "P010 (10-bit Y + UV 4:2:0)", S, HI, 1, 1, false, 0, 0, 0, 0},
};

constexpr int kLayoutCount = static_cast<int>(sizeof(kLayouts) / sizeof(kLayouts[0]));

} // namespace

int LayoutCount()
{
    return kLayoutCount;
}

const Layout& LayoutAt(int index)
{
    return kLayouts[index];
}

const Layout* FindLayout(const YUVType& type)
{
    if (type.index < 0 || type.index >= kLayoutCount) {
        return nullptr;
    }
    const Layout& layout = kLayouts[type.index];
    return type.idName == layout.idName ? &layout : nullptr;
}

bool FrameGeometry::NeutralChroma(const Layout& layout) const
{
    return layout.packing == Packing::LumaOnly || chromaWidth == 0 || chromaHeight == 0;
}

bool ComputeGeometry(const Layout& layout, int width, int height, FrameGeometry& out)
{
    if (width < 1 || height < 1 || width > YUVReader::MAX_DIMENSION ||
        height > YUVReader::MAX_DIMENSION) {
        return false;
    }
    if (layout.packing == Packing::Packed422 && width % 2 != 0) {
        return false;
    }
    // Both sides are at most 2^20, so every product below fits in 64 bits.
    FrameGeometry g;
    g.width = width;
    g.height = height;
    g.bytesPerSample = layout.depth == SampleDepth::Bits8 ? 1 : 2;
    g.chromaWidth = width >> layout.chromaShiftX;
    g.chromaHeight = height >> layout.chromaShiftY;
    const int64_t bps = g.bytesPerSample;
    switch (layout.packing) {
    case Packing::Planar:
        g.lumaRowBytes = width * bps;
        g.chromaRowBytes = g.chromaWidth * bps;
        g.lumaBytes = g.lumaRowBytes * height;
        g.chromaPlaneBytes = g.chromaRowBytes * g.chromaHeight;
        g.frameBytes = g.lumaBytes + 2 * g.chromaPlaneBytes;
        break;
    case Packing::SemiPlanar:
        g.lumaRowBytes = width * bps;
        g.chromaRowBytes = 2 * g.chromaWidth * bps;
        g.lumaBytes = g.lumaRowBytes * height;
        g.chromaPlaneBytes = g.chromaRowBytes * g.chromaHeight;
        g.frameBytes = g.lumaBytes + g.chromaPlaneBytes;
        break;
    case Packing::Packed422:
        g.lumaRowBytes = 2 * static_cast<int64_t>(width);
        g.lumaBytes = g.lumaRowBytes * height;
        g.frameBytes = g.lumaBytes;
        break;
    case Packing::LumaOnly:
        g.chromaWidth = 0;
        g.chromaHeight = 0;
        g.lumaRowBytes = width;
        g.lumaBytes = g.lumaRowBytes * height;
        g.frameBytes = g.lumaBytes;
        break;
    }
    out = g;
    return true;
}

} // namespace lumo
