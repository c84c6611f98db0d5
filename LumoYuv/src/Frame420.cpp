#include "Frame420.h"

#include "Kernels.h"

#include <cstring>

namespace lumo {

namespace {

constexpr uint8_t kNeutral = 128;

int64_t TargetChromaWidth(const FrameGeometry& geo)
{
    return geo.width / 2;
}

int64_t TargetChromaHeight(const FrameGeometry& geo)
{
    return geo.height / 2;
}

// The 8-bit chroma planes at the layout's own resolution can be written
// straight into the output when that resolution is already 4:2:0.
bool ChromaIsHalved(const Layout& layout)
{
    return layout.chromaShiftX == 1 && layout.chromaShiftY == 1;
}

void NarrowPlane(const Layout& layout, const uint8_t* raw, size_t samples, uint8_t* out)
{
    const auto* words = reinterpret_cast<const uint16_t*>(raw);
    if (layout.depth == SampleDepth::Bits10High) {
        kernels::NarrowHigh10(words, samples, out);
    } else {
        kernels::NarrowLow10(words, samples, out);
    }
}

} // namespace

int64_t I420Bytes(const FrameGeometry& geo)
{
    return static_cast<int64_t>(geo.width) * geo.height +
           2 * TargetChromaWidth(geo) * TargetChromaHeight(geo);
}

bool StoredAsI420(const Layout& layout)
{
    return layout.packing == Packing::Planar && layout.depth == SampleDepth::Bits8 &&
           ChromaIsHalved(layout) && !layout.vFirst;
}

int64_t I420ScratchBytes(const Layout& layout, const FrameGeometry& geo)
{
    if (geo.NeutralChroma(layout) || ChromaIsHalved(layout)) {
        return 0;
    }
    // 8-bit chroma planes at the layout's resolution, reduced from there.
    if (layout.packing == Packing::Planar && layout.depth == SampleDepth::Bits8) {
        return 0;
    }
    return 2 * static_cast<int64_t>(geo.chromaWidth) * geo.chromaHeight;
}

void ConvertToI420(const Layout& layout, const FrameGeometry& geo, const uint8_t* raw,
                   uint8_t* dst, uint8_t* scratch)
{
    const int64_t lumaSamples = static_cast<int64_t>(geo.width) * geo.height;
    const int64_t tw = TargetChromaWidth(geo);
    const int64_t th = TargetChromaHeight(geo);
    uint8_t* dstU = dst + lumaSamples;
    uint8_t* dstV = dstU + tw * th;
    const bool neutral = geo.NeutralChroma(layout);
    const int64_t chromaSamples = static_cast<int64_t>(geo.chromaWidth) * geo.chromaHeight;

    // Luma, and for packed frames the chroma with it.
    const uint8_t* srcU = nullptr;
    const uint8_t* srcV = nullptr;
    if (layout.packing == Packing::Packed422) {
        uint8_t* u = scratch;
        uint8_t* v = scratch + chromaSamples;
        // Rows are contiguous on both sides (the width is even), so the
        // whole frame unpacks in one call.
        const int pairs = static_cast<int>(lumaSamples / 2);
        if (layout.packY0 == 0 && layout.packU == 1) {
            kernels::UnpackYUYV(raw, pairs, dst, u, v);
        } else if (layout.packY0 == 1) {
            kernels::UnpackUYVY(raw, pairs, dst, u, v);
        } else {
            kernels::UnpackYVYU(raw, pairs, dst, u, v);
        }
        srcU = u;
        srcV = v;
    } else if (layout.depth == SampleDepth::Bits8) {
        std::memcpy(dst, raw, static_cast<size_t>(lumaSamples));
    } else {
        NarrowPlane(layout, raw, static_cast<size_t>(lumaSamples), dst);
    }

    if (tw == 0 || th == 0) {
        return;
    }
    if (neutral) {
        std::memset(dstU, kNeutral, static_cast<size_t>(2 * tw * th));
        return;
    }

    if (layout.packing != Packing::Packed422) {
        const uint8_t* chroma = raw + geo.lumaBytes;
        // Halved chroma goes straight to the output; anything else to
        // scratch, to be reduced from there (8-bit planes need none: they
        // are reduced from the stored frame).
        const bool direct = ChromaIsHalved(layout);
        uint8_t* u = direct ? dstU : scratch;
        uint8_t* v = direct ? dstV : scratch != nullptr ? scratch + chromaSamples : nullptr;
        const size_t n = static_cast<size_t>(chromaSamples);
        if (layout.packing == Packing::SemiPlanar) {
            uint8_t* first = layout.vFirst ? v : u;
            uint8_t* second = layout.vFirst ? u : v;
            if (layout.depth == SampleDepth::Bits8) {
                kernels::SplitPairs(chroma, static_cast<int>(n), first, second);
            } else {
                kernels::SplitPairsHigh10(reinterpret_cast<const uint16_t*>(chroma),
                                          static_cast<int>(n), first, second);
            }
            srcU = u;
            srcV = v;
        } else {
            const uint8_t* firstPlane = chroma;
            const uint8_t* secondPlane = chroma + geo.chromaPlaneBytes;
            const uint8_t* planeU = layout.vFirst ? secondPlane : firstPlane;
            const uint8_t* planeV = layout.vFirst ? firstPlane : secondPlane;
            if (layout.depth == SampleDepth::Bits8) {
                if (direct) {
                    std::memcpy(u, planeU, n);
                    std::memcpy(v, planeV, n);
                }
                srcU = direct ? u : planeU;
                srcV = direct ? v : planeV;
            } else {
                NarrowPlane(layout, planeU, n, u);
                NarrowPlane(layout, planeV, n, v);
                srcU = u;
                srcV = v;
            }
        }
        if (direct) {
            return;
        }
    }

    // 4:2:2 or 4:4:4 chroma at srcU, srcV down to 4:2:0.
    const int64_t cw = geo.chromaWidth;
    for (int p = 0; p < 2; ++p) {
        const uint8_t* in = p == 0 ? srcU : srcV;
        uint8_t* out = p == 0 ? dstU : dstV;
        for (int64_t j = 0; j < th; ++j) {
            const uint8_t* r0 = in + 2 * j * cw;
            if (layout.chromaShiftX == 1) {
                kernels::AverageRows(r0, r0 + cw, out + j * tw, static_cast<int>(tw));
            } else {
                kernels::HalveRows(r0, r0 + cw, out + j * tw, static_cast<int>(tw));
            }
        }
    }
}

} // namespace lumo
